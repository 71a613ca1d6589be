#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <locale>
#include <string>
#include <tevo/log.hpp>
#include <thread>
#include <vector>

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using tevo::LogLevel;
using tevo::log::Record;

class Log : public testing::Test {
  protected:
    ~Log() override {
        tevo::log::setSink({});
        tevo::log::setLevel(LogLevel::warning);
    }

    void collectMessages() {
        tevo::log::setSink([this](const Record& record) { _messages.push_back(record.message); });
    }

    void emit(const std::string& message, LogLevel level = LogLevel::error) const {
        tevo::log::log(level, _category, message, "", "emit", 0);
    }

    std::vector<std::string> _messages;
    const tevo::log::Category* const _category = tevo::log::addCategory("test.log");
};

TEST_F(Log, AdmitsMessagesAtLeastAsGraveAsTheCategorysLevel) {
    collectMessages();
    const std::vector<LogLevel> levels = {LogLevel::none,    LogLevel::fatal, LogLevel::error,
                                          LogLevel::warning, LogLevel::info,  LogLevel::verbose,
                                          LogLevel::debug};
    for (std::size_t admitted = 0; admitted < levels.size(); ++admitted) {
        tevo::log::setLevel("test.log", levels[admitted]);
        EXPECT_EQ(_category->level(), levels[admitted]);
        for (std::size_t level = 0; level < levels.size(); ++level) {
            const bool isAdmitted = level != 0 && level <= admitted;
            EXPECT_EQ(tevo::log::admits(_category, levels[level]), isAdmitted);
            _messages.clear();
            emit("message", levels[level]);
            EXPECT_EQ(_messages.size(), isAdmitted ? 1U : 0U) << admitted << ' ' << level;
        }
    }
    EXPECT_FALSE(tevo::log::admits(nullptr, LogLevel::fatal));
    tevo::log::log(LogLevel::fatal, nullptr, "no category", "", "", 0);
}

TEST_F(Log, OneNameHasOneHandle) {
    EXPECT_EQ(tevo::log::addCategory("test.log"), _category);
    EXPECT_NE(tevo::log::addCategory("test.log.other"), _category);
    EXPECT_EQ(_category->name(), "test.log");
    EXPECT_EQ(tevo::log::addCategory("test.default")->level(), LogLevel::warning);
}

TEST_F(Log, LevelsReachCategoriesThatAreRegisteredLater) {
    tevo::log::setLevel("test.later.named", LogLevel::debug);
    EXPECT_EQ(tevo::log::addCategory("test.later.named")->level(), LogLevel::debug);
    EXPECT_EQ(_category->level(), LogLevel::warning);

    tevo::log::setLevel("test.later.forgotten", LogLevel::debug);
    tevo::log::setLevel(LogLevel::info);
    EXPECT_EQ(_category->level(), LogLevel::info);
    EXPECT_EQ(tevo::log::addCategory("test.later.named")->level(), LogLevel::info);
    EXPECT_EQ(tevo::log::addCategory("test.later.forgotten")->level(), LogLevel::info);
}

TEST_F(Log, SinkTakesTheWholeRecord) {
    std::vector<Record> records;
    tevo::log::setSink([&records](const Record& record) { records.push_back(record); });
    const auto before = std::chrono::system_clock::now();
    tevo::log::log(LogLevel::warning, _category, "two\nlines", "arm.cpp", "moveTo", 12);
    const auto after = std::chrono::system_clock::now();

    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].category, "test.log");
    EXPECT_EQ(records[0].level, LogLevel::warning);
    EXPECT_EQ(records[0].message, "two\nlines");
    EXPECT_EQ(records[0].file, "arm.cpp");
    EXPECT_EQ(records[0].function, "moveTo");
    EXPECT_EQ(records[0].line, 12);
    EXPECT_LE(before, records[0].time);
    EXPECT_LE(records[0].time, after);
}

struct GroupedDigits : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(Log, StreamEmitsOnceWhenItEndsWhateverTheLocale) {
    collectMessages();
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    {
        tevo::log::LogStream stream(LogLevel::error, "", "emit", 0, _category);
        stream << "P2 is " << 14112;
        EXPECT_THAT(_messages, IsEmpty());
    }
    std::locale::global(previous);
    EXPECT_THAT(_messages, ElementsAre("P2 is 14112"));
}

TEST_F(Log, SinkThatThrowsIsCalledAgainForTheNextRecord) {
    int calls = 0;
    tevo::log::setSink([&calls](const Record&) {
        ++calls;
        throw 42;
    });
    EXPECT_NO_THROW(emit("first"));
    EXPECT_NO_THROW(tevo::log::LogStream(LogLevel::error, "", "emit", 0, _category) << "second");
    EXPECT_EQ(calls, 2);
}

TEST_F(Log, RecordsFromInsideTheSinkGoToStandardError) {
    tevo::log::setSink([this](const Record& record) {
        _messages.push_back(record.message);
        emit("inner");
    });
    testing::internal::CaptureStderr();
    emit("outer");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("emit: inner\n"));
    EXPECT_THAT(_messages, ElementsAre("outer"));
}

TEST_F(Log, SinkMayReplaceItself) {
    tevo::log::setSink([this](const Record&) { collectMessages(); });
    emit("first");
    emit("second");
    EXPECT_THAT(_messages, ElementsAre("second"));
}

TEST_F(Log, DefaultOutputIsOneLineOnStandardError) {
    collectMessages();
    tevo::log::setSink({});
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    emit("two\nlines {} %v\n", LogLevel::warning);
    tevo::log::log(LogLevel::fatal, _category, "no function", "", "", 0);
    emit("progress", LogLevel::info);
    const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} ";
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                MatchesRegex(time + "warning test[.]log emit: two lines [{][}] %v\n" + time +
                             "fatal test[.]log: no function\n"));
    EXPECT_THAT(testing::internal::GetCapturedStdout(), IsEmpty());
    EXPECT_THAT(_messages, IsEmpty());
}

TEST_F(Log, SinksAreCalledOneAtATimeAndNeverAfterTheyWereReplaced) {
    constexpr int threads = 4;
    constexpr int recordsPerThread = 500;
    constexpr int sinks = 50;
    std::atomic<int> delivered{0};
    std::atomic<int> running{0};
    std::atomic<int> current{0};
    std::atomic<bool> failed{false};
    const auto useSink = [&](int number) {
        tevo::log::setSink([&, number](const Record& record) {
            if (running.fetch_add(1) != 0 || number < current || record.message != "message")
                failed = true;
            ++delivered;
            std::this_thread::yield();
            --running;
        });
        current = number;
    };
    useSink(0);
    std::vector<std::thread> workers;
    for (int thread = 0; thread < threads; ++thread)
        workers.emplace_back([this, thread] {
            for (int i = 0; i < recordsPerThread; ++i) {
                emit("message");
                tevo::log::addCategory("test.thread" + std::to_string(thread) + std::to_string(i));
            }
        });
    for (int number = 1; number <= sinks; ++number) {
        useSink(number);
        tevo::log::setLevel("test.log", number % 2 == 0 ? LogLevel::debug : LogLevel::error);
    }
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(delivered, threads * recordsPerThread);
    EXPECT_FALSE(failed);
}

struct Setting {
    const char* text;                // of TEVO_LOG
    const char* levels;              // of the categories arm and leg afterwards
    const char* reported = nullptr;  // the word that is not understood
};

void PrintTo(const Setting& setting, std::ostream* out) {
    *out << setting.text;
}

class LogEnvironment : public testing::TestWithParam<Setting> {};

// Runs in a new process, as the variable is read once.
[[noreturn]] void printLevels() {
    const auto level = [](const char* name) {
        return std::to_string(static_cast<int>(tevo::log::addCategory(name)->level()));
    };
    std::cerr << "levels " << level("arm") << level("leg") << std::endl;
    std::exit(0);
}

TEST_P(LogEnvironment, SetsLevels) {
    const auto& [text, levels, reported] = GetParam();
    testing::Matcher<const std::string&> complaints = Not(HasSubstr("TEVO_LOG"));
    if (reported != nullptr)
        complaints = AllOf(HasSubstr(std::string("warning tevo: TEVO_LOG holds \"") + reported +
                                     "\", must be none, fatal, "),
                           Not(ContainsRegex("TEVO_LOG(.|\n)*TEVO_LOG")));

    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    setenv("TEVO_LOG", text, 1);
    EXPECT_EXIT(printLevels(), testing::ExitedWithCode(0),
                AllOf(HasSubstr(std::string("levels ") + levels + "\n"), complaints));
    unsetenv("TEVO_LOG");
}

INSTANTIATE_TEST_SUITE_P(
    Settings, LogEnvironment,
    testing::Values(Setting{"", "33"}, Setting{"verbose", "55"}, Setting{"arm=debug", "63"},
                    Setting{"arm=debug,leg=none", "60"}, Setting{"info,leg=error", "42"},
                    Setting{"leg=error,fatal", "11"}, Setting{",arm=error,,", "23"},
                    Setting{"arm=loud,leg=info", "34", "loud"}, Setting{"Verbose", "33", "Verbose"},
                    Setting{"leg=", "33", ""}));

}  // namespace
