#include "ending.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/errors.hpp"
#include "runs/interruption.hpp"

namespace tiomipra {

Ending endingFor(const std::exception& exception) {
    if (const auto* const error = dynamic_cast<const SettingError*>(&exception))
        return {Status::usage, (error->setting().empty() ? "" : "--") + std::string(error->what())};
    if (dynamic_cast<const Interrupted*>(&exception) != nullptr)
        return {Status::interrupted, exception.what()};
    return {Status::input, exception.what()};
}

nlohmann::ordered_json toJson(const Failure& failure) {
    return {{"name", failure.name}, {"message", failure.ending.message}};
}

Ending conclude(const std::vector<Failure>& failures, std::size_t count,
                const std::string& things) {
    if (failures.empty())
        return {};
    const Ending& first = failures.front().ending;
    if (count == 1)
        return first;
    std::string message = fmt::format("{} of {} {} failed:", failures.size(), count, things);
    for (const auto& [name, ending] : failures)
        message += fmt::format("\n  {}: {}", name, ending.message);
    return {failures.size() == count ? first.status : Status::partial, message};
}

}  // namespace tiomipra
