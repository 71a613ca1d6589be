// Hostile calibration files: an exception or an empty record, in bounded time and memory.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <vision/calibration.hpp>

#include "support/log_capture.hpp"
#include "support/rigs.hpp"
#include "support/scratch_folder.hpp"

namespace {

using vision::Calibration;

std::string repeat(const std::string& text, int times) {
    std::string repeated;
    for (int i = 0; i < times; ++i)
        repeated += text;
    return repeated;
}

std::string yaml(const std::string& body) {
    return "%YAML:1.0\n---\n" + body + "\n";
}

std::string xml(const std::string& body) {
    return "<?xml version=\"1.0\"?>\n<opencv_storage>\n" + body + "\n</opencv_storage>\n";
}

std::string matrix(const std::string& entries) {
    return yaml("distortion: !!opencv-matrix\n   " + entries);
}

int loadWidth(const std::string& text, const std::string& name = "calibration") {
    const ScratchFolder folder;
    Calibration calibration;
    calibration.load(folder.write(name, text));
    return calibration.width;
}

struct HostileText {
    std::string what;
    std::string text;
    std::string complaint;  // a part of the exception's text
    std::string name = "calibration";
};

void PrintTo(const HostileText& hostile, std::ostream* out) {
    *out << hostile.what;
}

class HostileTexts : public testing::TestWithParam<HostileText> {};

TEST_P(HostileTexts, AreRefused) {
    const LogCapture log;
    EXPECT_THAT([] { loadWidth(GetParam().text, GetParam().name); },
                testing::ThrowsMessage<cv::Exception>(testing::HasSubstr(GetParam().complaint)));
}

constexpr int deep = 100000;  // More than 8 MiB of stack in OpenCV's parser.

INSTANTIATE_TEST_SUITE_P(
    Attack, HostileTexts,
    testing::ValuesIn(std::vector<HostileText>{
        {"enormous", matrix("rows: 100000\n   cols: 100000\n   dt: d\n   data: [ 1. ]"),
         "distortion claims 10000000000 elements, but holds 1"},
        {"enormous by channels",
         matrix("rows: 1\n   cols: 2\n   dt: \"500d\"\n   data: [ 1., 2. ]"),
         "distortion claims 1000 elements, but holds 2"},
        {"enormous in three dimensions",
         matrix("sizes: [ 65536, 65536, 65536 ]\n   dt: u\n   data: [ 1 ]"),
         "distortion claims 281474976710656 elements, but holds 1"},
        {"too many dimensions",
         matrix("sizes: [ " + repeat("1, ", 99) + "1 ]\n   dt: u\n   data: [ 1 ]"),
         "distortion has 100 dimensions, must have at most 32"},
        {"long element type",
         matrix("rows: 1\n   cols: 1\n   dt: " + repeat("uc", 200) + "\n   data: [ 1 ]"),
         "distortion has an element type of 400 characters, must have at most 8"},
        {"deep JSON", "{\"width\": " + repeat("[", deep) + repeat("]", deep) + "}",
         "may nest deeper than 8000 levels"},
        {"deep JSON with misleading strings",
         "{\"width\": " + repeat("[\"]\",", deep) + repeat("]", deep) + "}", "deeper"},
        {"deep YAML in a sequence", yaml("width: " + repeat("[", deep)), "deeper"},
        {"deep YAML in misleading keys", yaml("width: " + repeat("{ 1} : ", deep)), "deeper"},
        {"deep YAML by dashes", yaml("width:\n " + repeat("- ", deep) + "1"), "deeper"},
        {"deep YAML by colons", yaml("width:\n " + repeat("a[:", deep) + "1"), "deeper"},
        {"deep XML", xml(repeat("<a>", deep) + repeat("</a>", deep)), "deeper"},
        {"base64 without a type in JSON", R"({"width": "$base64$ICAg"})",
         "must start with an element type"},
        {"base64 without a type in YAML", yaml("width: !!binary |\n  MTIgICAg"),
         "must start with an element type"},
        {"base64 without a type in XML", xml("<width type_id=\"binary\">\n  AAAA</width>"),
         "must start with an element type"},
        {"base64 that isn't any", yaml("width: !!binary |\n  ????"),
         "must start with an element type"},
        {"base64 with nothing but a count", R"({"width": "$base64$MTExMTExMTExMTEx"})",
         "must start with an element type"},
        {"base64 announced without data", yaml("width: !!binary 1"),
         "must start with an element type"},
        {"base64 behind a carriage return", yaml("width: !!binary |\n  \rMWYg\n  AAAAAAAA"),
         "holds a carriage return within a line"},
        {"XML that ends in an attribute", "\xEF\xBB\xBF<?xml version=", "ends within a tag"},
        {"byte 0", std::string("<?xml version=\0>", 16), "holds a byte 0"},
        {"YAML stream that is no mapping", yaml("width: 1\n...\n- 2"),
         "must be a mapping that starts in the first column"},
        {"YAML with more after its root", yaml("[ 1 ]\nabc- 2"),
         "must be a mapping that starts in the first column"},
        {"empty key", yaml("width: 1\n : 2"), "empty key"},
        {"long", yaml("width: 1\n#" + std::string(std::size_t{17} << 20, ' ')),
         "longer than 16777216 bytes"},
        {"long and compressed", "\x1f\x8b" + std::string(20000, 'x'), "compressed and longer than",
         "calibration.gz"},
        {"cut and compressed", "\x1f\x8b\x08" + std::string(200, 'x'),
         "compressed, but not complete", "calibration.yml.gz"}}));

TEST(HostileFiles, LargeSoundDocumentsAreRead) {
    const std::string points = repeat("[ 1.5, -2. ], ", 5000) + "[ 3., 4. ]";
    const std::string texts[] = {
        "{\"width\": 640, \"corners\": [ " + points + " ]}",
        yaml("# a binary: [[[\nwidth: 640\ncorners: [ " + points + " ]\n...\n---\nsecond: 1\n..."),
        yaml("width: 640\nnote: [ " + repeat("{ x: 1 }, ", 5000) + "1 ]" +
             "\r\n\xC3\xA4: 1\n_mode: \"a:binary b\" # (binary)"),
        xml("<width>640</width><c>" + repeat("<_>1. 2.</_>", 5000) +
            "</c><mode>\"binary pattern\"</mode>")};
    for (const std::string& text : texts)
        EXPECT_EQ(loadWidth(text), 640);
}

TEST(HostileFiles, FilesCutAnywhereNeverEndTheProcess) {
    const LogCapture log;
    for (const std::string name : {"a.yml", "a.xml", "a.json", "a.xml.gz"}) {
        const ScratchFolder folder;
        makeRig().left.save(folder.path(name));
        const std::string whole = readFile(folder.path(name));
        std::size_t refused = 0;
        for (std::size_t length = 0; length < whole.size(); ++length) {
            try {
                Calibration().load(folder.write(name, whole.substr(0, length)));
            } catch (const cv::Exception&) {
                ++refused;
            }
        }
        EXPECT_GT(refused, whole.size() * 9 / 10) << name;
    }
}

TEST(HostileFiles, WhatIsNoRegularFileIsRefused) {
    const ScratchFolder folder;
    ASSERT_EQ(mkfifo(folder.path("fifo").c_str(), 0600), 0);
    const auto refusal =
        testing::ThrowsMessage<cv::Exception>(testing::HasSubstr("not a regular file"));
    for (const std::string& name : {folder.path(""), folder.path("fifo"), std::string("/dev/zero")})
        EXPECT_THAT([&] { Calibration().load(name); }, refusal) << name;
    for (const std::string& name : {folder.path("fifo"), std::string("/dev/full")})
        EXPECT_THAT([&] { Calibration().save(name); }, refusal) << name;
}

TEST(HostileFiles, FullDiskIsNoticed) {
    const ScratchFolder folder;
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit smallest{100, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &smallest), 0);
    EXPECT_THAT([&] { makeRig().left.save(folder.path("a.yml")); },
                testing::ThrowsMessage<cv::Exception>(testing::HasSubstr("written completely")));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

}  // namespace
