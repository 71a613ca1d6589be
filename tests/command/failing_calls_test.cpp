// System calls that fail: whichever it is, the program ends as documented, names the file, and what
// stands under a final name is whole.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <sstream>

#include "base/text.hpp"
#include "support/run_program.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

namespace fs = std::filesystem;
using Contents = std::map<std::string, std::string>;

constexpr auto traceable = "trace=%file,%desc,getrandom,clone3";

// The `number`th call with that name that a thread makes, as strace counts them.
struct SystemCall {
    std::string name;
    int number;
    bool isOfFile;
};

// In a scratch folder, but not standard output and error, which are files there.
bool isOnFile(const std::string& line) {
    const auto has = [&](const char* part) { return line.find(part) != std::string::npos; };
    return has("/tiomipra-") && !has("(1<") && !has("(2<");
}

bool isOfResources(const std::string& line, const std::string& name) {
#ifdef __SANITIZE_ADDRESS__
    return false;  // its own memory is allocated by the same calls, and ends the process
#endif
    const bool isOfMemory = name == "mmap" && line.find("MAP_ANONYMOUS") != std::string::npos;
    return isOfMemory || name == "clone3" || name == "getrandom";
}

const char* errorOf(const std::string& name) {
    static const std::map<std::string, const char*> errors = {
        {"openat", "EACCES"}, {"mmap", "ENOMEM"},    {"clone3", "EAGAIN"}, {"write", "ENOSPC"},
        {"mkdir", "ENOSPC"},  {"mkdirat", "ENOSPC"}, {"flock", "ENOLCK"},  {"getrandom", "ENOSYS"}};
    const auto found = errors.find(name);
    return found == errors.end() ? "EIO" : found->second;
}

// What a trace by `strace -f -y` holds, from the first call on a file of the test on. A call counts
// only if it has its number in all threads that make so many: strace fails it in each.
std::vector<SystemCall> callsIn(const std::string& trace, bool withResources) {
    std::istringstream lines(trace);
    std::map<std::pair<std::string, std::string>, int> counts;
    std::map<std::pair<std::string, int>, std::optional<SystemCall>> calls;
    bool isStarted = false;
    std::string thread, name;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        words >> thread;
        std::getline(words >> std::ws, name, '(');
        if (name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_0123456789") != std::string::npos)
            continue;
        const int number = ++counts[{thread, name}];
        isStarted = isStarted || (isOnFile(line) && name != "execve");
        const bool isWorth =
            isStarted && (isOnFile(line) || (withResources && isOfResources(line, name)));
        auto& call =
            calls.try_emplace({name, number}, SystemCall{name, number, true}).first->second;
        if (!isWorth)
            call.reset();
        else if (call)
            call->isOfFile = call->isOfFile && isOnFile(line);
    }
    std::vector<SystemCall> worth;
    for (const auto& [key, call] : calls) {
        if (call)
            worth.push_back(*call);
    }
    return worth;
}

// At most `count`, of each name about as many.
std::vector<SystemCall> choose(std::vector<SystemCall> calls, std::size_t count) {
    std::shuffle(calls.begin(), calls.end(), std::mt19937(1));
    std::map<std::string, std::size_t> ranks;
    std::multimap<std::size_t, SystemCall> ranked;
    for (const SystemCall& call : calls)
        ranked.emplace(ranks[call.name]++, call);
    calls.clear();
    for (auto next = ranked.begin(); next != ranked.end() && calls.size() < count; ++next)
        calls.push_back(next->second);
    return calls;
}

// Of hidden files the names: what is in them is nobody's business.
Contents contentsOf(const std::string& folder) {
    Contents contents;
    std::error_code isMissing;
    for (const auto& entry : fs::directory_iterator(folder, isMissing)) {
        const std::string name = entry.path().filename().string();
        contents[name] = name.front() == '.' ? "" : readFile(entry.path().string());
    }
    return contents;
}

// A call with an output folder; `other` makes it give other files of the same names.
struct Scenario {
    Arguments call;
    Arguments other;
    std::string output;
    std::string last;  // how the names of the files end that are written last
    // Images that there are not the resources to read are left out, and the results others.
    bool failsResources = true;
};

class FailingCalls {
  public:
    explicit FailingCalls(Scenario scenario) : _scenario(std::move(scenario)) {
        _old = resultsOf(joined(_scenario.call, _scenario.other));
        _new = resultsOf(_scenario.call);
        EXPECT_EQ(_old.size(), _new.size());
        EXPECT_NE(_old, _new);
    }

    void fail(std::size_t count) {
        prepare(true);
        run("-y -e signal=none -o '" + _captured / "trace" + "'");
        const auto calls =
            choose(callsIn(readFile(_captured / "trace"), _scenario.failsResources), count);
        EXPECT_GT(calls.size(), count / 2);
        bool hasOld = false;
        for (const SystemCall& call : calls) {
            hasOld = !hasOld;
            SCOPED_TRACE(call.name + " " + std::to_string(call.number) + ": " +
                         testing::PrintToString(_scenario.call));
            prepare(hasOld);
            const RunResult result =
                run("-o /dev/null -e inject=" + call.name + ":error=" + errorOf(call.name) +
                    ":when=" + std::to_string(call.number));
            expectWholeFiles(hasOld ? _old : Contents(), call);
            expectReason(result, call);
            if (result.status == 0)
                expectAllNew();
        }
    }

  private:
    Contents resultsOf(const Arguments& arguments) const {
        fs::remove_all(_scenario.output);
        EXPECT_LE(RunningProgram(arguments).wait().status, 1);
        return contentsOf(_scenario.output);
    }

    void prepare(bool hasOld) const {
        fs::remove_all(_scenario.output);
        if (!hasOld)
            return;
        fs::create_directories(_scenario.output);
        for (const auto& [name, bytes] : _old)
            std::ofstream(_scenario.output + "/" + name, std::ios::binary) << bytes;
    }

    RunResult run(const std::string& options) const {
        const std::string command = std::string("strace -f -qqq --seccomp-bpf -e ") + traceable +
                                    " " + options + " " + shellCommand(_scenario.call) + " > '" +
                                    _captured / "out' 2> '" + _captured / "err'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                readFile(_captured / "out"), readFile(_captured / "err")};
    }

    void expectWholeFiles(const Contents& before, const SystemCall& call) const {
        const Contents after = contentsOf(_scenario.output);
        const bool mayStay = startsWith(call.name, "unlink") || call.name == "flock";
        for (const auto& [name, bytes] : after) {
            const bool isNew = holds(_new, name, bytes), isOld = holds(before, name, bytes);
            EXPECT_TRUE(isNew || isOld || (mayStay && name.front() == '.'))
                << name << " with " << bytes.size() << " bytes";
            if (isNew && endsWith(name, _scenario.last))
                expectTogether(after, name);
        }
    }

    void expectAllNew() const {
        const Contents after = contentsOf(_scenario.output);
        for (const auto& [name, bytes] : _new)
            EXPECT_TRUE(holds(after, name, bytes)) << name;
    }

    // All files of the pair, or the calibration, are new where its last one is.
    void expectTogether(const Contents& after, const std::string& last) const {
        const std::string pair = last.substr(0, last.size() - _scenario.last.size());
        for (const auto& [name, bytes] : _new)
            EXPECT_TRUE(!startsWith(name, pair) || holds(after, name, bytes))
                << name << ", " << last;
    }

    static bool holds(const Contents& contents, const std::string& name, const std::string& bytes) {
        const auto found = contents.find(name);
        return found != contents.end() && found->second == bytes;
    }

    static void expectReason(const RunResult& result, const SystemCall& call) {
        EXPECT_THAT(result.status, testing::AnyOf(0, 3, 4)) << result.err;
        if (result.status == 0)
            return;
        // The message is a call, too.
        if (call.name == "write" && !endsWith(result.err, "\n"))
            return;
        EXPECT_THAT(result.err, testing::ContainsRegex("tiomipra [a-z]+: ."));
        if (call.isOfFile) {
            EXPECT_THAT(result.err, testing::HasSubstr("/tiomipra-"));
        }
    }

    Scenario _scenario;
    ScratchFolder _captured;
    Contents _old;
    Contents _new;
};

// Set TIOMIPRA_FAILURES for more than a handful.
TEST(FailingCalls, LeaveWholeFilesAndAReason) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "takes too long";
#endif
    if (std::system("strace -o /dev/null true") != 0)
        GTEST_SKIP() << "processes can't be traced here";
    const char* const setting = std::getenv("TIOMIPRA_FAILURES");
    const std::size_t failures = setting == nullptr ? 4 : std::stoul(setting);
    const SamplePairs pairs(2);
    FailingCalls({pairs.arguments("rectify", {"--jobs", "1"}),
                  {"--rotate-left", "180"},
                  pairs / "out",
                  "_rectify.json"})
        .fail(failures);
    FailingCalls({pairs.arguments("depth", {"--max-depth", "5", "--jobs", "1"}),
                  {"--uniqueness-ratio", "1"},
                  pairs / "out",
                  "_depth.json"})
        .fail(failures);
    FailingCalls({joined({"calibrate", "--corners", "9x6", "--square", "1", "--output"},
                         {pairs / "calibrated"}, photographs("0[1-5]")),
                  {"--alpha", "1"},
                  pairs / "calibrated",
                  "left.yml",
                  false})
        .fail(failures);
}

}  // namespace
}  // namespace tiomipra::test
