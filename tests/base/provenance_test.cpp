// What a result was made with, as JSON and as lines.
#include "base/provenance.hpp"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

TEST(Provenance, HoldsWhatThereIs) {
    const Provenance all{"depth",
                         Parameters{{"algorithm", std::string("bm")},
                                    {"full-dp", false},
                                    {"window-size", 21},
                                    {"max-depth", 4.3},
                                    {"formats", std::vector<std::string>{"ply", "png"}}},
                         "12ab", "m"};
    EXPECT_THAT(
        toLines(all),
        ElementsAre(StartsWith("program: tiomipra "), StartsWith("opencv: "), "command: depth",
                    R"(parameters: {"algorithm":"bm","full-dp":false,"window-size":21,)"
                    R"("max-depth":4.3,"formats":["ply","png"]})",
                    "calibrationSha256: 12ab", "unit: m"));
    EXPECT_EQ(toJson(Provenance{"inspect", {}, "", {}}).size(), 3U);
    EXPECT_EQ(toJson(Provenance{"evaluate", Parameters{}, "", {}})["parameters"].dump(), "{}");
}

}  // namespace
}  // namespace tiomipra::test
