#include "commands/matching_run.hpp"

#include <algorithm>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "base/text.hpp"
#include "files/output_files.hpp"
#include "files/protected_files.hpp"
#include "matching/automatic_range.hpp"
#include "matching/matcher_setup.hpp"
#include "matching/measurement_hints.hpp"
#include "reports/measurement_report.hpp"
#include "rigs/rig_files.hpp"
#include "runs/available_memory.hpp"
#include "runs/interruption.hpp"
#include "runs/memory_budget.hpp"
#include "runs/ordered_work.hpp"
#include "runs/progress.hpp"

namespace tiomipra {
namespace {

// Messages to the user on standard error, each of them once however many threads say it.
class Notices {
  public:
    void say(const std::string& message) {
        const std::lock_guard lock(_mutex);
        if (_said.insert(message).second)
            sayBesideBar(message);
    }

  private:
    std::mutex _mutex;
    std::set<std::string> _said;
};

// Larger than any disparity that can be searched, so that only the images limit these.
const cv::Size anySize(1 << 15, 1 << 15);

std::optional<Rig> readRigOf(const MatchingOptions& options) {
    if (options.isRectified && options.cameras.focal == 0)
        return std::nullopt;
    if (options.isRectified)
        return rectifiedRig(options.cameras, anySize);
    const auto [left, right] = calibrationFiles(options.rig);
    return readRig(left, right);
}

// What is read and must not be replaced.
ProtectedFiles inputsOf(const FrameSource& frames, const std::optional<Rig>& rig) {
    ProtectedFiles inputs(frames.files());
    if (rig)
        inputs.add(filesOf(*rig));
    return inputs;
}

void saveParameters(const std::string& path, const vision::Stereo& stereo,
                    const MatcherSettings& settings, const ProtectedFiles& inputs) {
    if (path.empty())
        return;
    inputs.requireOther(path);
    writeFile(path, encodeParameters(stereo, settings));
}

void noteTrustedUnit(const MatcherSettings& settings, const std::optional<Rig>& rig,
                     Notices& notices) {
    if (rig && mustTrustUnit(settings, *rig))
        notices.say(
            fmt::format("note: no report of `tiomipra calibrate` on {} is beside it; depths with a "
                        "suffix are taken as if its unit were the metre",
                        quote(rig->leftFile)));
}

Parameters describeCameras(const RectifiedCameras& cameras) {
    Parameters parameters{{"focal", cameras.focal},
                          {"baseline", cameras.baseline.value},
                          {"centreOffset", cameras.centreOffset}};
    if (const auto& centre = cameras.centre)
        parameters.push_back({"centre", fmt::format("{},{}", centre->x, centre->y)});
    return parameters;
}

// `parameters` are those of the matcher.
Provenance describeRun(const std::string& name, const MatchingOptions& options,
                       const std::optional<Rig>& rig, Parameters parameters) {
    parameters.push_back({"rectified", options.isRectified});
    parameters.push_back({"formats", options.formats});
    if (options.colours)
        parameters.push_back(
            {"colours", fmt::format("{}..{}", options.colours->low, options.colours->high)});
    const Parameters reading = describeReading(options.frames);
    parameters.insert(parameters.end(), reading.begin(), reading.end());
    if (rig && rig->cameras) {
        const Parameters cameras = describeCameras(*rig->cameras);
        parameters.insert(parameters.end(), cameras.begin(), cameras.end());
    }
    return {name, std::move(parameters), rig ? rig->hash : "", rig ? rig->unit : std::nullopt};
}

// Bytes that matching the first pair takes; 0 if it can't be matched, which the run will tell.
std::uint64_t memoryForFirst(const FrameArguments& arguments, const PairMatcher& matcher) {
    try {
        const auto frame = reopenFrames(arguments)->next();
        return frame ? matcher.memoryFor(frame->read().left.size(), frame->leftFile) : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

// As many jobs as were asked for, or fewer if there is no memory for so many pairs as the first
// one. Larger ones wait for each other, and what does not fit at all is refused.
std::size_t jobsWithinMemory(const MatchingOptions& options, std::size_t pairs,
                             const PairMatcher& matcher, const MemoryLimit& limit,
                             Notices& notices) {
    const std::size_t wanted = countWorkers(options.batch.jobs, pairs);
    if (wanted == 1)
        return wanted;
    const std::uint64_t need = memoryForFirst(options.frames, matcher);
    return jobsWithin(limit, need, wanted, [&](const std::string& notice) { notices.say(notice); });
}

// At most five, spread over all, so that a batch has one range, whoever works on it.
std::vector<Frame> sampleFrames(const FrameArguments& arguments) {
    constexpr std::size_t most = 5;
    const InterruptionWatch watch;
    const auto source = reopenFrames(arguments);
    const std::size_t step = std::max<std::size_t>(1, source->count() / most);
    std::vector<Frame> frames;
    for (std::size_t i = 0; frames.size() < most; ++i) {
        if (watch.isInterrupted())
            throw Interrupted("interrupted while the range was looked for");
        auto frame = source->next();
        if (!frame)
            break;
        if (i % step == 0)
            frames.push_back(std::move(*frame));
    }
    return frames;
}

MatcherSettings settingsFor(const MatchingOptions& options, const std::optional<Rig>& rig,
                            Notices& notices) {
    MatcherSettings settings = resolveSettings(options.matcher);
    settings.wantsConfidence = wants(options, "confidence");
    const bool isAutomatic = settings.range && settings.range->isAutomatic;
    return withRangeFound(settings, rig,
                          isAutomatic ? sampleFrames(options.frames) : std::vector<Frame>(),
                          [&](const std::string& notice) { notices.say(notice); });
}

}  // namespace

Ending runMatching(const std::string& name, const MatchingOptions& options,
                   const WriteMatch& write) {
    const std::optional<Rig> rig = readRigOf(options);
    requireFrames(options.frames);
    if (rig)
        noteDoubts(*rig, options.frames, sayBesideBar);
    const auto frames = openFrames(options.frames, sayBesideBar);
    const ProtectedFiles inputs = inputsOf(*frames, rig);
    Notices notices;
    const MatcherSettings settings = settingsFor(options, rig, notices);
    const auto stereo = makeStereo(settings, rig, anySize);
    saveParameters(options.matcher.saveParametersFile, *stereo, settings, inputs);
    noteTrustedUnit(settings, rig, notices);
    const auto notify = [&notices](const std::string& notice) { notices.say(notice); };
    const auto makeMatcher = [&] { return std::make_shared<PairMatcher>(settings, rig, notify); };
    MemoryBudget memory(availableMemory());
    const auto makeWorker = [&]() -> ProcessPair {
        return [&, matcher = makeMatcher()](const Frame& frame, PairFiles& files) -> PairReport {
            MemoryBudget::Share share(memory);
            const Match match =
                matcher->match(frame, [&share](std::uint64_t bytes) { return share.take(bytes); });
            const Provenance madeWith = describeRun(name, options, rig, matcher->parameters());
            PairMeasurement measurement =
                write(frame.name, match, matcher->stereo(), madeWith, files);
            measurement.matcher = matcher->parameters();
            if (rig)
                measurement.camera = depthCamera(matcher->stereo(), match.left.size());
            measurement.unit = madeWith.unit;
            for (const std::string& hint : findHints(measurement, match, matcher->stereo()))
                notices.say(fmt::format("warning: {}: {}", frame.name, hint));
            return {toJson(measurement), summaryOf(measurement)};
        };
    };
    const Provenance madeWith =
        describeRun(name, options, rig, describeParameters(*stereo, settings, rig.has_value()));
    BatchOptions batch = options.batch;
    batch.jobs = static_cast<unsigned>(
        jobsWithinMemory(options, frames->count(), *makeMatcher(), memory.limit(), notices));
    return runBatch(*frames, batch, inputs, madeWith, makeWorker);
}

}  // namespace tiomipra
