// Options and files of parameters, as far as the settings that they come to.
#include "options/matcher_options.hpp"

#include <gmock/gmock.h>

#include <CLI/App.hpp>

#include "base/errors.hpp"
#include "files/output_files.hpp"
#include "matching/matcher_setup.hpp"
#include "matching/sample_rig.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
using vision::Stereo;

MatcherSettings parse(const std::string& arguments) {
    CLI::App app;
    MatcherOptions options;
    addMatcherOptions(app, options);
    app.parse(arguments);
    return resolveSettings(options);
}

// A preset on the command line takes the place of the file's; the file's values stay on top.
TEST(MatcherOptions, LayPresetFileAndOptionsOverEachOther) {
    const ScratchFolder folder;
    const std::string file =
        "--parameters " + folder.write("tuning.toml",
                                       "preset = \"accurate\"\nwindow-size = 9\n"
                                       "p2 = 777\nrange = \"1..5\"\n");
    const MatcherSettings settings =
        parse("--window-size 11 --algorithm bm --full-dp=false --max-depth 10 " + file);
    EXPECT_EQ(settings.values.at("algorithm"), Stereo::BM);
    EXPECT_EQ(settings.values.at("window-size"), 11);
    EXPECT_EQ(settings.values.at("p2"), 777);
    EXPECT_EQ(settings.values.at("min-confidence"), 82) << "of the file's preset";
    EXPECT_EQ(settings.values.at("full-dp"), 0);
    EXPECT_EQ(makeStereo(settings, sampleRig())->getMinDisparity(), 6) << "62.5 / 10";
    const MatcherSettings other = parse("--preset balanced " + file);
    EXPECT_EQ(other.values.at("fill-gaps"), 1);
    EXPECT_EQ(other.values.at("window-size"), 9);
    EXPECT_EQ(other.values.count("min-confidence"), 0U);
}

TEST(MatcherOptions, SavedParametersGiveTheSameMatcher) {
    const std::string all =
        "--preset=accurate --scale=2 --algorithm=bm --window-size=9 --pre-filter-cap=17 "
        "--pre-filter-size=11 --texture-threshold=3 --uniqueness-ratio=4 --p1=90 --p2=901 "
        "--speckle-window-size=33 --speckle-range=3 --disp12-max-diff=-7 --full-dp=false ";
    for (const char* const depth : {"--range=125cm..4.3m", "--range=1.25..4.3", "--max-depth=430cm",
                                    "--max-depth=4.3 --min-disparity=-20 --disparity-number=48"}) {
        const ScratchFolder folder;
        const MatcherSettings settings = parse(all + depth);
        const auto saved = makeStereo(settings, sampleRig());
        const std::string text = encodeParameters(*saved, settings);
        const MatcherSettings read = parse("--parameters " + folder.write("saved.toml", text));
        const auto again = makeStereo(read, sampleRig());
        EXPECT_EQ(toLines({"", describeParameters(*again, read, true), "", {}}),
                  toLines({"", describeParameters(*saved, settings, true), "", {}}));
        EXPECT_EQ(encodeParameters(*again, read), text) << "units too";
        EXPECT_EQ(mustTrustUnit(read, sampleRig()), mustTrustUnit(settings, sampleRig()));
    }
}

TEST(MatcherOptions, FilesThatHoldSomethingElseAreRefused) {
    const ScratchFolder folder;
    const std::pair<std::string, const char*> cases[] = {
        {"window-sise = 5\n", ": 'window-sise' is not a parameter of the matcher"},
        {"[a]\np1 = 5\n", ": [a]: there must be no sections"},
        {"full-dp = maybe\n", ": --full-dp: maybe not in"},
        {"range = \"5\"\n", ": --range: '5' must be NEAR..FAR"},
        {std::string("p1 = \0\xff", 7), ": is not a text file"},
        {"x\xc3\xa9y = 1\n", ": 'xéy' is not a parameter of the matcher"}};
    for (const auto& [text, complaint] : cases) {
        const std::string file = folder.write("a.toml", text);
        EXPECT_THAT(
            [&] { parse("--parameters " + file); },
            testing::ThrowsMessage<InputError>(HasSubstr("a.toml'" + std::string(complaint))));
    }
    EXPECT_THROW(parse("--parameters " + folder.path("none.toml")), InputError);
}

}  // namespace
}  // namespace tiomipra::test
