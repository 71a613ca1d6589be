// How the command ends, and the exceptions that make it end early.
#ifndef TIOMIPRA_STATUS_HPP
#define TIOMIPRA_STATUS_HPP

#include <stdexcept>
#include <string>

namespace tiomipra {

// The exit statuses, the same for every subcommand.
enum class Status : int {
    done = 0,    // what was asked for is done
    no = 1,      // the answer is no: a check, a gate or a calibration that failed
    usage = 2,   // the command line makes no sense
    input = 3,   // a file can't be read or written, or does not fit the others
    partial = 4  // some of many pairs failed
};

// Ends the command; `what` is the whole message and names the item, its value and the rule.
class CommandError : public std::runtime_error {
  public:
    CommandError(Status status, const std::string& message)
        : std::runtime_error(message), _status(status) {}

    Status status() const noexcept { return _status; }

  private:
    Status _status;
};

// Options that contradict each other or hold values that mean nothing.
class UsageError : public CommandError {
  public:
    explicit UsageError(const std::string& message) : CommandError(Status::usage, message) {}
};

// A file that can't be read or written, or whose content does not fit.
class InputError : public CommandError {
  public:
    explicit InputError(const std::string& message) : CommandError(Status::input, message) {}
};

}  // namespace tiomipra

#endif
