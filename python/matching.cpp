// Matching pairs with presets, ranges and all steps around the matchers; evaluating.
#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "arrays.hpp"
#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/text.hpp"
#include "bindings.hpp"
#include "calls.hpp"
#include "errors.hpp"
#include "files/disparity_files.hpp"
#include "image_pairs.hpp"
#include "matching/automatic_range.hpp"
#include "matching/depth_map.hpp"
#include "matching/evaluation.hpp"
#include "matching/matcher_parameters.hpp"
#include "matching/matcher_presets.hpp"
#include "matching/matcher_setup.hpp"
#include "matching/matching_steps.hpp"
#include "matching/measurement_hints.hpp"
#include "matching/pair_matcher.hpp"
#include "parameters.hpp"
#include "reports/evaluation_report.hpp"
#include "reports/measurement_report.hpp"
#include "rig_values.hpp"

namespace tiomipra::python {
namespace {

constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

// Calls `use` with the description of each parameter and step.
template <typename Use>
void forEachParameter(const Use& use) {
    for (const MatcherParameter& parameter : matcherParameters())
        use(parameter);
    for (const StepParameter& parameter : stepParameters())
        use(parameter);
}

int valueOf(const std::string& name, py::handle value) {
    std::optional<int> setting;
    forEachParameter([&](const ParameterDescription& parameter) {
        if (name == pythonName(parameter.name))
            setting = settingOf(parameter, value);
    });
    if (!setting)
        throw py::type_error(
            fmt::format("{} is no parameter of a matcher, see tiomipra.parameters()", quote(name)));
    return *setting;
}

void applyPreset(MatcherSettings& settings, py::handle preset) {
    if (preset.is_none())
        return;
    const auto name = textOf(preset, "preset");
    settings.values = valuesOfPreset(name);
    std::vector<std::string> known;
    for (const MatcherPreset& each : matcherPresets())
        known.push_back(each.name);
    if (settings.values.empty())
        throw SettingError("preset",
                           fmt::format("is {}, must be one of {}", quote(name), joined(known)));
}

DepthRange rangeOf(py::handle object) {
    DepthRange range;
    if (py::isinstance<py::str>(object)) {
        const std::string text = textOf(object, "range");
        range.isAutomatic = text == "auto";
        if (!range.isAutomatic)
            throw SettingError(
                "range", fmt::format("is {}, must be (nearest, farthest) or 'auto'", quote(text)));
        return range;
    }
    std::tie(range.nearest, range.farthest) =
        pairOf(object, "range", "(nearest, farthest) or 'auto'");
    if (!(range.nearest > 0 && range.farthest > range.nearest))
        throw SettingError("range", fmt::format("is ({}, {}), must be above 0 and ascend",
                                                range.nearest, range.farthest));
    return range;
}

int scaleOf(py::handle object) {
    const int scale = wholeNumber(object, "scale");
    if (scale != 1 && scale != 2 && scale != 4)
        throw SettingError("scale", fmt::format("is {}, must be 1, 2 or 4", scale));
    return scale;
}

MatcherSettings settingsOf(py::handle preset, py::handle range, py::handle maxDepth,
                           py::handle scale, py::handle confidence, const py::dict& parameters) {
    MatcherSettings settings;
    applyPreset(settings, preset);
    if (!range.is_none())
        settings.range = rangeOf(range);
    if (!maxDepth.is_none())
        settings.maxDepth = Length{positive(maxDepth, "max_depth"), ""};
    settings.scale = scaleOf(scale);
    settings.wantsConfidence = truthOf(confidence, "confidence");
    for (const auto& [name, value] : parameters) {
        const auto parameter = textOf(name, "the name of a parameter");
        settings.values[kitName(parameter)] = valueOf(parameter, value);
    }
    stepsOf(settings);
    return settings;
}

struct Measured {
    Match match;
    std::optional<DepthMap> map;
    cv::Mat disparity;  // not a number where nothing was measured
    cv::Mat depth;      // likewise, if there is a map
    std::string report;
};

// One pair at a time; threads wait for each other.
class Matcher {
  public:
    Matcher(MatcherSettings settings, std::optional<Rig> rig)
        : _settings(std::move(settings)), _rig(std::move(rig)) {
        if (_rig)
            requireUsable(*_rig);
        MatcherSettings known = _settings;
        if (isRangeWanted())
            known.range.reset();
        makeStereo(known, _rig, cv::Size(1 << 15, 1 << 15));
    }

    Measured match(const ImagePairs& pairs) {
        const std::lock_guard lock(_mutex);
        const auto source = pairs.open(keepNotice);
        if (source->count() > 1)
            throw SettingError("left and right", "hold several pairs, must be one");
        const auto frame = source->next();
        if (!frame)
            throw InputError("there is no pair to match");
        return measure(matcherFor(*frame).match(*frame));
    }

  private:
    bool isRangeWanted() const { return _settings.range && _settings.range->isAutomatic; }

    PairMatcher& matcherFor(const Frame& frame) {
        if (isRangeWanted())
            _settings = withRangeFound(_settings, _rig, {frame}, keepNotice);
        if (!_matcher)
            _matcher = std::make_unique<PairMatcher>(_settings, _rig, keepNotice);
        return *_matcher;
    }

    Measured measure(const Match& match) const {
        Measured result{match, std::nullopt, {}, {}, {}};
        result.disparity = markUnmeasured(match.disparity, match.measured, unknown);
        if (_rig) {
            result.map = computeDepthMap(match, _matcher->stereo());
            result.depth = markUnmeasured(result.map->depth, result.map->measured, unknown);
        }
        PairMeasurement measurement =
            result.map ? tiomipra::measure(Quantity::depth, result.map->depth, result.map->reasons)
                       : tiomipra::measure(Quantity::disparity, match.disparity, match.reasons);
        measurement.matcher = _matcher->parameters();
        if (_rig) {
            measurement.camera = depthCamera(_matcher->stereo(), match.left.size());
            measurement.unit = _rig->unit;
        }
        for (const std::string& hint : findHints(measurement, match, _matcher->stereo()))
            keepNotice("warning: " + hint);
        result.report = dumpJson(toJson(measurement));
        return result;
    }

    MatcherSettings _settings;
    std::optional<Rig> _rig;
    std::unique_ptr<PairMatcher> _matcher;
    std::mutex _mutex;
};

py::dict match(Matcher& self, py::handle left, py::handle right) {
    const ImagePairs pairs(left, right);
    const Measured measured = callLibrary([&] { return self.match(pairs); });
    const Match& found = measured.match;
    py::dict result;
    result["image"] = arrayOf(found.left);
    result["disparity"] = arrayOf(measured.disparity);
    result["measured"] = arrayOf(measured.map ? measured.map->measured : found.measured);
    result["reasons"] = arrayOf(measured.map ? measured.map->reasons : found.reasons);
    result["confidence"] =
        found.confidence.empty() ? py::none() : py::object(arrayOf(found.confidence));
    const auto ofRig = [&](const cv::Mat& image) {
        return measured.map ? py::object(arrayOf(image)) : py::none();
    };
    result["points"] = ofRig(measured.map ? measured.map->points : cv::Mat());
    result["depth"] = ofRig(measured.depth);
    result["report"] = measured.report;
    return result;
}

// As `settingOf` takes it.
py::object asSetting(const ParameterDescription& parameter, int value) {
    using Kind = ParameterDescription::Kind;
    if (parameter.kind == Kind::algorithm)
        return py::str(nameOf(static_cast<vision::Stereo::StereoAlgorithm>(value)));
    if (parameter.kind == Kind::flag)
        return py::bool_(value != 0);
    return py::int_(value);
}

py::dict describePresets() {
    py::dict result;
    for (const auto& [name, summary, values] : matcherPresets()) {
        py::dict parameters;
        forEachParameter([&, &settings = values](const ParameterDescription& parameter) {
            const auto value = settings.find(std::string(parameter.name));
            if (value != settings.end())
                parameters[py::str(pythonName(parameter.name))] =
                    asSetting(parameter, value->second);
        });
        result[py::str(name)] = py::make_tuple(summary, parameters);
    }
    return result;
}

py::dict describeAll() {
    py::dict result;
    forEachParameter([&](const ParameterDescription& parameter) {
        result[py::str(pythonName(parameter.name))] = describe(parameter);
    });
    return result;
}

std::string evaluateImages(py::handle disparity, py::handle truth, py::handle mask) {
    const BorrowedImage found = borrowImage(disparity, "disparity", floatImage);
    const BorrowedImage known = borrowImage(truth, "truth", floatImage);
    std::optional<BorrowedImage> counted;
    if (!mask.is_none())
        counted = borrowImage(mask, "mask", maskImage);
    const cv::Size size = found.matrix.size();
    if (known.matrix.size() != size || (counted && counted->matrix.size() != size))
        throw SettingError("disparity, truth and mask", "must have the same shape");
    const Evaluation evaluation = callLibrary([&] {
        return evaluate(found.matrix, known.matrix, counted ? counted->matrix : cv::Mat());
    });
    return dumpJson(toJson(FileEvaluation{{}, evaluation, std::nullopt}).at("all"));
}

}  // namespace

void bindMatching(py::module_& module) {
    py::class_<Matcher>(module, "Matcher")
        .def(py::init([](py::handle rig, py::handle preset, py::handle range, py::handle maxDepth,
                         py::handle scale, py::handle confidence, const py::dict& parameters) {
                 MatcherSettings settings =
                     settingsOf(preset, range, maxDepth, scale, confidence, parameters);
                 std::optional<Rig> known =
                     rig.is_none() ? std::nullopt : std::optional(rigOrCameras(rig));
                 return callLibrary([&] { return std::make_unique<Matcher>(settings, known); });
             }),
             py::arg("rig"), py::arg("preset"), py::arg("range"), py::arg("max_depth"),
             py::arg("scale"), py::arg("confidence"), py::arg("parameters"))
        .def("match", match, py::arg("left"), py::arg("right"));
    module.def("presets", describePresets);
    module.def("parameters", describeAll, R"(parameters()
--

The parameters of a ``Matcher``: a dict from their names to what they mean and which values they
take. Those of a ``Stereo``, which are properties there, come first.)");
    module.def("evaluate", evaluateImages, py::arg("disparity"), py::arg("truth"), py::arg("mask"));
    py::dict reasons;
    for (const Reason reason : allReasons)
        reasons[py::int_(static_cast<int>(reason))] = describe(reason);
    module.attr("reasons") = reasons;
}

}  // namespace tiomipra::python
