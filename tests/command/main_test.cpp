// What all subcommands share: the help, the version, wrong usage.
#include <gtest/gtest.h>

#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

TEST(Program, ExplainsItself) {
    const RunResult help = runTiomipra({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Exit status:\n  0  done"), std::string::npos) << help.out;
    EXPECT_EQ(help.err, "");
    EXPECT_EQ(runTiomipra({"--version"}).out.rfind("tiomipra ", 0), 0U);
}

TEST(Program, RefusesWrongUsage) {
    for (const auto& arguments : {std::vector<std::string>{}, {"--nonsense"}, {"nonsense"}}) {
        const RunResult refused = runTiomipra(arguments);
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.out, "");
        EXPECT_EQ(refused.err.rfind("tiomipra: ", 0), 0U) << refused.err;
    }
}

}  // namespace
}  // namespace tiomipra::test
