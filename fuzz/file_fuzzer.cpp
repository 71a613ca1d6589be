// Runs the command on damaged files of every kind that it reads, each time in a process of its own:
//
//   file_fuzzer SECONDS SEED FOLDER
//
// A case fails when the process crashes, a sanitizer reports, the status is none of the documented
// ones, nothing is said about a failure, control characters are said, a temporary file is left, or
// when it takes too much time or memory. All files of a case that fails are kept in FOLDER. The
// seed and the number decide on all of a case.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <system_error>
#include <tevo/log.hpp>
#include <thread>
#include <vector>

#include "base/text.hpp"
#include "files/image_codecs.hpp"
#include "files/input_files.hpp"
#include "files/modules.hpp"
#include "files/output_files.hpp"
#include "files/video_codecs.hpp"
#include "mutations.hpp"
#include "samples.hpp"

// The command's own main(), compiled under this name.
int tiomipraMain(int argc, char** argv);

namespace {

namespace fs = std::filesystem;
using namespace tiomipra;
using namespace tiomipra::fuzz;
using Clock = std::chrono::steady_clock;

constexpr rlim_t mostProcessorSeconds = 10;
constexpr unsigned mostSeconds = 60;
constexpr long mostKilobytes = 1'500'000;

std::string withoutNul(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
    return text;
}

int runCommand(const Call& call) {
    std::vector<std::string> words{"tiomipra"};
    for (const std::string& word : call)
        words.push_back(word.front() == '@' ? withoutNul(readFile(word.substr(1))) : word);
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return tiomipraMain(static_cast<int>(words.size()), arguments.data());
}

// In the process of a case: says what it says into files, and can't take more than its share.
void confine(const std::string& folder) {
    fs::current_path(folder);
    if (std::freopen("said", "w", stdout) == nullptr ||
        std::freopen("error", "w", stderr) == nullptr)
        std::_Exit(126);
    const rlimit time{mostProcessorSeconds, mostProcessorSeconds};
    const rlimit core{0, 0};
    setenv("OPENCV_TEMP_PATH", folder.c_str(), 1);
    setrlimit(RLIMIT_CPU, &time);
    setrlimit(RLIMIT_CORE, &core);
    alarm(mostSeconds);
}

pid_t startProcess(const std::string& folder, const std::function<int()>& work) {
    std::cout.flush();
    const pid_t process = fork();
    if (process < 0)
        throw std::system_error(errno, std::generic_category(), "can't start another process");
    if (process == 0) {
        confine(folder);
        std::exit(work());
    }
    return process;
}

struct End {
    pid_t process = 0;
    int status = 0;
    rusage usage{};
};

End waitForAny() {
    End end;
    end.process = wait4(-1, &end.status, 0, &end.usage);
    return end;
}

std::string describeSignal(int signal) {
    if (signal == SIGALRM || signal == SIGXCPU || signal == SIGKILL)
        return "takes too long";
    return "is killed by signal " + std::to_string(signal);
}

bool isControl(unsigned char letter) {
    return (letter < ' ' && letter != '\n') || letter == 0x7F;
}

// The decoders may have said something before.
bool isAnswered(const std::string& error) {
    return startsWith(error, "tiomipra ") || error.find("\ntiomipra ") != std::string::npos;
}

bool isTemporary(const fs::directory_entry& entry) {
    const std::string name = entry.path().filename().string();
    return startsWith(name, ".tiomipra-") || startsWith(name, "__opencv_temp");
}

bool hasTemporaries(const std::string& folder) {
    const fs::recursive_directory_iterator entries(folder);
    return std::any_of(begin(entries), end(entries), isTemporary);
}

// What is wrong with how the command ended in `folder`; empty if nothing is.
std::string findProblem(const End& end, const std::string& folder) {
    const std::string said = readFile(pathIn(folder, "said"));
    const std::string error = readFile(pathIn(folder, "error"));
    if (error.find("Sanitizer") != std::string::npos ||
        error.find("runtime error:") != std::string::npos)
        return "is stopped by a sanitizer";
    if (WIFSIGNALED(end.status))
        return describeSignal(WTERMSIG(end.status));
    const int status = WEXITSTATUS(end.status);
    if (status > 4)
        return "has status " + std::to_string(status);
    if (status == 1 ? said.empty() && error.empty() : status > 1 && !isAnswered(error))
        return "does not say why the status is " + std::to_string(status);
    if (std::any_of(said.begin(), said.end(), isControl) ||
        std::any_of(error.begin(), error.end(), isControl))
        return "says control characters";
    if (hasTemporaries(folder))
        return "leaves a temporary file";
    if (end.usage.ru_maxrss > mostKilobytes)
        return "takes too much memory";
    return "";
}

class FileFuzzer {
  public:
    FileFuzzer(unsigned long seed, const std::string& failures)
        : _seed(seed), _failures(fs::absolute(failures)), _samples(allSamples()) {
        fs::create_directories(_failures);
        fs::remove_all(_whole);
        fs::create_directories(_whole);
        startProcess(_whole, [] {
            writeSamples(runCommand);
            return 0;
        });
        if (waitForAny().status != 0)
            throw std::runtime_error("can't make the samples: " + readFile(_whole + "/error"));
    }

    FileFuzzer(const FileFuzzer&) = delete;
    FileFuzzer& operator=(const FileFuzzer&) = delete;
    ~FileFuzzer() { fs::remove_all(_work); }

    void runFor(std::chrono::seconds time) {
        const auto deadline = Clock::now() + time;
        const std::size_t jobs = std::max(1U, std::thread::hardware_concurrency());
        for (std::size_t number = 0; Clock::now() < deadline; ++number) {
            start(number);
            if (_running.size() == jobs)
                finishOne();
        }
        while (!_running.empty())
            finishOne();
    }

    // Prints how the cases ended; returns how many failed.
    std::size_t summarise() const {
        std::size_t count = 0;
        for (const auto& [ending, times] : _endings) {
            std::cout << times << " cases: " << ending << '\n';
            count += times;
        }
        std::cout << count << " cases, " << _failed << " failed\n";
        return _failed;
    }

  private:
    struct Case {
        std::size_t number;
        std::string folder;
        std::string file;
        Call call;
    };

    void start(std::size_t number) {
        std::seed_seq seeds{static_cast<std::uint64_t>(_seed), static_cast<std::uint64_t>(number)};
        Random random(seeds);
        const Sample& sample = _samples[pick(random, _samples.size() - 1)];
        const Sample& other = _samples[pick(random, _samples.size() - 1)];
        Case chosen{number, _work + "/" + std::to_string(number), sample.file,
                    sample.calls[pick(random, sample.calls.size() - 1)]};
        fs::copy(_whole, chosen.folder, fs::copy_options::recursive);
        writeFile(pathIn(chosen.folder, sample.file),
                  mutate(random, readFile(pathIn(_whole, sample.file)),
                         readFile(pathIn(_whole, other.file))));
        const pid_t process =
            startProcess(chosen.folder, [call = chosen.call] { return runCommand(call); });
        _running.emplace(process, std::move(chosen));
    }

    void finishOne() {
        const End end = waitForAny();
        const auto found = _running.find(end.process);
        const Case ended = std::move(found->second);
        _running.erase(found);
        const std::string problem = findProblem(end, ended.folder);
        if (problem.empty()) {
            ++_endings["status " + std::to_string(WEXITSTATUS(end.status))];
        } else {
            ++_endings[problem];
            ++_failed;
            keep(ended, problem);
        }
        fs::remove_all(ended.folder);
    }

    void keep(const Case& failed, const std::string& problem) {
        const std::string folder = fmt::format("{}/{}-{}", _failures, _seed, failed.number);
        fs::remove_all(folder);
        fs::copy(failed.folder, folder, fs::copy_options::recursive);
        std::cout << fmt::format(
            "FAILED: with {} damaged, the command {}\n  cd {} && tiomipra {}\n", failed.file,
            problem, folder, fmt::join(failed.call, " "));
    }

    unsigned long _seed;
    std::string _failures;
    std::string _work = fs::temp_directory_path() / ("file_fuzzer-" + std::to_string(getpid()));
    std::string _whole = _work + "/whole";
    std::vector<Sample> _samples;
    std::map<pid_t, Case> _running;
    std::map<std::string, std::size_t> _endings;
    std::size_t _failed = 0;
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 3) {
        std::cerr << "usage: file_fuzzer SECONDS SEED FOLDER\n";
        return 2;
    }
    // Loaded once, as that takes longer than most cases.
    findInModule("images", imageCodecsSymbol);
    findInModule("video", openVideoSymbol);
    try {
        FileFuzzer fuzzer(std::stoul(words[1]), words[2]);
        fuzzer.runFor(std::chrono::seconds(std::stoul(words[0])));
        return fuzzer.summarise() == 0 ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << "file_fuzzer: " << exception.what() << '\n';
        return 2;
    }
}
