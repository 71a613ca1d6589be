#include "runs/batch.hpp"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>
#include <utility>

#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "files/output_files.hpp"
#include "reports/input_report.hpp"
#include "runs/work_on_all.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// Subcommands that share a folder have a report each.
std::string reportSuffix(const Provenance& madeWith) {
    return "_" + madeWith.command + ".json";
}

std::string reportPath(const BatchOptions& options, const Provenance& madeWith,
                       const std::string& name) {
    return pathIn(options.output, name + reportSuffix(madeWith));
}

// What a report says about how the pair was made; what follows in it is the result.
Json describeOrigin(const Frame& frame, const FileIdentities& inputs, const Provenance& madeWith) {
    Json origin{{"name", frame.name}, {"left", frame.leftFile}, {"right", frame.rightFile}};
    origin["inputs"] = toJson(inputs);
    origin["madeWith"] = tiomipra::toJson(madeWith);
    return origin;
}

// The same, but nothing can come of images that are not those of `inputs`.
Frame guarded(Frame frame, const FileIdentities& inputs) {
    frame.read = [read = std::move(frame.read), inputs] {
        StereoImages images = read();
        requireUnchanged(inputs);
        return images;
    };
    return frame;
}

bool hasContent(const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    return !error && size > 0;
}

// True when the report at `path` has the same origin, of which all is known, and all the files that
// it lists are there.
bool isDone(const std::string& path, const Json& origin, const BatchOptions& options) {
    const Json& inputs = origin.at("inputs");
    const auto isFile = [](const Json& input) { return input.contains("modified"); };
    if (!hasContent(path) || !std::all_of(inputs.begin(), inputs.end(), isFile))
        return false;
    try {
        const Json report = Json::parse(readFile(path));
        // Through text and back, as the report went.
        const Json expected = Json::parse(dumpJson(origin));
        for (const char* key : {"name", "inputs", "madeWith"}) {
            if (report.at(key) != expected.at(key))
                return false;
        }
        const Json& files = report.at("files");
        return std::all_of(files.begin(), files.end(), [&](const Json& file) {
            return hasContent(pathIn(options.output, file.get<std::string>()));
        });
    } catch (const Json::exception&) {
        return false;  // not one of our reports
    }
}

// One run over all frames.
class Batch {
  public:
    Batch(FrameSource& frames, const BatchOptions& options, const ProtectedFiles& inputs,
          const Provenance& madeWith)
        : _frames(frames), _options(options), _inputs(inputs), _madeWith(madeWith) {}

    void run(const std::function<ProcessPair()>& makeWorker) {
        const auto next = [this] { return _frames.next(); };
        const auto makePairWorker = [&] {
            return
                [this, process = makeWorker()](const Frame& frame) { return make(frame, process); };
        };
        const auto acceptPair = [this](const Frame& frame, const PairOutcome& outcome,
                                       Progress& progress) { accept(frame, outcome, progress); };
        const std::size_t count = _frames.count();
        const WorkOptions work{count, _options.jobs, chooseProgressOutput(_options.json, count)};
        try {
            workOnAll<Frame, std::optional<PairReport>>(work, next, makePairWorker, acceptPair);
        } catch (const Interrupted& error) {
            throw Interrupted(error.what() +
                              std::string("; the same command with --resume does the others"));
        }
    }

    // Says how the run went.
    Ending conclude() {
        if (_count == 0)
            throw InputError("there is no pair to work on");
        if (_options.json)
            printJson();
        else
            printSummary();
        return tiomipra::conclude(_failures, _count, "pairs");
    }

  private:
    using PairOutcome = Outcome<std::optional<PairReport>>;

    // Nothing when the pair is done already.
    std::optional<PairReport> make(const Frame& frame, const ProcessPair& process) const {
        const FileIdentities inputs = frame.identify();
        Json content = describeOrigin(frame, inputs, _madeWith);
        const std::string path = reportPath(_options, _madeWith, frame.name);
        if (_options.resume && isDone(path, content, _options))
            return std::nullopt;
        // From now on the files that it vouches for may change.
        _inputs.requireOther(path);
        removeFile(path);
        PairFiles files(_options, frame.name, _inputs);
        PairReport report = process(guarded(frame, inputs), files);
        content["files"] = files.names();
        content["result"] = report.result;
        files.add(reportSuffix(_madeWith), dumpJson(content));
        files.publish();
        return report;
    }

    void accept(const Frame& frame, const PairOutcome& outcome, Progress& progress) {
        ++_count;
        if (const auto* failed = std::get_if<Ending>(&outcome)) {
            _failures.push_back({frame.name, *failed});
            // A failure that stands alone is told once, when the command ends.
            if (_frames.count() != 1)
                progress.advance(frame.name + ": failed: " + failed->message);
            return;
        }
        _doneNames.push_back(frame.name);
        if (const auto& report = std::get<0>(outcome)) {
            progress.advance(frame.name + ": " + report->summary);
        } else {
            ++_skipped;
            progress.skip();
        }
    }

    // Reports are read back one by one, so that memory does not grow with what they hold.
    void printJson() {
        std::cout << "{\n\"pairs\": [";
        const char* separator = "\n";
        for (const std::string& name : _doneNames) {
            if (const auto report = readBack(name))
                std::cout << std::exchange(separator, ",\n") << *report;
        }
        std::cout << "],\n\"failed\": [";
        separator = "\n";
        for (const Failure& failure : _failures)
            std::cout << std::exchange(separator, ",\n") << dumpJson(toJson(failure));
        std::cout << "]\n}\n";
    }

    // Nothing, and a failure more, when somebody has taken it away or spoilt it meanwhile.
    std::optional<std::string> readBack(const std::string& name) {
        const std::string path = reportPath(_options, _madeWith, name);
        try {
            const Json report = Json::parse(readFile(path), nullptr, false);
            if (!report.is_discarded())
                return dumpJson(report);
            throw InputError(quote(path) + " is no report any more");
        } catch (const InputError& error) {
            _failures.push_back({name, endingFor(error)});
            return std::nullopt;
        }
    }

    void printSummary() const {
        if (_doneNames.empty())
            return;
        const std::size_t count = _doneNames.size();
        std::cout << fmt::format("{} {} done, results in {}", count, count == 1 ? "pair" : "pairs",
                                 quote(_options.output));
        if (_skipped > 0)
            std::cout << fmt::format(" ({} were there already)", _skipped);
        std::cout << '\n';
    }

    FrameSource& _frames;
    const BatchOptions& _options;
    const ProtectedFiles& _inputs;
    const Provenance& _madeWith;
    std::size_t _count = 0;
    std::size_t _skipped = 0;
    std::vector<std::string> _doneNames;
    std::vector<Failure> _failures;
};

}  // namespace

PairFiles::PairFiles(const BatchOptions& options, std::string pair, const ProtectedFiles& inputs)
    : _folder(options.output), _pair(std::move(pair)), _inputs(inputs), _files(options.isSynced) {}

void PairFiles::add(const std::string& suffix, const std::string& bytes) {
    const std::string name = _pair + suffix;
    const std::string path = pathIn(_folder, name);
    _inputs.requireOther(path);
    _files.add(path, bytes);
    _names.push_back(name);
}

Ending runBatch(FrameSource& frames, const BatchOptions& options, const ProtectedFiles& inputs,
                const Provenance& madeWith, const std::function<ProcessPair()>& makeWorker) {
    const OutputFolder folder(options.output,
                              {madeWith.command, sha256(dumpJson(toJson(madeWith)))});
    Batch batch(frames, options, inputs, madeWith);
    batch.run(makeWorker);
    return batch.conclude();
}

}  // namespace tiomipra
