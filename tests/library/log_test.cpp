#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <locale>
#include <memory>
#include <string>
#include <tevo/log.hpp>
#include <thread>
#include <vector>

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using tevo::LogLevel;
using tevo::log::LogStream;
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

struct GroupedDigits : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(Log, StreamGivesTheSinkOneWholeRecordWhateverTheLocale) {
    std::vector<Record> records;
    tevo::log::setSink([&records](const Record& record) { records.push_back(record); });
    const auto previous = std::locale::global({std::locale::classic(), new GroupedDigits});
    const auto before = std::chrono::system_clock::now();
    {
        LogStream stream(LogLevel::warning, "arm.cpp", "moveTo", 12, _category);
        stream << "P2\nis " << 14112;
        EXPECT_THAT(records, IsEmpty());
    }
    std::locale::global(previous);
    ASSERT_EQ(records.size(), 1U);
    const auto& [category, level, message, file, function, line, time] = records[0];
    EXPECT_EQ(std::tie(category, level, message, file, function, line),
              std::tuple("test.log", LogLevel::warning, "P2\nis 14112", "arm.cpp", "moveTo", 12));
    EXPECT_TRUE(before <= time && time <= std::chrono::system_clock::now());
}

// What it logs goes to standard error. It lives until it returns.
TEST_F(Log, SinkMayLogThrowAndReplaceItself) {
    auto counter = std::make_shared<int>();
    const std::weak_ptr<int> alive = counter;
    tevo::log::setSink([this, &alive, calls = std::move(counter)](const Record&) {
        const auto& stillAlive = alive;
        emit("inner");
        if (++*calls == 2)
            collectMessages();
        EXPECT_FALSE(stillAlive.expired());
        throw 1;
    });
    testing::internal::CaptureStderr();
    for (const char* const message : {"first", "second", "third"})
        EXPECT_NO_THROW(emit(message));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                MatchesRegex("[^\n]*emit: inner\n[^\n]*emit: inner\n"));
    EXPECT_THAT(_messages, ElementsAre("third"));
    EXPECT_TRUE(alive.expired());
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
    std::atomic<int> current{0};
    std::vector<std::thread> workers;
    for (int number = 0; number <= 50; ++number) {
        tevo::log::setSink([&, number](const Record& record) {
            const int before = delivered++;
            std::this_thread::yield();
            EXPECT_TRUE(delivered == before + 1 && number >= current);
            EXPECT_EQ(record.message, "message");
        });
        current = number;
        if (workers.size() < 4)
            workers.emplace_back([this] {
                for (int i = 0; i < recordsPerThread; ++i) {
                    emit("message");
                    tevo::log::addCategory("test." + std::to_string(i));
                    tevo::log::setLevel(i % 2 == 0 ? LogLevel::error : LogLevel::verbose);
                }
            });
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(delivered, recordsPerThread * static_cast<int>(workers.size()));
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
        {"leg=error,fatal", "11", ""},
        {",arm=error,,", "23", ""},
        {"arm=loud,leg=info", "34", "\"loud\""},
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
