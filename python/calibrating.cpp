// A rig from pictures of a board.
#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "arrays.hpp"
#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "bindings.hpp"
#include "calls.hpp"
#include "errors.hpp"
#include "image_pairs.hpp"
#include "reports/calibration_report.hpp"
#include "reports/pictures.hpp"
#include "rig_values.hpp"
#include "rigs/board_search.hpp"
#include "rigs/rig_calibration.hpp"
#include "workers.hpp"

namespace tiomipra::python {
namespace {

struct CalibrationTask {
    Board board;
    std::string lens;
    RigCalibrationOptions options;
    std::size_t maxPairs = 0;
    std::optional<Rig> known;
};

// None leaves it to the residuals.
std::optional<Lens> lensNamed(const std::string& name) {
    for (const Lens lens : {Lens::pinhole, Lens::rational, Lens::fisheye}) {
        if (name == nameOf(lens))
            return lens;
    }
    if (name != "auto")
        throw SettingError(
            "lens", fmt::format("is {}, must be auto, pinhole, rational or fisheye", quote(name)));
    return std::nullopt;
}

template <typename Names>
void requireName(const Names& names, const std::string& name, const char* argument) {
    std::vector<std::string> known;
    for (const auto& [key, value] : names)
        known.push_back(key);
    if (names.count(name) == 0)
        throw SettingError(argument,
                           fmt::format("is {}, must be one of {}", quote(name), joined(known)));
}

double lengthOf(py::handle value, const char* name) {
    const double length = number(value, name);
    if (!(length > 0) || length > std::numeric_limits<double>::max())
        throw SettingError(name, fmt::format("is {}, must be a number above 0", length));
    return length;
}

Board boardOf(const py::dict& values) {
    Board board;
    const auto pattern = textOf(values["pattern"], "pattern");
    requireName(patternNames(), pattern, "pattern");
    board.pattern = patternNames().at(pattern);
    const auto [width, height] =
        wholePairOf(values["corners"], "corners", "points per row and rows, as in (9, 6)");
    board.corners = cv::Size(width, height);
    board.square = lengthOf(values["square"], "square");
    board.dictionary = textOf(values["dictionary"], "dictionary");
    requireName(dictionaryNames(), board.dictionary, "dictionary");
    board.unit = textOf(values["unit"], "unit");
    if (!isUnit(board.unit))
        throw SettingError("unit", fmt::format("is {}, must be 'm', or '' for one of your own",
                                               quote(board.unit)));
    if (board.pattern == Pattern::charuco)
        board.marker = lengthOf(values["marker"], "marker");
    checkBoard(board);
    return board;
}

CalibrationTask taskOf(const py::dict& values) {
    CalibrationTask task;
    task.board = boardOf(values);
    task.lens = textOf(values["lens"], "lens");
    task.options.lens = lensNamed(task.lens);
    task.options.alpha = number(values["alpha"], "alpha");
    checkAlpha(task.options.alpha);
    task.options.rejectAbove = positive(values["reject_above"], "reject_above");
    if (!values["field_of_view"].is_none())
        task.options.wideAngle.fieldOfView = number(values["field_of_view"], "field_of_view");
    checkFieldOfView(task.options.wideAngle.fieldOfView);
    const int maxPairs = wholeNumber(values["max_pairs"], "max_pairs");
    if (maxPairs < static_cast<int>(minimumPairs))
        throw SettingError("max-pairs",
                           fmt::format("is {}, must be {} or more", maxPairs, minimumPairs));
    task.maxPairs = static_cast<std::size_t>(maxPairs);
    if (!values["fixed_intrinsics"].is_none())
        task.known = rigOf(values["fixed_intrinsics"], "fixed_intrinsics");
    return task;
}

// Of a long video only one frame in so many is looked at, as those that follow each other show
// nearly the same.
std::size_t chooseStep(std::size_t frames, std::size_t maxPairs) {
    return std::max<std::size_t>(1, frames / (5 * maxPairs));
}

SearchedPair searchFrame(const Frame& frame, const Board& board) {
    const FileIdentities inputs = frame.identify();
    SearchedPair pair = searchPair(frame, frame.read(), board);
    pair.inputs = inputs;
    return pair;
}

BoardSearch searchBoards(const ImagePairs& pairs, const CalibrationTask& task, Notices& notices) {
    const auto source = pairs.open(notices.notify());
    const std::size_t step = chooseStep(source->count(), task.maxPairs);
    const auto outcomes = collectOutcomes(
        *source, step, [&](const Frame& frame) { return searchFrame(frame, task.board); });
    BoardSearch search(task.board);
    for (const auto& [number, outcome] : outcomes) {
        if (outcome.result)
            search.add(outcome.frame, *outcome.result);
        else
            search.addFailure(outcome.frame, outcome.complaint);
    }
    search.sort();
    search.requireEnoughPairs(*pairs.open(ignoreNotice));
    search.keepDistinct(task.maxPairs);
    return search;
}

StereoImages readPair(const ImagePairs& pairs, const BoardSearch& search, std::size_t maxPairs,
                      std::size_t detection) {
    const auto source = pairs.open(ignoreNotice);
    const std::size_t number = chooseStep(source->count(), maxPairs) * search.frameOf(detection);
    for (std::size_t i = 0; i < number; ++i)
        source->next();
    return source->next().value().read();
}

CameraModel knownCamera(const vision::Calibration& calibration, const cv::Size& size) {
    return cameraModelOf(calibration.scaleTo(size.width, size.height));
}

Parameters parametersOf(const CalibrationTask& task, const FrameArguments& reading) {
    const Board& board = task.board;
    Parameters parameters{{"pattern", nameOf(board.pattern)},
                          {"corners", describe(board.corners)},
                          {"square", fmt::format("{}{}", board.square, board.unit)}};
    if (board.pattern == Pattern::charuco) {
        parameters.push_back({"marker", fmt::format("{}{}", board.marker, board.unit)});
        parameters.push_back({"dictionary", board.dictionary});
    }
    if (reading.rotateLeft != 0 || reading.rotateRight != 0) {
        parameters.push_back({"rotateLeft", reading.rotateLeft});
        parameters.push_back({"rotateRight", reading.rotateRight});
    }
    parameters.push_back({"lens", task.lens});
    parameters.push_back({"alpha", task.options.alpha});
    parameters.push_back({"maxPairs", static_cast<int>(task.maxPairs)});
    parameters.push_back({"rejectAbove", task.options.rejectAbove});
    return parameters;
}

struct CalibrationOutcome {
    CalibrationReport report;
    std::string text;
    std::string json;
    cv::Mat coverage;
    cv::Mat rectified;
};

std::string encodeReport(const CalibrationTask& task, const FrameArguments& reading,
                         const CalibrationReport& report) {
    const RectifiedRig& rig = report.solution.rectified;
    const std::string hash =
        hashRig(encodeCalibration("left.yml", rig.left), encodeCalibration("right.yml", rig.right));
    auto json = toJson(Provenance{"calibrate", parametersOf(task, reading), hash, std::nullopt});
    json.update(toJson(report));
    return dumpJson(json);
}

CalibrationOutcome calibratePairs(const ImagePairs& pairs, const CalibrationTask& task) {
    Notices notices;
    const BoardSearch search = searchBoards(pairs, task, notices);
    notices.keep();
    RigCalibrationOptions options = task.options;
    if (task.known)
        options.knownCameras.emplace(knownCamera(task.known->left, search.imageSize()),
                                     knownCamera(task.known->right, search.imageSize()));
    options.onStep = [](double) { requireNoSignal(); };
    CalibrationOutcome outcome;
    outcome.report = makeReport(
        calibrateRig(search.detections(), search.board(), search.imageSize(), options), search);
    const RigSolution& solution = outcome.report.solution;
    outcome.text = toText(outcome.report);
    outcome.json = encodeReport(task, pairs.arguments(), outcome.report);
    outcome.coverage = drawCoverage(outcome.report);
    const StereoImages rectified = rectifyPair(
        solution.rectified, readPair(pairs, search, task.maxPairs, solution.used.front()));
    outcome.rectified = drawRowLines(rectified.left, rectified.right);
    return outcome;
}

py::dict calibrate(py::handle left, py::handle right, const py::dict& values) {
    const CalibrationTask task = taskOf(values);
    const ImagePairs pairs(left, right, wholeNumber(values["rotate_left"], "rotate_left"),
                           wholeNumber(values["rotate_right"], "rotate_right"));
    const CalibrationOutcome outcome = callLibrary([&] { return calibratePairs(pairs, task); });
    const RigSolution& solution = outcome.report.solution;
    Rig rig;
    rig.left = solution.rectified.left;
    rig.right = solution.rectified.right;
    rig.unit = solution.model.unit;
    rig.verdict = nameOf(outcome.report.verdict.grade);
    py::dict result;
    result["rig"] = describeRig(rig, solution.model);
    result["report"] = outcome.json;
    result["text"] = outcome.text;
    result["coverage"] = arrayOf(outcome.coverage);
    result["rectified"] = arrayOf(outcome.rectified);
    return result;
}

}  // namespace

void bindCalibrating(py::module_& module) {
    module.def("calibrate", calibrate, py::arg("left"), py::arg("right"), py::arg("options"));
}

}  // namespace tiomipra::python
