#include "ending.hpp"

#include <fmt/format.h>

#include <cstdlib>
#include <new>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <system_error>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "runs/interruption.hpp"

namespace tiomipra {
namespace {

std::function<void(const Ending& ending)> tellEnding;

bool isOutOfMemory(const std::exception& exception) {
    const auto* const ofOpenCv = dynamic_cast<const cv::Exception*>(&exception);
    return dynamic_cast<const std::bad_alloc*>(&exception) != nullptr ||
           (ofOpenCv != nullptr &&
            (ofOpenCv->code == cv::Error::StsNoMem || endsWith(ofOpenCv->file, "buffer_area.cpp")));
}

// As the standard library says it, and as TBB does, from which OpenCV has its threads.
bool isOutOfThreads(const std::exception& exception) {
    const auto* const error = dynamic_cast<const std::system_error*>(&exception);
    return (error != nullptr && error->code() == std::errc::resource_unavailable_try_again) ||
           startsWith(exception.what(), "pthread_create ");
}

[[noreturn]] void endTerminated() {
    try {
        if (const auto exception = std::current_exception())
            std::rethrow_exception(exception);
    } catch (const std::exception& exception) {
        if (isOutOfMemory(exception)) {
            const Ending ending = endingFor(exception);
            tellEnding(ending);
            std::_Exit(static_cast<int>(ending.status));
        }
    } catch (...) {
        std::abort();
    }
    std::abort();
}

}  // namespace

void endWithoutMemory(std::function<void(const Ending& ending)> tell) {
    tellEnding = std::move(tell);
    std::set_terminate(endTerminated);
}

Ending endingFor(const std::exception& exception) {
    if (const auto* const error = dynamic_cast<const SettingError*>(&exception))
        return {Status::usage, (error->setting().empty() ? "" : "--") + std::string(error->what())};
    if (dynamic_cast<const Interrupted*>(&exception) != nullptr)
        return {Status::interrupted, exception.what()};
    if (isOutOfMemory(exception))
        return {Status::input,
                "there is not enough memory left; what to do: a larger limit, fewer --jobs, fewer "
                "disparities, or a larger --scale"};
    if (isOutOfThreads(exception))
        return {Status::input,
                "no further thread can be started; what to do: fewer processes of this user, or a "
                "larger limit on them (ulimit -u, pids.max of the control group)"};
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
        message += fmt::format("\n  {}: {}", printable(name), ending.message);
    return {failures.size() == count ? first.status : Status::partial, message};
}

}  // namespace tiomipra
