#include "run_program.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

namespace tiomipra::test {
namespace {

void redirect(int descriptor, const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, descriptor) < 0)
        _exit(127);
    close(file);
}

void limitFileSize(std::uint64_t bytes) {
    // Ignored, so that writes fail instead of the program being killed.
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
        _exit(127);
}

std::vector<char*> asArgv(const Arguments& arguments) {
    static std::string program = programPath();
    std::vector<char*> argv{program.data()};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));  // execv does not change them
    argv.push_back(nullptr);
    return argv;
}

}  // namespace

Arguments joined(Arguments arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

RunningProgram::RunningProgram(const Arguments& arguments,
                               std::optional<std::uint64_t> fileSizeLimit) {
    const std::string out = _capture / "out";
    const std::string err = _capture / "err";
    const std::vector<char*> argv = asArgv(arguments);
    _process = fork();
    if (_process < 0)
        throw std::runtime_error("can't start another process");
    if (_process > 0)
        return;
    redirect(STDOUT_FILENO, out);
    redirect(STDERR_FILENO, err);
    if (fileSizeLimit)
        limitFileSize(*fileSizeLimit);
    execv(argv.front(), argv.data());
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

void expectNothingOnFullDisk(const Arguments& arguments, std::uint64_t fileSizeLimit,
                             const std::string& folder) {
    const RunResult run = RunningProgram(arguments, fileSizeLimit).wait();
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, testing::HasSubstr("can't write '" + folder));
    EXPECT_FALSE(std::filesystem::exists(folder));
}

}  // namespace tiomipra::test
