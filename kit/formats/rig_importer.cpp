#include "formats/rig_importer.hpp"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "base/errors.hpp"
#include "base/quantities.hpp"
#include "base/text.hpp"
#include "formats/source_rig.hpp"
#include "rigs/calibration_faults.hpp"

namespace tiomipra {
namespace {

const std::vector<SourceFormat>& formats() {
    static const std::vector<SourceFormat> all = {
        modelFormat(),    openCvFormat(),        rosFormat(),    kalibrFormat(),     sensorFormat(),
        svoFormat(),      vinsFormat(),          basaltFormat(), middleburyFormat(), kittiFormat(),
        kittiRawFormat(), kittiOdometryFormat(), zedFormat()};
    return all;
}

std::string namesOf(const std::vector<std::string>& paths) {
    std::vector<std::string> quoted;
    std::transform(paths.begin(), paths.end(), std::back_inserter(quoted), quote);
    return joined(quoted, " and ");
}

std::string namesOf(const std::vector<RigFormat>& known) {
    std::vector<std::string> names;
    for (const RigFormat& format : known)
        names.push_back(format.name);
    return joined(names);
}

// What a user may look for in a file that nothing fits.
std::string describeKeys(const SourceDocuments& documents) {
    if (documents.front().root().has("rectificationMatrix"))
        return "these are calibrations that need no import";
    std::vector<std::string> keys = documents.front().root().keys();
    constexpr std::size_t most = 8;
    if (keys.size() > most)
        keys.resize(most);
    return keys.empty() ? "it has no keys" : "its keys are " + printable(joined(keys));
}

const SourceFormat& chooseFormat(const SourceDocuments& documents, const std::string& name) {
    for (const SourceFormat& format : formats()) {
        if (name.empty() ? format.fits(documents) : name == format.format.name)
            return format;
    }
    const std::string known = namesOf(importFormats());
    if (!name.empty())
        throw SettingError("format", fmt::format("is {}, must be one of {}", quote(name), known));
    throw std::invalid_argument(fmt::format("the content shows none of the formats {}; {}", known,
                                            describeKeys(documents)));
}

double metresIn(const std::string& unit) {
    try {
        return parseLength("1 " + unit).value;
    } catch (const std::invalid_argument&) {
        throw SettingError("unit", fmt::format("is {}, must be m, cm, mm or in", quote(unit)));
    }
}

// In metres from here on, where that is known.
void convertLengths(SourceRig& rig, const std::string& wanted) {
    const std::string unit = wanted.empty() ? rig.model.unit : wanted;
    const double factor = unit.empty() ? 1 : metresIn(unit);
    rig.model.unit = unit.empty() ? "" : metres;
    rig.model.rightFromLeftTranslation *= factor;
    if (rig.rectification) {
        rig.rectification->leftProjection(0, 3) *= factor;
        rig.rectification->rightProjection(0, 3) *= factor;
    }
    if (unit.empty())
        rig.notes.emplace_back(
            "the files don't say in which unit lengths are; depths will be in that of the board's "
            "squares");
}

// The right camera becomes the origin.
void swapCameras(SourceRig& rig) {
    RigModel& model = rig.model;
    std::swap(model.left, model.right);
    model.rightFromLeftRotation = model.rightFromLeftRotation.t();
    model.rightFromLeftTranslation =
        -(model.rightFromLeftRotation * model.rightFromLeftTranslation);
    if (rig.rectification) {
        std::swap(rig.rectification->leftRotation, rig.rectification->rightRotation);
        std::swap(rig.rectification->leftProjection, rig.rectification->rightProjection);
    }
}

// Of the rectified images, whatever the files have it between.
void moveOriginToLeft(Rectification& rectification) {
    rectification.rightProjection(0, 3) -= rectification.leftProjection(0, 3);
    rectification.leftProjection(0, 3) = 0;
}

void completeSizes(RigModel& model, const std::optional<cv::Size>& size) {
    for (CameraModel* camera : {&model.left, &model.right}) {
        if (camera->imageSize.empty() && !size)
            throw std::invalid_argument(
                "it does not say for which size of images it is, which must be given (size)");
        if (camera->imageSize.empty())
            camera->imageSize = *size;
    }
    const cv::Size& own = model.left.imageSize;
    if (size && std::int64_t{size->width} * own.height != std::int64_t{size->height} * own.width)
        throw std::invalid_argument(fmt::format(
            "the images are {}, the files are for {}; the aspect ratio must be the same",
            describe(*size), describe(own)));
}

void checkPlaces(const RigModel& model, bool isUnitGiven) {
    const std::string complaint = whyNoRotation(model.rightFromLeftRotation);
    if (!complaint.empty())
        throw std::invalid_argument("the rotation between the cameras " + complaint);
    const cv::Vec3d right = -(model.rightFromLeftRotation.t() * model.rightFromLeftTranslation);
    const double baseline = cv::norm(right);
    if (baseline == 0)
        throw std::invalid_argument("both cameras are at the same place, must be apart");
    constexpr double shortest = 0.002, longest = 10;
    if (!isUnitGiven && model.unit == metres && (baseline < shortest || baseline > longest))
        throw std::invalid_argument(fmt::format(
            "the baseline is {} m, must be from {} to {} unless the unit is given; are the lengths "
            "in {}?",
            digits(baseline), shortest, longest, baseline > longest ? "mm" : "m"));
    if (std::abs(right[0]) <= std::max(std::abs(right[1]), std::abs(right[2])))
        throw std::invalid_argument(fmt::format(
            "the second camera is at ({}, {}, {}) as the first one sees it, must be beside it",
            digits(right[0]), digits(right[1]), digits(right[2])));
    if (right[0] < 0)
        throw std::invalid_argument(
            "the second camera is left of the first one; must the cameras be exchanged (swap)?");
}

void requireUsable(const RectifiedRig& rig) {
    const auto faults = findFaults(rig.left, rig.right);
    if (!faults.empty())
        throw std::invalid_argument(faults.front().problem);
}

Rectification chooseFisheyeView(const SourceRig& rig, const ImportSettings& settings) {
    if (rig.rectification)
        return *rig.rectification;
    return rectifyFisheye(rig.model, {settings.wideAngle.fieldOfView, settings.alpha.value_or(0)});
}

RectifiedRig rectifyWideAngle(SourceRig& rig, const ImportSettings& settings) {
    const Rectification rectification = chooseFisheyeView(rig, settings);
    const PinholeRig pinholes =
        asPinholes(rig.model, rectification, settings.wideAngle.maxResidual);
    rig.notes.push_back(describe(pinholes.fit));
    return rectify(pinholes.model, rectification);
}

bool isWideAngle(const RigModel& model) {
    if (model.left.lens.kind != model.right.lens.kind)
        throw std::invalid_argument("one lens is a fisheye lens, must be both or none");
    return model.left.lens.kind == LensKind::fisheye;
}

RectifiedRig rectifyAsAsked(SourceRig& rig, const ImportSettings& settings) {
    if (rig.rectification && settings.alpha)
        throw SettingError("alpha", "can't be chosen, as the files bring the rectification");
    if (settings.wideAngle.fieldOfView && (rig.rectification || !isWideAngle(rig.model)))
        throw SettingError("field-of-view",
                           "is for wide-angle lenses whose files bring no rectification");
    if (isWideAngle(rig.model))
        return rectifyWideAngle(rig, settings);
    return rig.rectification ? rectify(rig.model, *rig.rectification)
                             : rectify(rig.model, settings.alpha.value_or(0));
}

ImportedRig complete(SourceRig rig, const ImportSettings& settings) {
    convertLengths(rig, settings.unit);
    if (settings.isSwapped)
        swapCameras(rig);
    if (rig.rectification)
        moveOriginToLeft(*rig.rectification);
    completeSizes(rig.model, settings.imageSize);
    checkModel(rig.model);
    checkPlaces(rig.model, !settings.unit.empty());
    ImportedRig result;
    result.rectified = rectifyAsAsked(rig, settings);
    result.isRectifiedAsFound = rig.rectification.has_value();
    result.model = rig.model;
    result.notes = std::move(rig.notes);
    requireUsable(result.rectified);
    return result;
}

void checkFit(const SourceFormat& format, std::size_t files, const ImportSettings& settings) {
    const std::size_t most = format.files == 0 ? 2 : format.files;
    if (files < std::max<std::size_t>(format.files, 1) || files > most)
        throw std::invalid_argument(fmt::format("there are {} files, must be {}: {}", files,
                                                format.files == 0 ? "1 or 2" : std::to_string(most),
                                                format.format.summary));
    if (!format.hasMoreCameras && !settings.cameras.empty())
        throw SettingError("cameras", "is for formats that have more than two of them");
}

void checkCameras(const std::vector<std::string>& cameras) {
    if (!cameras.empty() && (cameras.size() != 2 || cameras[0] == cameras[1]))
        throw SettingError("cameras", fmt::format("is {}, must be two names, left and right",
                                                  quote(joined(cameras, ","))));
}

}  // namespace

std::vector<RigFormat> importFormats() {
    std::vector<RigFormat> known;
    for (const SourceFormat& format : formats())
        known.push_back(format.format);
    return known;
}

ImportedRig importRig(const std::vector<std::string>& paths, const ImportSettings& settings) {
    if (paths.empty())
        throw SettingError("files", "is empty, must name one file at least");
    checkCameras(settings.cameras);
    SourceDocuments documents;
    for (const std::string& path : paths)
        documents.push_back(readSourceDocument(path));
    for (SourceDocument& document : documents)
        document.isNamed = documents.size() > 1;
    std::string name;
    try {
        const SourceFormat& format = chooseFormat(documents, settings.format);
        name = fmt::format(" as {}", format.format.name);
        checkFit(format, documents.size(), settings);
        ImportedRig rig = complete(format.read(documents, settings), settings);
        rig.format = format.format.name;
        for (const SourceDocument& document : documents)
            rig.files.push_back({document.path, document.hash});
        return rig;
    } catch (const std::invalid_argument& wrong) {
        throw InputError(
            fmt::format("{} can't be imported{}: {}", namesOf(paths), name, wrong.what()));
    } catch (const cv::Exception& wrong) {
        throw InputError(
            fmt::format("{} can't be imported{}: OpenCV says {}", namesOf(paths), name, wrong.err));
    }
}

}  // namespace tiomipra
