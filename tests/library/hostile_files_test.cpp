// Hostile calibration files: an exception or an empty record, in bounded time and memory.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <vision/calibration.hpp>

#include "support/log_capture.hpp"
#include "support/rigs.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;
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

struct HostileTexts {
    std::string complaint;  // a part of the exception's text
    std::vector<std::string> texts;
    std::string name = "calibration";
};

constexpr int deep = 100000;  // As many levels take OpenCV's parser more than 8 MiB of stack.
// 60 blanks in base64, over which the parser loops for ever; it returns from fewer.
const std::string manyBlanks = repeat("ICAg", 20);

const HostileTexts hostileTexts[] = {
    {"distortion claims 10000000000 elements, but holds 1",
     {matrix("rows: 100000\n   cols: 100000\n   dt: d\n   data: [ 1. ]")}},
    {"distortion claims 1000 elements, but holds 2",
     {matrix("rows: 1\n   cols: 2\n   dt: \"d498dd\"\n   data: [ 1., 2. ]")}},
    {"may hold more than 5000 keys",
     {yaml(repeat("a: 1\n", 5001)), "{" + repeat("\"a\": 1,", 5001) + "\"b\": 1}",
      xml(repeat("<a>1</a>", 5001))}},
    {R"(reference to a character ("&#") that is 0)",
     {xml(R"(<a>"&#0;~~~~" 2</a>)"), xml(R"(<a>"&#;~~~~" 2</a>)"), xml(R"(<a>"&#x;~~~~" 2</a>)"),
      xml(R"(<a>"&#4294967296;~~~~" 2</a>)")}},
    {"distortion claims 281474976710656 elements, but holds 1",
     {matrix("sizes: [ 65536, 65536, 65536 ]\n   dt: u\n   data: [ 1 ]")}},
    {"distortion has 100 dimensions, must have at most 32",
     {matrix("sizes: [ " + repeat("1, ", 99) + "1 ]\n   dt: u\n   data: [ 1 ]")}},
    {"distortion has an element type of 400 characters, must have at most 8",
     {matrix("rows: 1\n   cols: 1\n   dt: " + repeat("uc", 200) + "\n   data: [ 1 ]")}},
    {"may nest deeper than 8000 levels",
     {"{\"width\": " + repeat("[", deep) + repeat("]", deep) + "}",
      "{\"width\": " + repeat("[\"]\",", deep) + repeat("]", deep) + "}",
      yaml("width: " + repeat("[", deep)), yaml("width: " + repeat("{ 1} : ", deep)),
      yaml("width:\n " + repeat("- ", deep) + "1"), yaml("width:\n " + repeat("a: ", deep) + "1"),
      yaml("width:\n " + repeat("a[:", deep) + "1"), yaml("width: " + repeat("!a -.: ", 5000)),
      xml(repeat("<a>", deep) + repeat("</a>", deep))}},
    // No type, no data, not base64 at all, cut by the end of a line, and counts whose sum no int
    // can hold.
    {"must start with 24 bytes that name the types",
     {"{\"width\": \"$base64$" + manyBlanks + "\"}", R"({"width": "$base64$MTExMTExMTExMTEx"})",
      yaml("width: !!binary |\n  MTIg" + manyBlanks), yaml("width: !!binary |\n  ????"),
      yaml("width: !!binary 1"), yaml("width: !!binary |\n  MWYg"),
      yaml("width: !!binary |\n  MWY\n  " + manyBlanks),
      yaml("width: !!binary |\n  MjAwMDAwMDAwMGYyMDAwMDAwMDAwZiAgAAAA"),
      xml("<width type_id=\"binary\">\n  " + manyBlanks + "</width>")}},
    {"holds a carriage return within a line",
     {yaml("width: !!binary |\n  \rMWYg\n  AAAAAAAA"), yaml("width: 1") + "\r"}},
    {"ends within a tag", {"\xEF\xBB\xBF<?xml version="}},
    {"holds a byte 0", {std::string("<?xml version=\0>", 16)}},
    {"must be a mapping that starts in the first column",
     {yaml("width: 1\n...\n- 2"), yaml("[ 1 ]\nabc- 2")}},
    {"empty key", {yaml("width: 1\n : 2")}, "calibration.gzz"},
    {"longer than 16777216 bytes", {yaml("width: 1\n#" + std::string(std::size_t{17} << 20, ' '))}},
    {"compressed and longer than", {"\x1f\x8b" + std::string(20000, 'x')}, "calibration.gz"},
    {"compressed, but not complete",
     {"\x1f\x8b\x08" + std::string(200, 'x'), "\x1f\x8b"},
     "calibration.yml.gz"},
    // A damaged sequence, whose iterator never reaches its end.
    {"",
     {xml("<distortion type_id=\"map\"><dt>d</dt><sizes type_id=\"seq\"><_ type_id=\"str\"></_>"
          "</sizes><data>1.</data></distortion>")}}};

TEST(HostileFiles, AreRefused) {
    const LogCapture log;
    for (const HostileTexts& hostile : hostileTexts) {
        for (const std::string& text : hostile.texts) {
            const auto load = [&] { loadWidth(text, hostile.name); };
            EXPECT_THAT(load, ThrowsMessage<cv::Exception>(HasSubstr(hostile.complaint)))
                << text.substr(0, 100);
        }
    }
}

TEST(HostileFiles, LargeSoundDocumentsAreRead) {
    const std::string points = repeat("[ 1.5, -2. ], ", 9000) + "[ 3., 4. ]";
    const std::string texts[] = {
        R"({"width": 640, "corners": [ )" + points + " ]}",
        yaml("# " + repeat("binary", 200000) + ": [[[\nwidth: 640\ncorners: [ " + points +
             " ]\n...\n---\nsecond: 1\n..."),
        yaml("\xC3\xA4: 1\nwidth: 640\nnote: [ " + repeat("{ x: -1 }, ", 4900) + "1 ]" +
             "\r\n_mode: \"a:binary b\" # (binary)"),
        xml("<width>640</width><c>" + repeat("<_>1. 2.</_>", 9000) +
            "</c><mode>\"binary &#x0041; pattern\"</mode>")};
    for (const std::string& text : texts)
        EXPECT_EQ(loadWidth(text), 640);
}

TEST(HostileFiles, WhatIsNoRegularFileIsRefused) {
    const ScratchFolder folder;
    ASSERT_EQ(mkfifo(folder.path("fifo").c_str(), 0600), 0);
    const auto refusal = ThrowsMessage<cv::Exception>(HasSubstr("not a regular file"));
    for (const std::string& name : {folder.path(""), folder.path("fifo"), std::string("/dev/zero")})
        EXPECT_THAT([&] { Calibration().load(name); }, refusal) << name;
    for (const std::string& name : {folder.path("fifo"), std::string("/dev/full")})
        EXPECT_THAT([&] { Calibration().save(name); }, refusal) << name;
}

TEST(HostileFiles, FullDiskIsNoticed) {
    const ScratchFolder folder;
    const std::string path = folder.path("a.yml");
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit smallest{100, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &smallest), 0);
    LogCapture log(tevo::LogLevel::error);
    EXPECT_THROW(makeRig().left.save(path), cv::Exception);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_THAT(
        log.takeLines(),
        ElementsAre(AllOf(HasSubstr(" save: Cannot write calibration file \"" + path + "\": "),
                          HasSubstr("not written completely: File too large"))));
}

}  // namespace
}  // namespace tiomipra::test
