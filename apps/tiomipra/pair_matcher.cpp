#include "pair_matcher.hpp"

#include <algorithm>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "output_files.hpp"
#include "progress.hpp"
#include "provenance.hpp"
#include "text.hpp"

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

void requireUsableSize(const std::optional<Rig>& rig, const cv::Size& size, int scale,
                       const std::string& file) {
    if (rig)
        requireSameAspectRatio(*rig, size, file);
    if (size.width < scale || size.height < scale)
        throw InputError(quote(file) + " is " + sizeText(size) + ", must be at least " +
                         sizeText({scale, scale}) + " for --scale " + std::to_string(scale));
}

// Without a rig, the stereo object is for frames of `size`.
std::unique_ptr<vision::Stereo> makeStereo(const MatcherSettings& settings,
                                           const std::optional<Rig>& rig, const cv::Size& size) {
    return rig ? makeStereo(settings, *rig) : makeStereo(settings, size);
}

// Reads, rectifies and matches frames, with a `Stereo` fitted to their size. For one thread.
class PairMatcher {
  public:
    // Without a rig, the frames are rectified already.
    PairMatcher(const MatcherSettings& settings, const std::optional<Rig>& rig, Notices& notices)
        : _settings(settings), _rig(rig), _notices(notices) {}

    // Throws `InputError` that names the file when the pair does not fit.
    Match match(const Frame& frame) {
        StereoImages images = frame.read();
        if (images.left.size() != _size)
            fitTo(images.left.size(), frame);
        if (_rig)
            images = {_rectifier->rectifyImageLeft(images.left),
                      _rectifier->rectifyImageRight(images.right)};
        return matchPair(*_stereo, images, _seen, scale());
    }

    // As it was used for the latest pair.
    const vision::Stereo& stereo() const { return *_stereo; }

  private:
    int scale() const { return _settings.scale.value_or(1); }

    void fitTo(const cv::Size& size, const Frame& frame) {
        _size = {};  // whatever fails below: nothing is fitted to the former size any more
        requireUsableSize(_rig, size, scale(), frame.leftFile);
        const cv::Size kept = divisibleSize(size, scale());
        if (kept != size)
            _notices.say("note: of " + sizeText(size) + " pixels " + sizeText(kept) +
                         " are matched, as the last columns or rows don't fill a pixel at 1/" +
                         std::to_string(scale()) + " of the size");
        const auto rig = _rig ? std::optional(cropTo(scaleTo(*_rig, size), kept)) : std::nullopt;
        _stereo = makeStereo(_settings, rig, kept);
        const int matchedWidth = kept.width / scale();
        for (const std::string& change : fitToWidth(*_stereo, matchedWidth))
            _notices.say("note: " + change);
        requireMatchable(*_stereo, matchedWidth);
        for (const std::string& doubt : findDoubts(*_stereo, matchedWidth))
            _notices.say("warning: " + doubt);
        if (rig) {
            _notices.say(explainSearch(*_stereo, *rig, scale()));
            _rectifier = kept == size ? _stereo : makeStereo(_settings, scaleTo(*_rig, size), size);
            _seen = _rectifier->rectifyImageLeft(cv::Mat(size, CV_8UC1, cv::Scalar(255)));
        }
        _size = size;
    }

    const MatcherSettings& _settings;
    const std::optional<Rig>& _rig;
    Notices& _notices;
    cv::Size _size;
    std::shared_ptr<vision::Stereo> _stereo;
    // For the whole images; the same object where all of them is matched.
    std::shared_ptr<vision::Stereo> _rectifier;
    cv::Mat _seen;  // what the raw left image shows of the rectified one
};

// Larger than any disparity that can be searched, so that only the images limit these.
const cv::Size anySize(1 << 15, 1 << 15);

// Rectified images without a rig have no depth.
nlohmann::ordered_json describeMatcher(const vision::Stereo& stereo,
                                       const MatcherSettings& settings, bool hasRig) {
    auto parameters = describeParameters(stereo, settings);
    if (!hasRig)
        parameters.erase("max-depth");
    return parameters;
}

nlohmann::ordered_json describeRun(const std::string& name, const MatchingOptions& options,
                                   const vision::Stereo& stereo, const MatcherSettings& settings,
                                   const std::optional<Rig>& rig) {
    auto parameters = describeMatcher(stereo, settings, rig.has_value());
    parameters["rectified"] = options.isRectified;
    parameters["formats"] = options.formats;
    auto madeWith = provenance(name, parameters, rig ? rig->hash : "");
    if (rig && rig->unit)
        madeWith["unit"] = *rig->unit;
    return madeWith;
}

}  // namespace

void addMatchingOptions(CLI::App& command, MatchingOptions& options,
                        const std::vector<std::string>& formats) {
    addCalibrationOptions(command, options.calibration);
    addFrameOptions(command, options.frames);
    addBatchOptions(command, options.batch);
    std::string help = "What to write, separated by commas:\n";
    for (const std::string& format : formats)
        help += (format == formats.front() ? "" : ", ") + format;
    command.add_option("--formats", options.formats, help)
        ->delimiter(',')
        ->check(CLI::IsMember(formats))
        ->type_name("LIST")
        ->capture_default_str()
        ->group("Output");
    addMatcherOptions(command, options.matcher);
}

bool wants(const MatchingOptions& options, const std::string& format) {
    return std::find(options.formats.begin(), options.formats.end(), format) !=
           options.formats.end();
}

Status runMatching(const std::string& name, const MatchingOptions& options,
                   const WriteMatch& write) {
    const MatcherSettings settings = resolveSettings(options.matcher);
    std::optional<Rig> rig;
    if (!options.isRectified)
        rig = readRig(options.calibration);
    const auto stereo = makeStereo(settings, rig, anySize);
    const auto frames = openFrames(options.frames);
    ProtectedFiles inputs(frames->files());
    if (rig)
        inputs.add(filesOf(*rig));
    if (!options.matcher.saveParametersFile.empty()) {
        inputs.requireOther(options.matcher.saveParametersFile);
        writeFile(options.matcher.saveParametersFile, encodeParameters(*stereo, settings));
    }

    Notices notices;
    if (rig && mustTrustUnit(settings, *rig))
        notices.say("note: no report of `tiomipra calibrate` on " + quote(rig->leftFile) +
                    " is beside it; depths with a suffix are taken as if its unit were the metre");
    const auto madeWith = describeRun(name, options, *stereo, settings, rig);
    const auto makeWorker = [&]() -> ProcessPair {
        const auto matcher = std::make_shared<PairMatcher>(settings, rig, notices);
        return [&, matcher](const Frame& frame, PairFiles& files) {
            const Match match = matcher->match(frame);
            const auto fitted = describeMatcher(matcher->stereo(), settings, rig.has_value());
            auto pairMadeWith = madeWith;
            pairMadeWith["parameters"].update(fitted);
            PairResult result = write(frame.name, match, matcher->stereo(), pairMadeWith, files);
            result.values["matcher"] = fitted;
            if (result.values.at("measuredPixels") == 0)
                notices.say(
                    "warning: " + frame.name +
                    ": nothing was measured; see whether the depths or disparities "
                    "searched hold the scene, and whether `tiomipra check` accepts the rig");
            return result;
        };
    };
    return runBatch(*frames, options.batch, inputs, madeWith, makeWorker);
}

ColourScale chooseScale(const std::string& title, const Statistics& statistics) {
    ColourScale scale;
    scale.title = title;
    scale.low = statistics.percentile1;
    scale.high = statistics.percentile99;
    if (statistics.count > 0 && scale.high <= scale.low) {
        scale.low -= 0.5;
        scale.high += 0.5;
    }
    return scale;
}

PairResult describeMeasured(const cv::Mat& measured, const std::string& quantity,
                            const Statistics& statistics) {
    const double share = double(statistics.count) / double(measured.total());
    PairResult result;
    result.values = {{"width", measured.cols},
                     {"height", measured.rows},
                     {"measuredPixels", statistics.count},
                     {"measuredShare", share}};
    const auto valueOrNull = [&](double value) {
        return statistics.count > 0 ? nlohmann::ordered_json(value) : nullptr;
    };
    result.values[quantity] = {{"smallest", valueOrNull(statistics.smallest)},
                               {"percentile1", valueOrNull(statistics.percentile1)},
                               {"percentile5", valueOrNull(statistics.percentile5)},
                               {"median", valueOrNull(statistics.median)},
                               {"percentile95", valueOrNull(statistics.percentile95)},
                               {"percentile99", valueOrNull(statistics.percentile99)},
                               {"largest", valueOrNull(statistics.largest)}};
    result.summary = std::to_string(statistics.count) + " of " + std::to_string(measured.total()) +
                     " pixels measured (" + fixed(100 * share, 1) + " %)";
    if (statistics.count > 0)
        result.summary += ", " + quantity + " " + significant(statistics.smallest, 4) + " to " +
                          significant(statistics.largest, 4) + ", median " +
                          significant(statistics.median, 4);
    return result;
}

}  // namespace tiomipra
