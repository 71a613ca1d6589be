#include "logging.hpp"

#include <pybind11/pybind11.h>

#include <atomic>
#include <chrono>
#include <string>
#include <tevo/log.hpp>
#include <utility>
#include <vector>

#include "base/text.hpp"
#include "interpreter.hpp"

namespace tiomipra::python {
namespace {

namespace py = pybind11;
using tevo::LogLevel;
using tevo::log::Record;

thread_local std::vector<Record> records;

constexpr const char* categories[] = {"vision.stereo", "vision.stereo.calibration"};

struct Levels {
    const char* name;  // in Python's `logging`
    LogLevel most;     // of the library that it admits
};

// The least grave one first.
constexpr Levels levels[] = {{"DEBUG", LogLevel::debug},
                             {"INFO", LogLevel::info},
                             {"WARNING", LogLevel::warning},
                             {"ERROR", LogLevel::error},
                             {"CRITICAL", LogLevel::fatal}};

int levelNumber(LogLevel level) {
    constexpr int step = 10, gravest = 50;
    switch (level) {
        case LogLevel::debug:
        case LogLevel::verbose:
            return step;
        case LogLevel::info:
            return 2 * step;
        case LogLevel::warning:
            return 3 * step;
        case LogLevel::error:
            return 4 * step;
        default:
            return gravest;
    }
}

// Below Python's own frames stands nothing here that owns something of it.
py::object callPython(const py::object& function, const py::tuple& arguments) {
    StayAtExit stay;
    PyObject* const result = PyObject_Call(function.ptr(), arguments.ptr(), nullptr);
    stay.end();
    if (result == nullptr)
        throw py::error_already_set();
    return py::reinterpret_steal<py::object>(result);
}

// A logger of Python, and what the category of that name admits now. Never destroyed, as the
// interpreter may be gone by then.
struct Listener {
    const char* category;
    py::object isEnabledFor;
    LogLevel admitted = LogLevel::warning;

    LogLevel wanted() const {
        for (const auto& [name, most] : levels) {
            if (callPython(isEnabledFor, py::make_tuple(levelNumber(most))).cast<bool>())
                return most;
        }
        return LogLevel::none;
    }

    void update() {
        const LogLevel now = wanted();
        if (now == admitted)
            return;
        admitted = now;
        tevo::log::setLevel(category, now);
    }
};

std::vector<Listener>& listeners() {
    static auto* const all = new std::vector<Listener>;
    return *all;
}

// Of `tiomipra._logging`. Kept, as nothing can be imported any more when the interpreter ends.
py::object& deliverer() {
    static auto* const kept = new py::object;
    return *kept;
}

void deliver(const Record& record) {
    const auto time = record.time.time_since_epoch();
    callPython(deliverer(), py::make_tuple(record.category, levelNumber(record.level),
                                           py::str(printable(record.message)), record.function,
                                           std::chrono::duration<double>(time).count()));
}

}  // namespace

void keepRecords() {
    const auto getLogger = py::module_::import("logging").attr("getLogger");
    for (const char* category : categories) {
        tevo::log::setLevel(category, LogLevel::warning);
        listeners().push_back({category, getLogger(category).attr("isEnabledFor")});
    }
    deliverer() = py::module_::import("tiomipra._logging").attr("deliver");
    tevo::log::setSink([](const Record& record) { records.push_back(record); });
}

void admitRecords() {
    for (Listener& listener : listeners())
        listener.update();
}

void deliverRecords() {
    for (const Record& record : std::exchange(records, {})) {
        try {
            deliver(record);
        } catch (py::error_already_set& error) {
            if (!error.matches(PyExc_Exception))
                throw;
            error.discard_as_unraisable("tiomipra._logging.deliver");
        } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
            // No memory for the record: it is lost, the call is not.
        }
    }
}

void keepNotice(const std::string& notice) {
    constexpr std::pair<const char*, LogLevel> kinds[] = {{"warning: ", LogLevel::warning},
                                                          {"note: ", LogLevel::info}};
    Record record{"tiomipra", LogLevel::info, notice, "", "", 0, std::chrono::system_clock::now()};
    for (const auto& [prefix, level] : kinds) {
        if (startsWith(notice, prefix)) {
            record.level = level;
            record.message.erase(0, std::string(prefix).size());
        }
    }
    records.push_back(std::move(record));
}

}  // namespace tiomipra::python
