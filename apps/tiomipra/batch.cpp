#include "batch.hpp"

#include <algorithm>
#include <filesystem>
#include <future>
#include <iostream>
#include <map>
#include <mutex>
#include <opencv2/core/utility.hpp>
#include <optional>
#include <thread>
#include <utility>

#include "failures.hpp"
#include "input_files.hpp"
#include "interruption.hpp"
#include "json_text.hpp"
#include "output_files.hpp"
#include "progress.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

// Subcommands that share a folder have a report each.
std::string reportPath(const BatchOptions& options, const Json& madeWith, const std::string& name) {
    return pathIn(options.output, name + "_" + madeWith.at("command").get<std::string>() + ".json");
}

// What a report says about how the pair was made; what follows in it is the result.
Json describeOrigin(const Frame& frame, const Json& madeWith) {
    return {{"name", frame.name},
            {"left", frame.leftFile},
            {"right", frame.rightFile},
            {"madeWith", madeWith}};
}

// True when the report on disk has the same origin and all the files that it lists are there.
bool isDone(const Frame& frame, const BatchOptions& options, const Json& madeWith) {
    const std::string path = reportPath(options, madeWith, frame.name);
    if (!std::filesystem::exists(path))
        return false;
    try {
        const Json report = Json::parse(readFile(path));
        // Through text and back, as the report went.
        const Json origin = Json::parse(dumpJson(describeOrigin(frame, madeWith)));
        for (const auto& [key, value] : origin.items()) {
            if (report.at(key) != value)
                return false;
        }
        const auto isThere = [&](const Json& file) {
            return std::filesystem::exists(pathIn(options.output, file.get<std::string>()));
        };
        return std::all_of(report.at("files").begin(), report.at("files").end(), isThere);
    } catch (const nlohmann::json::exception&) {
        return false;  // not one of our reports
    }
}

// One run over all frames; its threads share it.
class Batch {
  public:
    Batch(FrameSource& frames, const BatchOptions& options, const Json& madeWith)
        : _frames(frames),
          _options(options),
          _madeWith(madeWith),
          _progress(chooseProgressOutput(options.json, frames.count()), frames.count()) {}

    void run(const std::vector<ProcessPair>& workers) {
        std::vector<std::future<void>> runs;
        for (const ProcessPair& process : workers)
            runs.push_back(std::async(std::launch::async, [this, &process] { work(process); }));
        for (std::future<void>& run : runs)
            run.get();
        _progress.finish();
    }

    // Says how the run went; throws when something failed.
    Status conclude() {
        if (_watch.isInterrupted() && !_isExhausted)
            dieInterrupted();
        if (_count == 0)
            throw InputError("there is no pair to work on");
        if (_options.json)
            printJson();
        else
            printSummary();
        return judge();
    }

  private:
    struct Task {
        std::size_t index;
        Frame frame;
    };

    void work(const ProcessPair& process) {
        while (const auto task = take()) {
            try {
                finish(*task, make(task->frame, process));
            } catch (const CommandError& error) {
                fail(*task, error.status(), error.what());
            } catch (const std::exception& error) {
                fail(*task, Status::input, error.what());
            }
        }
    }

    // The next pair that is not done yet.
    std::optional<Task> take() {
        const std::lock_guard lock(_mutex);
        while (!_watch.isInterrupted()) {
            auto frame = _frames.next();
            if (!frame) {
                _isExhausted = true;
                break;
            }
            const std::size_t index = _count++;
            if (!_options.resume || !isDone(*frame, _options, _madeWith))
                return Task{index, std::move(*frame)};
            _doneNames.emplace(index, frame->name);
            ++_skipped;
            _progress.skip();
        }
        return std::nullopt;
    }

    PairResult make(const Frame& frame, const ProcessPair& process) const {
        // From now on the files that it vouches for may change.
        const std::string report = reportPath(_options, _madeWith, frame.name);
        std::filesystem::remove(report);
        PairResult result = process(frame);
        Json content = describeOrigin(frame, _madeWith);
        content["files"] = result.files;
        content["result"] = result.values;
        writeFile(report, dumpJson(content));
        return result;
    }

    void finish(const Task& task, const PairResult& result) {
        const std::lock_guard lock(_mutex);
        _doneNames.emplace(task.index, task.frame.name);
        _progress.advance(task.frame.name + ": " + result.summary);
    }

    void fail(const Task& task, Status status, const std::string& message) {
        const std::lock_guard lock(_mutex);
        _failures.emplace(task.index, Failure{task.frame.name, status, message});
        // A failure that stands alone is reported by whoever asked for the pair.
        if (_frames.count() != 1)
            _progress.advance(task.frame.name + ": failed: " + message);
    }

    [[noreturn]] void dieInterrupted() {
        std::cout.flush();
        std::cerr << "interrupted after " << _doneNames.size()
                  << " pairs; the same command with --resume does the others" << std::endl;
        _watch.die();
    }

    // Reports are read back one by one, so that memory does not grow with what they hold.
    void printJson() const {
        std::cout << "{\n\"pairs\": [";
        const char* separator = "\n";
        for (const auto& [index, name] : _doneNames) {
            std::cout << std::exchange(separator, ",\n")
                      << readFile(reportPath(_options, _madeWith, name));
        }
        std::cout << "],\n\"failed\": [";
        separator = "\n";
        for (const auto& [index, failure] : _failures) {
            std::cout << std::exchange(separator, ",\n") << dumpJson(toJson(failure));
        }
        std::cout << "]\n}\n";
    }

    void printSummary() const {
        if (_doneNames.empty())
            return;
        std::cout << _doneNames.size() << (_doneNames.size() == 1 ? " pair" : " pairs")
                  << " done, results in '" << _options.output << "'";
        if (_skipped > 0)
            std::cout << " (" << _skipped << " were there already)";
        std::cout << '\n';
    }

    Status judge() const {
        if (_failures.empty())
            return Status::done;
        std::vector<Failure> failures;
        for (const auto& [index, failure] : _failures)
            failures.push_back(failure);
        tiomipra::conclude(failures, _count, "pairs");
    }

    FrameSource& _frames;
    const BatchOptions& _options;
    const Json& _madeWith;
    InterruptionWatch _watch;

    std::mutex _mutex;  // guards all below and `_frames`
    Progress _progress;
    std::size_t _count = 0;
    std::size_t _skipped = 0;
    bool _isExhausted = false;
    std::map<std::size_t, std::string> _doneNames;  // by place in the source
    std::map<std::size_t, Failure> _failures;
};

unsigned countWorkers(const BatchOptions& options, std::size_t frameCount) {
    const unsigned jobs =
        options.jobs > 0 ? options.jobs : std::max(1U, std::thread::hardware_concurrency());
    return frameCount == 0 ? jobs : static_cast<unsigned>(std::min<std::size_t>(jobs, frameCount));
}

// The files of a video's frames don't exist, so they are never the same.
bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    return std::filesystem::equivalent(a, b, error);
}

}  // namespace

std::string addOutput(PairResult& result, const Frame& frame, const std::string& folder,
                      const std::string& suffix) {
    const std::string file = frame.name + suffix;
    const std::string path = pathIn(folder, file);
    for (const std::string& input : {frame.leftFile, frame.rightFile}) {
        if (isSameFile(path, input))
            throw InputError("the result '" + path + "' would overwrite the image '" + input +
                             "'; --output must be another folder");
    }
    result.files.push_back(file);
    return path;
}

void addBatchOptions(CLI::App& command, BatchOptions& options) {
    constexpr auto group = "Output";
    command.add_option("--output", options.output, "Folder for the results; created if missing")
        ->type_name("DIR")
        ->required()
        ->group(group);
    command
        .add_option("--jobs", options.jobs,
                    "Pairs to work on at the same time\n(default: as many as there are processors)")
        ->type_name("N")
        ->check(CLI::Range(1, 1024))
        ->group(group);
    command
        .add_flag(
            "--resume", options.resume,
            "Leave out pairs that are done already with the same\nparameters and calibrations")
        ->group(group);
    command
        .add_flag("--json", options.json,
                  "Print the results as JSON on standard output and nothing else there")
        ->group(group);
}

Status runBatch(FrameSource& frames, const BatchOptions& options, const Json& madeWith,
                const std::function<ProcessPair()>& makeWorker) {
    std::vector<ProcessPair> workers(countWorkers(options, frames.count()));
    std::generate(workers.begin(), workers.end(), makeWorker);
    prepareFolder(options.output);
    // Whole pairs side by side keep processors busier than threads within each pair. Measured with
    // `tiomipra depth` on 52 pairs of 640x480 and two processors, files included: one pair after
    // the other with OpenCV's threads 16.9 pairs/s (bm) and 12.3 (sgbm); two at a time with one
    // thread each 28.2 and 23.2, with OpenCV's threads 27.3 and 23.0; four at a time 27.6 and 22.9.
    if (workers.size() > 1)
        cv::setNumThreads(1);
    Batch batch(frames, options, madeWith);
    batch.run(workers);
    return batch.conclude();
}

}  // namespace tiomipra
