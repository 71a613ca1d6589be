#include "support/run_program.hpp"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

namespace tiomipra::test {

Arguments joined(Arguments arguments, const Arguments& more, const Arguments& evenMore) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    arguments.insert(arguments.end(), evenMore.begin(), evenMore.end());
    return arguments;
}

Arguments photographs(const std::string& numbers) {
    return {"--left", photograph("left" + numbers + ".jpg"), "--right",
            photograph("right" + numbers + ".jpg")};
}

std::string shellCommand(const Arguments& arguments) {
    std::string command = "'" + programPath() + "'";
    for (const std::string& argument : arguments)
        command += " '" + argument + "'";
    return command;
}

RunningProgram::RunningProgram(const Arguments& arguments, const std::string& preparation) {
    const std::string command = preparation + "exec " + shellCommand(arguments) + " > '" +
                                _capture / "out' 2> '" + _capture / "err'";
    _process = fork();
    if (_process < 0)
        throw std::runtime_error("can't start another process");
    if (_process > 0)
        return;
    // Who runs the tests may ignore it, as shells do for jobs in the background; the program would
    // then ignore it too.
    for (const int signal : {SIGINT, SIGHUP})
        std::signal(signal, SIG_DFL);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
}

void RunningProgram::send(int signal) const {
    kill(_process, signal);
}

RunResult RunningProgram::wait() {
    int status = 0;
    waitpid(_process, &status, 0);
    const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {exitStatus, readFile(_capture / "out"), readFile(_capture / "err")};
}

RunResult runTiomipra(const Arguments& arguments, int status) {
    RunResult run = RunningProgram(arguments).wait();
    EXPECT_EQ(run.status, status) << testing::PrintToString(arguments) << run.out << run.err;
    return run;
}

nlohmann::json runForJson(const Arguments& arguments, int status) {
    return nlohmann::json::parse(runTiomipra(joined(arguments, {"--json"}), status).out);
}

void expectRefusal(const Arguments& arguments, int status, const std::string& message) {
    const RunResult run = runTiomipra(arguments, status);
    EXPECT_THAT(run.err, testing::AllOf(testing::ContainsRegex("tiomipra[ a-z]*: "),
                                        testing::HasSubstr(message)));
    EXPECT_EQ(run.out, "");
}

void expectNothingOnFullDisk(const Arguments& arguments, const std::string& folder) {
    const RunResult run = RunningProgram(arguments, "ulimit -f 1; ").wait();
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, testing::HasSubstr("can't write '" + folder));
    EXPECT_FALSE(std::filesystem::exists(folder));
}

}  // namespace tiomipra::test
