// What failed among many things to do, and how that ends the command.
#ifndef TIOMIPRA_FAILURES_HPP
#define TIOMIPRA_FAILURES_HPP

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "status.hpp"

namespace tiomipra {

struct Failure {
    std::string name;
    Status status;
    std::string message;
};

nlohmann::ordered_json toJson(const Failure& failure);

// Ends the command after its results, failures included, have been printed.
class FailedAfterResults : public CommandError {
  public:
    using CommandError::CommandError;
};

// Names every one of the `failures`, of which there is at least one among `count` `things`. The
// status is `partial`; when all failed, that of the first.
[[noreturn]] void conclude(const std::vector<Failure>& failures, std::size_t count,
                           const std::string& things);

}  // namespace tiomipra

#endif
