#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <locale>
#include <string>
#include <tevo/log.hpp>
#include <thread>
#include <vector>

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
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
    constexpr int levels = 7;  // none, fatal, ... debug
    for (int i = 0; i < levels * levels; ++i) {
        const auto admitted = static_cast<LogLevel>(i / levels);
        const auto level = static_cast<LogLevel>(i % levels);
        tevo::log::setLevel("test.log", admitted);
        const bool isAdmitted = level != LogLevel::none && level <= admitted;
        EXPECT_EQ(tevo::log::admits(_category, level), isAdmitted);
        emit("message", level);
        EXPECT_EQ(std::exchange(_messages, {}).size(), isAdmitted ? 1U : 0U);
    }
    EXPECT_FALSE(tevo::log::admits(nullptr, LogLevel::fatal));
    tevo::log::log(LogLevel::fatal, nullptr, "no category", "", "", 0);
}

TEST_F(Log, LevelsReachCategoriesThatAreRegisteredLater) {
    EXPECT_EQ(tevo::log::addCategory("test.log"), _category);
    const auto levelOf = [](const char* name) { return tevo::log::addCategory(name)->level(); };
    tevo::log::setLevel("test.later.named", LogLevel::debug);
    tevo::log::setLevel("test.later.forgotten", LogLevel::debug);
    EXPECT_EQ(levelOf("test.later.named"), LogLevel::debug);
    EXPECT_EQ(levelOf("test.log"), LogLevel::warning);
    tevo::log::setLevel(LogLevel::info);
    for (const char* const name : {"test.log", "test.later.named", "test.later.forgotten"})
        EXPECT_EQ(levelOf(name), LogLevel::info) << name;
}

TEST_F(Log, SinkTakesTheWholeRecord) {
    std::vector<Record> records;
    tevo::log::setSink([&records](const Record& record) { records.push_back(record); });
    const auto before = std::chrono::system_clock::now();
    tevo::log::log(LogLevel::warning, _category, "two\nlines", "arm.cpp", "moveTo", 12);
    ASSERT_EQ(records.size(), 1U);
    const auto& [category, level, message, file, function, line, time] = records[0];
    EXPECT_EQ(std::tie(category, level, message, file, function, line),
              std::tuple("test.log", LogLevel::warning, "two\nlines", "arm.cpp", "moveTo", 12));
    EXPECT_LE(before, time);
    EXPECT_LE(time, std::chrono::system_clock::now());
}

struct GroupedDigits : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(Log, StreamEmitsOnceWhenItEndsWhateverTheLocale) {
    collectMessages();
    const auto previous = std::locale::global({std::locale::classic(), new GroupedDigits});
    {
        tevo::log::LogStream stream(LogLevel::error, "", "emit", 0, _category);
        stream << "P2 is " << 14112;
        EXPECT_THAT(_messages, IsEmpty());
    }
    std::locale::global(previous);
    EXPECT_THAT(_messages, ElementsAre("P2 is 14112"));
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

TEST_F(Log, SinkMayThrowAndReplaceItself) {
    int calls = 0;
    tevo::log::setSink([&](const Record&) {
        if (calls == 1)
            collectMessages();
        throw ++calls;
    });
    for (const char* const message : {"first", "second", "third"})
        EXPECT_NO_THROW(emit(message));
    EXPECT_THAT(_messages, ElementsAre("third"));
}

TEST_F(Log, DefaultOutputIsOneLineOnStandardError) {
    collectMessages();
    tevo::log::setSink({});
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    emit("two\nlines {} %v\n", LogLevel::warning);
    tevo::log::log(LogLevel::fatal, _category, "no function", "", "", 0);
    emit("progress", LogLevel::info);
    emit("no level", static_cast<LogLevel>(-1));
    const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} ";
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        MatchesRegex(time + "warning test[.]log emit: two lines [{][}] %v\n" + time +
                     "fatal test[.]log: no function\n" + time + "[?] test[.]log emit: no level\n"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_THAT(_messages, IsEmpty());
}

TEST_F(Log, SinksAreCalledOneAtATimeAndNeverAfterTheyWereReplaced) {
    constexpr int recordsPerThread = 500;
    int delivered = 0;  // not atomic, as the sinks are called one at a time
    std::atomic<int> running{0};
    std::atomic<int> current{0};
    std::atomic<bool> failed{false};
    const auto emitAll = [this] {
        for (int i = 0; i < recordsPerThread; ++i) {
            emit("message");
            tevo::log::addCategory("test." + std::to_string(i));
            tevo::log::setLevel(i % 2 == 0 ? LogLevel::error : LogLevel::verbose);
        }
    };
    std::vector<std::thread> workers;
    for (int number = 0; number <= 50; ++number) {
        tevo::log::setSink([&, number](const Record& record) {
            if (running.fetch_add(1) != 0 || number < current || record.message != "message")
                failed = true;
            ++delivered;
            std::this_thread::yield();
            --running;
        });
        current = number;
        if (workers.size() < 4)
            workers.emplace_back(emitAll);
    }
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(delivered, recordsPerThread * static_cast<int>(workers.size()));
    EXPECT_FALSE(failed);
}

// Runs in a new process, as the variable is read once.
[[noreturn]] void printLevels() {
    for (const char* const name : {"arm", "leg"})
        std::cerr << static_cast<int>(tevo::log::addCategory(name)->level());
    std::exit(0);
}

TEST(LogEnvironment, SetsLevels) {
    // The setting, the levels of arm and leg, the word that is complained about.
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"", "33", ""},
        {"verbose", "55", ""},
        {"arm=debug,leg=none", "60", ""},
        {"info,leg=error", "42", ""},
        {"leg=error,fatal", "11", ""},
        {",arm=error,,", "23", ""},
        {"arm=loud,leg=info", "34", "\"loud\""},
        {"Verbose", "33", "\"Verbose\""},
        {"leg=", "33", "\"\""}};
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    for (const auto& [setting, levels, word] : cases) {
        setenv("TEVO_LOG", setting, 1);
        const std::string complaint =
            "[^\n]* warning tevo: TEVO_LOG holds " + word + ", must be none, fatal[^\n]*\n";
        EXPECT_EXIT(printLevels(), testing::ExitedWithCode(0),
                    MatchesRegex((word.empty() ? "" : complaint) + levels))
            << setting;
    }
    unsetenv("TEVO_LOG");
}

}  // namespace
}  // namespace tiomipra::test
