/// @file
/// Category-based logging: a thin face over spdlog.
///
/// A component registers a category once and keeps its handle. A message is built only when the
/// category admits its level, so a message that nobody wants costs one relaxed atomic load:
///
/// @code
/// using tevo::LogLevel, tevo::log::LogStream;
/// const auto* const category = tevo::log::addCategory("robot.arm");
/// if (tevo::log::admits(category, LogLevel::verbose))
///     LogStream(LogLevel::verbose, "", "moveTo", 0, category) << "angle " << angle;
/// @endcode
///
/// Warnings and worse are admitted by default and go to standard error, one line each. The
/// environment variable `TEVO_LOG`, read when the first category is registered, changes that:
/// `TEVO_LOG=verbose` for all categories, `TEVO_LOG=robot.arm=debug,robot.leg=none` by name, both
/// kinds applied from left to right. A word in it that is not understood is reported once, on
/// standard error, and ignored.
///
/// Every function may be called from several threads at once, and none of them throws for want of
/// a place to write: a record that can't be delivered is dropped.
#ifndef TEVO_LOG_HPP
#define TEVO_LOG_HPP

#include <atomic>
#include <chrono>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

#include "tevo/export.hpp"

namespace tevo {

/// How grave a message is, the gravest first. A category that admits a level admits all graver
/// ones.
enum class LogLevel : int {
    none,     ///< As a category's level: nothing is admitted. Not a level for a message.
    fatal,    ///< The program can't go on.
    error,    ///< An operation was refused or failed.
    warning,  ///< Something is off but the operation went on.
    info,     ///< A milestone that a user may want to see.
    verbose,  ///< Progress within an operation.
    debug     ///< Details for the developer.
};

namespace log {

/// A named source of messages with the level that it currently admits.
///
/// Made by `addCategory` alone; lives as long as the process.
class TEVO_EXPORT Category {
  public:
    Category(const Category&) = delete;
    Category& operator=(const Category&) = delete;

    /// The name under which the category was registered.
    const std::string& name() const noexcept { return _name; }

    /// The least grave level that is admitted now; a relaxed load, no lock.
    LogLevel level() const noexcept { return _level.load(std::memory_order_relaxed); }

  private:
    friend class Registry;
    Category(std::string name, LogLevel level) : _name(std::move(name)), _level(level) {}
    ~Category() = default;

    std::string _name;
    std::atomic<LogLevel> _level;
};

/// True when `category` is registered (not null) and admits messages of `level` now.
inline bool admits(const Category* category, LogLevel level) noexcept {
    return category != nullptr && level != LogLevel::none && level <= category->level();
}

/// One message on its way to the sink.
struct Record {
    std::string category;  ///< The category's name.
    LogLevel level;        ///< The message's level.
    std::string message;   ///< The text; may hold line feeds.
    std::string file;      ///< Source file of the caller; may be empty.
    std::string function;  ///< Bare name of the logging function; may be empty.
    int line;              ///< Source line of the caller; 0 when unknown.
    std::chrono::system_clock::time_point time;  ///< When the message was emitted.
};

/// Takes the records in place of the default output.
using Sink = std::function<void(const Record&)>;

/// Registers the category `name`, or finds it: the same name always gives the same handle.
/// @return a handle that stays valid for the life of the process; never null.
TEVO_EXPORT const Category* addCategory(std::string_view name);

/// Sets the level that the category `name` admits; one that is not registered yet takes it then.
TEVO_EXPORT void setLevel(std::string_view name, LogLevel level);

/// Sets the level that every category admits, those registered later included; levels set by name
/// before are forgotten.
TEVO_EXPORT void setLevel(LogLevel level);

/// Lets the host take the records itself; an empty function restores the default output.
///
/// The sink is called by the thread that logs, one call at a time, and never again once `setSink`
/// has returned (unless the sink itself makes that call). An exception that it throws is swallowed.
/// Records logged from inside the sink go to the default output. The sink must not wait for another
/// thread that logs.
TEVO_EXPORT void setSink(Sink sink);

/// Emits one message, if `category` admits `level`; never throws.
TEVO_EXPORT void log(LogLevel level, const Category* category, std::string_view message,
                     std::string_view file, std::string_view function, int line) noexcept;

/// Collects one message by stream insertion and emits it when it is destroyed.
///
/// Check `admits` first: a stream that is built has already paid for its buffer. Numbers are
/// written in the "C" locale, whatever the host's global locale is.
class TEVO_EXPORT LogStream : public std::ostream {
  public:
    /// `file` and `function` must outlive the stream; literals do.
    LogStream(LogLevel level, const char* file, const char* function, int line,
              const Category* category);
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;
    ~LogStream() override;

  private:
    std::stringbuf _buffer;
    LogLevel _level;
    const char* _file;
    const char* _function;
    int _line;
    const Category* _category;
};

}  // namespace log
}  // namespace tevo

#endif
