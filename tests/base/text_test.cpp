#include "base/text.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "base/json_text.hpp"

namespace tiomipra::test {
namespace {

// By the tables of the Unicode standard: 3-1 on controls, 3-7 on well-formed sequences of bytes.
TEST(Printable, EscapesWhatControlsTerminalsAndWhatIsNoText) {
    const struct {
        std::string text, shown;
    } cases[] = {{"left 1.png ~", "left 1.png ~"},
                 {"größe 左\u00a0\u07ff\u0800\ud7ff\ue000\uffff\U00010000\U0010ffff",
                  "größe 左\u00a0\u07ff\u0800\ud7ff\ue000\uffff\U00010000\U0010ffff"},
                 {"\x1b[31m\a\t\r", R"(\x1b[31m\x07\x09\x0d)"},
                 {"a\nb", R"(a\nb)"},
                 {std::string(1, '\0') + "\x1f\x7f", R"(\x00\x1f\u007f)"},
                 {"\u0080\u009b[2J\u009f", R"(\u0080\u009b[2J\u009f)"},
                 {"\u2029\u202a\u202e\u202f|\u2065\u2066\u2069\u206a",
                  "\u2029\\u202a\\u202e\u202f|\u2065\\u2066\\u2069\u206a"},
                 {"\x80\xbf\xff\xf8\x88", R"(\x80\xbf\xff\xf8\x88)"},
                 {"\xc2", R"(\xc2)"},
                 {"\xe5\xb7|\xc3(", R"(\xe5\xb7|\xc3()"},
                 {"\xc1\x9b\xe0\x82\x9b", R"(\xc1\x9b\xe0\x82\x9b)"},
                 {"\xed\xa0\x80\xf4\x90\x80\x80", R"(\xed\xa0\x80\xf4\x90\x80\x80)"}};
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(printable(text), shown);
        EXPECT_EQ(quote(text), "'" + shown + "'");
        EXPECT_EQ(printable(shown), shown);
        EXPECT_EQ(printableLines(text + "\n" + text),
                  text == "a\nb" ? "a\nb\na\nb" : shown + "\n" + shown);
    }
}

TEST(DumpJson, EscapesAllControlsAndReadsBackTheSame) {
    const nlohmann::ordered_json value{{"name\u0085", "\x1b[31m\x7f\u009b\n größe"}};
    const std::string text = dumpJson(value);
    EXPECT_THAT(text, testing::HasSubstr(R"("name\u0085": "\u001b[31m\u007f\u009b\n größe")"));
    EXPECT_EQ(nlohmann::ordered_json::parse(text), value);
    EXPECT_EQ(dumpJson({{"file", "a\xff.png"}, {"number", std::nan("")}}),
              "{\n  \"file\": \"a\xef\xbf\xbd.png\",\n  \"number\": null\n}\n");
}

TEST(DumpJson, PutsNumbersOnOneLine) {
    using Json = nlohmann::ordered_json;
    EXPECT_EQ(dumpJson({{"points", {{1, 2.5}, {-3, std::nan("")}}}, {"\"[ 1,2 ]", {"[ 1 ]"}}}),
              "{\n  \"points\": [[1, 2.5], [-3, null]],\n"
              "  \"\\\"[ 1,2 ]\": [\n    \"[ 1 ]\"\n  ]\n}\n");
    EXPECT_EQ(dumpJson(Json::array({Json::object(), Json::array({1, 2})})),
              "[\n  {},\n  [1, 2]\n]\n");
}

}  // namespace
}  // namespace tiomipra::test
