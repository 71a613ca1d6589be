// How the command ends. Nothing below apps/ knows of it.
#ifndef TIOMIPRA_ENDING_HPP
#define TIOMIPRA_ENDING_HPP

#include <cstddef>
#include <exception>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace tiomipra {

// The exit statuses, the same for every subcommand, and an end without one.
enum class Status : int {
    done = 0,        // what was asked for is done
    no = 1,          // the answer is no: a check, a gate or a calibration that failed
    usage = 2,       // the command line makes no sense
    input = 3,       // a file can't be read or written, or does not fit the others
    partial = 4,     // some of many pairs failed
    interrupted = 5  // by a signal: the process dies of it and has no exit status
};

struct Ending {
    Status status = Status::done;
    std::string message;  // for standard error; empty if there is nothing more to say
};

// What a subcommand does once its options are known. An exception means that there is no result, or
// that a signal has ended it.
using Run = std::function<Ending()>;

// The one place that knows what an exception means for the command line.
Ending endingFor(const std::exception& exception);

// Has what nobody can catch told by `tell` before the process ends with its status, where it is
// that memory ran out. OpenCV's buffers throw a second time while the first exception unwinds,
// which the language answers by std::terminate.
void endWithoutMemory(std::function<void(const Ending& ending)> tell);

// One of many things that failed, and how the command would end if it were the only one.
struct Failure {
    std::string name;
    Ending ending;
};

// {"name": ..., "message": ...}
nlohmann::ordered_json toJson(const Failure& failure);

// Names every one of the `failures` among `count` `things` ("pairs"). The status is `partial`; when
// all failed, that of the first. Without failures `done`.
Ending conclude(const std::vector<Failure>& failures, std::size_t count, const std::string& things);

}  // namespace tiomipra

#endif
