// Many pairs: what is made, resumed and told. The images of most of these pairs are not read.
#include "runs/batch.hpp"

#include <gmock/gmock.h>

#include <filesystem>

#include "base/errors.hpp"
#include "files/image_files.hpp"
#include "files/output_files.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
namespace fs = std::filesystem;

using Names = std::vector<std::string>;

// Pairs 1 to 3, whose results are a file each.
class Batch : public testing::Test {
  protected:
    Batch() {
        for (const std::string name : {"1", "2", "3"}) {
            _images.left.push_back(_folder.write(name + ".png", "a"));
            _images.right.push_back(_folder.write(name + "r.png", "a"));
        }
        _options.output = _folder.path("out");
        _options.jobs = 1;
    }

    ~Batch() override { fs::current_path(_folderBefore); }

    std::string result(const std::string& name) const { return _folder.path("out/" + name); }

    // A report would vouch for files that change.
    PairReport make(const Frame& frame, PairFiles& files) {
        EXPECT_FALSE(fs::exists(result(frame.name + "_test.json")));
        _made.push_back(frame.name);
        if (frame.name == _failing)
            throw InputError("is bad");
        if (frame.name == _changing) {
            writeImage(_images.left[0], cv::Mat(2, 2, CV_8UC1, 7));
            frame.read();
        }
        files.add(".txt", "whole");
        return {{{"length", 5}}, "made"};
    }

    void useRelativeNamesIn(const std::string& folder) {
        fs::current_path(folder);
        _images = {{"1.png", "2.png", "3.png"}, {"1r.png", "2r.png", "3r.png"}, {}};
    }

    // What it prints, and `_made`.
    std::string run(bool isResumed = false) {
        _made.clear();
        _options.resume = isResumed;
        const auto frames = reopenFrames(_images);
        testing::internal::CaptureStdout();
        _ending = runBatch(*frames, _options, ProtectedFiles(_inputs), _madeWith, [this] {
            return [this](const Frame& frame, PairFiles& files) { return make(frame, files); };
        });
        return testing::internal::GetCapturedStdout();
    }

    const fs::path _folderBefore = fs::current_path();
    const ScratchFolder _folder;
    FrameArguments _images;
    std::vector<std::string> _inputs;
    BatchOptions _options;
    Provenance _madeWith{"test", Parameters{{"window-size", 5}}, "ab", {}};
    std::string _failing;
    std::string _changing;  // the left image is another one by the time that it is read
    Names _made;
    Ending _ending;
};

// `spoil` makes one thing different between the runs.
TEST_F(Batch, ResumesWhatIsNotDoneInTheSameWay) {
    const std::string image = _folder.path("3.png");
    const auto makeNewer = [&](int hours) {
        fs::last_write_time(image, fs::last_write_time(image) + std::chrono::hours(hours));
    };
    const struct {
        const char* what;
        std::function<void()> spoil;
        Names made;
    } cases[] = {{"nothing", [] {}, {}},
                 {"another subcommand", [&] { writeFile(result("2_other.json"), "{}"); }, {}},
                 {"a parameter", [&] { _madeWith.parameters->at(0).value = 7; }, {"1", "2", "3"}},
                 {"the calibrations", [&] { _madeWith.calibrationHash = "cd"; }, {"1", "2", "3"}},
                 {"a partner", [&] { _images.right[1] = _images.right[0]; }, {"2"}},
                 {"a result is missing", [&] { fs::remove(result("1.txt")); }, {"1"}},
                 {"a result is empty", [&] { writeFile(result("3.txt"), ""); }, {"3"}},
                 {"no report of ours",
                  [&] { writeFile(result("2_test.json"), R"({"files": [1]})"); },
                  {"2"}},
                 {"an older image", [&] { makeNewer(-1); }, {"3"}},
                 {"one of the future", [&] { makeNewer(99); }, {"3"}},
                 {"which stays there", [] {}, {}},
                 {"another one of the same date",
                  [&] {
                      const auto date = fs::last_write_time(image);
                      writeFile(image, "b");
                      fs::last_write_time(image, date);
                  },
                  {"3"}},
                 {"the partner again, and names that are relative",
                  [&] { useRelativeNamesIn(_folder.path("")); },
                  {"2"}},
                 {"the same names elsewhere",
                  [&] {
                      fs::copy(_folder.path(""), _folder.path("copies"));
                      useRelativeNamesIn(_folder.path("copies"));
                  },
                  {"1", "2", "3"}}};
    EXPECT_EQ(run(), "[1/3] 1: made\n[2/3] 2: made\n[3/3] 3: made\n3 pairs done, results in '" +
                         result("").substr(0, result("").size() - 1) + "'\n");
    for (const auto& [what, spoil, made] : cases) {
        spoil();
        const std::string already = std::to_string(3 - made.size()) + " were there already";
        EXPECT_EQ(run(true).find(already) != std::string::npos, made.size() < 3) << what;
        EXPECT_EQ(_made, made) << what;
    }
    run();
    EXPECT_EQ(_made.size(), 3U) << "not asked to resume";
}

// An interrupted replacement must not look whole either.
TEST_F(Batch, AFailureLeavesNoReportAndNoEnd) {
    run();
    _failing = "2";
    _options.json = true;
    const json told = json::parse(run());
    EXPECT_EQ(_ending.status, Status::partial);
    EXPECT_EQ(_ending.message, "1 of 3 pairs failed:\n  2: is bad");
    EXPECT_FALSE(fs::exists(result("2_test.json")));
    EXPECT_EQ(told.at("failed"), json::parse(R"([{"name": "2", "message": "is bad"}])"));
    const json& last = told.at("pairs").at(1);
    EXPECT_EQ(last, json::parse(readFile(result("3_test.json"))));
    EXPECT_EQ(last.at("left"), _folder.path("3.png"));
    EXPECT_EQ(last.at("right"), _folder.path("3r.png"));
    EXPECT_EQ(last.at("files"), json({"3.txt"}));
    EXPECT_EQ(last.at("result").at("length"), 5);
    _failing.clear();
    run(true);
    EXPECT_EQ(_made, Names{"2"});
    EXPECT_EQ(_ending.status, Status::done);
    _failing = "1";
    _images = {{_folder.path("1.png")}, {_folder.path("1r.png")}, {}};
    run();
    EXPECT_EQ(_ending.status, Status::input);
    EXPECT_EQ(_ending.message, "is bad") << "alone";
}

TEST_F(Batch, AnImageThatChangesFailsItsPair) {
    const cv::Mat white(2, 2, CV_8UC1, 255);
    _images = {{_folder.path("1.png")}, {_folder.path("1r.png")}, {}};
    writeImage(_images.left[0], white);
    writeImage(_images.right[0], white);
    _changing = "1";
    run();
    EXPECT_EQ(_ending.status, Status::input);
    EXPECT_EQ(_ending.message, "'" + _images.left[0] + "' changed while it was read");
    EXPECT_FALSE(fs::exists(result("1_test.json")));
}

// Not of its own pair, not of another one, not even through a link.
TEST_F(Batch, ReplacesNoInput) {
    _inputs = {_folder.write("calibration", "text"), _folder.path("2.png")};
    fs::create_directory(_options.output);
    fs::create_symlink(_inputs[0], result("1.txt"));
    fs::create_hard_link(_inputs[1], result("2_test.json"));
    EXPECT_THAT(run(), HasSubstr("1 pair done"));
    EXPECT_THAT(_ending.message, testing::AllOf(HasSubstr("/1.txt' would replace the input"),
                                                HasSubstr("/2_test.json' would replace the")));
    EXPECT_EQ(readFile(_inputs[0]), "text");
}

}  // namespace
}  // namespace tiomipra::test
