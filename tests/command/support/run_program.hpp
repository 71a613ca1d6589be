// Runs the built program as a user would.
#ifndef TIOMIPRA_TESTS_RUN_PROGRAM_HPP
#define TIOMIPRA_TESTS_RUN_PROGRAM_HPP

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/photographs.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {

// The built program, README.md, and the program that is its sample ("" where it is not built).
std::string programPath();
std::string samplePath();
std::string readmePath();

using Arguments = std::vector<std::string>;

// All of them, in this order.
Arguments joined(Arguments arguments, const Arguments& more, const Arguments& evenMore = {});

// --left and --right for the photographs of the chessboard whose numbers match the pattern.
Arguments photographs(const std::string& numbers);

// `tiomipra ARGUMENTS...`, for a shell.
std::string shellCommand(const Arguments& arguments);

// The path of `name` in `folder`.
inline std::string operator/(const ScratchFolder& folder, const std::string& name) {
    return folder.path(name);
}

struct RunResult {
    int status = -1;  // the exit status; 128 + the signal's number when one ended the program
    std::string out;
    std::string err;
};

// A run of the program that goes on while the test does.
class RunningProgram {
  public:
    // `preparation` are commands for the shell that starts it, each with a semicolon.
    explicit RunningProgram(const Arguments& arguments, const std::string& preparation = "");

    pid_t process() const { return _process; }
    void send(int signal) const;
    RunResult wait();

  private:
    ScratchFolder _capture;
    pid_t _process;
};

// `tiomipra ARGUMENTS...`, to its end; expects that it ends with `status`.
RunResult runTiomipra(const Arguments& arguments, int status = 0);

// What `tiomipra ARGUMENTS... --json` prints; expects that it ends with `status`.
nlohmann::json runForJson(const Arguments& arguments, int status = 0);

// Expects that `tiomipra ARGUMENTS...` ends with `status`, with `message` among what it says on
// standard error, and nothing on standard output.
void expectRefusal(const Arguments& arguments, int status, const std::string& message);

// Expects that `folder` is named, and not left behind empty, where no file can grow beyond 512
// bytes.
void expectNothingOnFullDisk(const Arguments& arguments, const std::string& folder);

}  // namespace tiomipra::test

#endif
