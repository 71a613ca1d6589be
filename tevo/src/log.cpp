#include "tevo/log.hpp"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace tevo::log {
namespace {

constexpr LogLevel defaultLevel = LogLevel::warning;

constexpr std::pair<const char*, LogLevel> levelNames[] = {
    {"none", LogLevel::none},       {"fatal", LogLevel::fatal}, {"error", LogLevel::error},
    {"warning", LogLevel::warning}, {"info", LogLevel::info},   {"verbose", LogLevel::verbose},
    {"debug", LogLevel::debug}};

const char* nameOf(LogLevel level) {
    for (const auto& [name, value] : levelNames) {
        if (value == level)
            return name;
    }
    return "?";
}

std::optional<LogLevel> levelNamed(std::string_view word) {
    for (const auto& [name, value] : levelNames) {
        if (word == name)
            return value;
    }
    return std::nullopt;
}

// Trailing line feeds removed, inner ones made blanks: a record is one line.
std::string joinLines(std::string text) {
    text.erase(text.find_last_not_of('\n') + 1);
    for (char& character : text) {
        if (character == '\n')
            character = ' ';
    }
    return text;
}

// Writes records to standard error through spdlog.
class DefaultOutput {
  public:
    DefaultOutput() : _logger("tevo", std::make_shared<spdlog::sinks::stderr_sink_mt>()) {
        _logger.set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
        _logger.set_level(spdlog::level::trace);
        _logger.flush_on(spdlog::level::trace);
        // There is no better place to complain about standard error than standard error.
        _logger.set_error_handler([](const std::string&) {});
    }

    void write(const Record& record) {
        const std::string function = record.function.empty() ? "" : " " + record.function;
        const std::string line = std::string(nameOf(record.level)) + " " + record.category +
                                 function + ": " + joinLines(record.message);
        _logger.log(record.time, {}, spdlog::level::info, line);
    }

  private:
    spdlog::logger _logger;
};

// True while this thread runs the host's sink.
thread_local bool isInsideSink = false;

}  // namespace

// All categories, their levels and the sink. Never destroyed, so that handles and logging work
// until the very end of the process, in the destructors of static objects too.
class Registry {
  public:
    static Registry& instance() {
        static auto* const registry = new Registry;
        return *registry;
    }

    const Category* addCategory(std::string_view name) {
        const std::lock_guard lock(_categoriesMutex);
        const auto found = _categories.find(name);
        if (found != _categories.end())
            return found->second.get();
        CategoryOwner category(new Category(std::string(name), levelFor(name)));
        return _categories.emplace(name, std::move(category)).first->second.get();
    }

    void setLevel(std::string_view name, LogLevel level) {
        const std::lock_guard lock(_categoriesMutex);
        _levelsByName.insert_or_assign(std::string(name), level);
        const auto found = _categories.find(name);
        if (found != _categories.end())
            found->second->_level.store(level, std::memory_order_relaxed);
    }

    void setLevel(LogLevel level) {
        const std::lock_guard lock(_categoriesMutex);
        _levelsByName.clear();
        _commonLevel = level;
        for (const auto& [name, category] : _categories)
            category->_level.store(level, std::memory_order_relaxed);
    }

    void setSink(Sink sink) {
        // The old sink dies after the lock is released: its destructor may log.
        auto replacement = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
        const std::lock_guard lock(_sinkMutex);
        _sink.swap(replacement);
    }

    void emit(const Record& record) {
        if (isInsideSink) {
            _defaultOutput.write(record);
            return;
        }
        const std::lock_guard lock(_sinkMutex);
        // Kept alive here, as the sink may replace itself.
        if (const auto sink = _sink) {
            const SinkScope scope;
            (*sink)(record);
        } else
            _defaultOutput.write(record);
    }

  private:
    // Categories are only made and deleted here.
    struct CategoryDeleter {
        void operator()(Category* category) const { delete category; }
    };
    using CategoryOwner = std::unique_ptr<Category, CategoryDeleter>;

    struct SinkScope {
        SinkScope() { isInsideSink = true; }
        SinkScope(const SinkScope&) = delete;
        SinkScope& operator=(const SinkScope&) = delete;
        ~SinkScope() { isInsideSink = false; }
    };

    Registry() {
        if (const char* setting = std::getenv("TEVO_LOG"))
            readSetting(setting);
    }

    LogLevel levelFor(std::string_view name) const {
        const auto found = _levelsByName.find(name);
        return found == _levelsByName.end() ? _commonLevel : found->second;
    }

    // `setting` as in "verbose" or "vision.stereo=verbose,vision.stereo.calibration=error".
    void readSetting(std::string_view setting) {
        while (!setting.empty()) {
            const auto comma = setting.find(',');
            const auto item = setting.substr(0, comma);
            setting.remove_prefix(comma == setting.npos ? setting.size() : comma + 1);
            if (!item.empty())
                readItem(item);
        }
    }

    void readItem(std::string_view item) {
        const auto equals = item.rfind('=');
        const auto word = equals == item.npos ? item : item.substr(equals + 1);
        const auto level = levelNamed(word);
        if (!level)
            reportUnknown(word);
        else if (equals == item.npos)
            setLevel(*level);
        else
            setLevel(item.substr(0, equals), *level);
    }

    void reportUnknown(std::string_view word) {
        _defaultOutput.write({"tevo", LogLevel::warning,
                              "TEVO_LOG holds \"" + std::string(word) +
                                  "\", must be none, fatal, error, warning, info, verbose or "
                                  "debug; ignored",
                              "", "", 0, std::chrono::system_clock::now()});
    }

    std::mutex _categoriesMutex;
    std::map<std::string, CategoryOwner, std::less<>> _categories;
    std::map<std::string, LogLevel, std::less<>> _levelsByName;
    LogLevel _commonLevel = defaultLevel;

    // Recursive, as a sink may call `setSink`.
    std::recursive_mutex _sinkMutex;
    std::shared_ptr<const Sink> _sink;
    DefaultOutput _defaultOutput;
};

const Category* addCategory(std::string_view name) {
    return Registry::instance().addCategory(name);
}

void setLevel(std::string_view name, LogLevel level) {
    Registry::instance().setLevel(name, level);
}

void setLevel(LogLevel level) {
    Registry::instance().setLevel(level);
}

void setSink(Sink sink) {
    Registry::instance().setSink(std::move(sink));
}

void log(LogLevel level, const Category* category, std::string_view message, std::string_view file,
         std::string_view function, int line) noexcept {
    if (!admits(category, level))
        return;
    try {
        Registry::instance().emit({category->name(), level, std::string(message), std::string(file),
                                   std::string(function), line, std::chrono::system_clock::now()});
    } catch (...) {  // NOLINT(bugprone-empty-catch)
        // Logging must not change the fate of the operation that logs.
    }
}

LogStream::LogStream(LogLevel level, const char* file, const char* function, int line,
                     const Category* category)
    : std::ostream(nullptr),
      _level(level),
      _file(file),
      _function(function),
      _line(line),
      _category(category) {
    rdbuf(&_buffer);
    imbue(std::locale::classic());
}

LogStream::~LogStream() {
    try {
        log(_level, _category, _buffer.str(), _file, _function, _line);
    } catch (...) {  // NOLINT(bugprone-empty-catch)
        // No memory for the text: the message is lost, the operation is not.
    }
}

}  // namespace tevo::log
