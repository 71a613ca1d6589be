// Runs the built program as a user would.
#ifndef TIOMIPRA_TESTS_RUN_PROGRAM_HPP
#define TIOMIPRA_TESTS_RUN_PROGRAM_HPP

#include <sys/types.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "support/paths.hpp"
#include "support/photographs.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {

using Arguments = std::vector<std::string>;

// `arguments`, then `more`.
Arguments joined(Arguments arguments, const Arguments& more);

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
    // `fileSizeLimit` in bytes makes every write beyond it fail, as on a full disk.
    explicit RunningProgram(const Arguments& arguments,
                            std::optional<std::uint64_t> fileSizeLimit = {});

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

// Expects that `folder` is named, and not left behind empty, where no file can grow beyond
// `fileSizeLimit` bytes.
void expectNothingOnFullDisk(const Arguments& arguments, std::uint64_t fileSizeLimit,
                             const std::string& folder);

}  // namespace tiomipra::test

#endif
