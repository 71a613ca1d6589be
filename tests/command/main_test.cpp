// What all subcommands share: the help, the version, wrong usage.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "support/run_program.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

TEST(Program, ExplainsItself) {
    const RunResult help = runTiomipra({"--help"});
    EXPECT_NE(help.out.find("Exit status:\n  0  done"), std::string::npos) << help.out;
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(runTiomipra({"--version"}).out,
                testing::MatchesRegex("tiomipra [^\n]*\nOpenCV [^\n]*\nmatching: own [^\n]*\n"));
    EXPECT_EQ(runTiomipra({"-V"}).out, runTiomipra({"--version"}).out);
    EXPECT_EQ(runTiomipra({"help"}).out, help.out);
    EXPECT_EQ(runTiomipra({"help", "depth"}).out, runTiomipra({"depth", "--help"}).out);
}

TEST(Program, RefusesWrongUsageAndGuessesWhatWasMeant) {
    for (const auto& arguments : {Arguments{}, {"--nonsense"}, {"nonsense"}})
        expectRefusal(arguments, 2, "tiomipra: ");
    for (const auto& arguments : {Arguments{"depht"}, {"depht", "--help"}, {"help", "depht"}})
        expectRefusal(arguments, 2, "'depht' is not known here; did you mean 'depth'?");
    expectRefusal({"rectify", "--colibration", "rig"}, 2,
                  "tiomipra rectify: '--colibration' is not known here; did you mean "
                  "'--calibration'?");
    EXPECT_THAT(runTiomipra({"rectify", "--zzz"}, 2).err, testing::Not(HasSubstr("did you mean")));
}

TEST(Program, SaysInJsonWhyThereIsNoResult) {
    for (const auto& [wrong, status] : {std::pair{"--nonsense", 2}, {"--calibration=none", 3}}) {
        const RunResult run = runTiomipra({"inspect", wrong, "--json"}, status);
        const auto error = nlohmann::json::parse(run.out).at("error");
        EXPECT_EQ(error.at("status"), status);
        EXPECT_EQ("tiomipra inspect: " + error.at("message").get<std::string>() + "\n", run.err);
    }
}

// The second of the pairs fails too, which is named.
TEST(Program, FindsOutThatOutputIsLost) {
    const SamplePairs pairs(2);
    pairs.folder.write("left/2.png", "hello");
    const std::string err = pairs / "err";
    const std::pair<Arguments, int> cases[] = {{{"inspect", "--calibration", pairs / "rig"}, 3},
                                               {{"--help"}, 3},
                                               {{"--version"}, 3},
                                               {pairs.arguments("rectify"), 4}};
    for (const auto& [arguments, status] : cases) {
        for (const std::string output : {" > /dev/full", " >&-"}) {
            const std::string shell = shellCommand(arguments) + output + " 2> '" + err + "'";
            EXPECT_EQ(WEXITSTATUS(std::system(shell.c_str())), status) << shell;
        }
    }
    EXPECT_THAT(readFile(err), HasSubstr("1 of 2 pairs failed:\n  2: '"));
}

}  // namespace
}  // namespace tiomipra::test
