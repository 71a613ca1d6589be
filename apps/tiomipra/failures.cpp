#include "failures.hpp"

namespace tiomipra {

nlohmann::ordered_json toJson(const Failure& failure) {
    return {{"name", failure.name}, {"message", failure.message}};
}

void conclude(const std::vector<Failure>& failures, std::size_t count, const std::string& things) {
    const Failure& first = failures.front();
    if (count == 1)
        throw FailedAfterResults(first.status, first.message);
    std::string message = std::to_string(failures.size()) + " of " + std::to_string(count) + " " +
                          things + " failed:";
    for (const Failure& failure : failures)
        message += "\n  " + failure.name + ": " + failure.message;
    throw FailedAfterResults(failures.size() == count ? first.status : Status::partial, message);
}

}  // namespace tiomipra
