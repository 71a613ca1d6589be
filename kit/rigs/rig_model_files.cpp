#include "rigs/rig_model_files.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <utility>

#include "base/errors.hpp"
#include "base/quantities.hpp"
#include "base/text.hpp"
#include "rigs/document_guard.hpp"

namespace tiomipra {
namespace {

constexpr std::pair<LensKind, const char*> lensKinds[] = {
    {LensKind::radialTangential, "radial-tangential"}, {LensKind::fisheye, "fisheye"}};

void write(cv::FileStorage& storage, const std::string& key, const CameraModel& camera) {
    storage << key << "{";
    storage << "width" << camera.imageSize.width << "height" << camera.imageSize.height;
    storage << "cameraMatrix" << cameraMatrixOf(camera);
    storage << "lens" << nameOf(camera.lens.kind);
    storage << "lensCoefficients" << distortionOf(camera);
    storage << "}";
}

// An entry of the document and its name in messages, as in "left.width".
struct Entry {
    std::string name;
    cv::FileNode node;
};

[[noreturn]] void refuse(const Entry& entry, const std::string& rule) {
    throw std::invalid_argument(
        fmt::format("{} {}{}", entry.name, entry.node.empty() ? "is missing, " : "", rule));
}

Entry findEntry(const Entry& parent, const char* key) {
    if (!parent.node.isMap())
        refuse(parent, "must be a mapping");
    return {parent.name.empty() ? key : fmt::format("{}.{}", parent.name, key), parent.node[key]};
}

std::string readText(const Entry& entry) {
    if (!entry.node.isString())
        refuse(entry, "must be a text");
    return entry.node.string();
}

int readWhole(const Entry& entry) {
    if (!entry.node.isInt())
        refuse(entry, "must be a whole number");
    return static_cast<int>(entry.node);
}

int readPositive(const Entry& entry) {
    const int value = readWhole(entry);
    if (value <= 0)
        refuse(entry, fmt::format("is {}, must be above 0", value));
    return value;
}

// The elements of a sequence. By their count, as walking over a damaged one never meets its end.
std::vector<double> readNumbers(const Entry& entry) {
    if (!entry.node.isSeq())
        refuse(entry, "must be a sequence of numbers");
    std::vector<double> numbers;
    auto item = entry.node.begin();
    for (std::size_t left = entry.node.size(); left > 0; --left, ++item) {
        const cv::FileNode node = *item;
        const double number = node.isReal() || node.isInt() ? static_cast<double>(node) : NAN;
        if (!std::isfinite(number))
            refuse(entry,
                   fmt::format("has element {}, which must be a finite number", numbers.size()));
        numbers.push_back(number);
    }
    return numbers;
}

// A matrix as cv::FileStorage writes it, row by row. Its elements are looked at one by one: a
// matrix that OpenCV reads is allocated in the size that it claims.
std::vector<double> readMatrix(const Entry& entry, int& rows, int& columns) {
    rows = readWhole(findEntry(entry, "rows"));
    columns = readWhole(findEntry(entry, "cols"));
    if (rows < 0 || columns < 0)
        refuse(entry, fmt::format("is {}x{}, must not be negative", rows, columns));
    const Entry data = findEntry(entry, "data");
    std::vector<double> numbers = readNumbers(data);
    if (static_cast<double>(numbers.size()) != static_cast<double>(rows) * columns)
        refuse(data,
               fmt::format("holds {} numbers, must hold {} x {}", numbers.size(), rows, columns));
    return numbers;
}

template <int rows, int columns>
cv::Matx<double, rows, columns> readMatx(const Entry& entry) {
    int foundRows = 0;
    int foundColumns = 0;
    const std::vector<double> numbers = readMatrix(entry, foundRows, foundColumns);
    if (foundRows != rows || foundColumns != columns)
        refuse(entry,
               fmt::format("is {}x{}, must be {}x{}", foundRows, foundColumns, rows, columns));
    return cv::Matx<double, rows, columns>(numbers.data());
}

void refuseIf(const Entry& entry, const std::string& complaint) {
    if (!complaint.empty())
        refuse(entry, complaint);
}

cv::Matx33d readCameraMatrix(const Entry& entry) {
    const auto matrix = readMatx<3, 3>(entry);
    refuseIf(entry, whyNoCameraMatrix(matrix));
    return matrix;
}

cv::Matx33d readRotation(const Entry& entry) {
    const auto matrix = readMatx<3, 3>(entry);
    refuseIf(entry, whyNoRotation(matrix));
    return matrix;
}

cv::Vec3d readTranslation(const Entry& entry) {
    const cv::Vec3d vector(readMatx<3, 1>(entry).val);
    refuseIf(entry, whyNoTranslation(vector));
    return vector;
}

LensKind readLensKind(const Entry& entry) {
    const std::string name = readText(entry);
    for (const auto& [kind, kindName] : lensKinds) {
        if (name == kindName)
            return kind;
    }
    refuse(entry, fmt::format("is {}, must be {} or {}", quote(name), lensKinds[0].second,
                              lensKinds[1].second));
}

std::vector<double> readCoefficients(const Entry& entry, LensKind kind) {
    int rows = 0;
    int columns = 0;
    std::vector<double> coefficients = readMatrix(entry, rows, columns);
    if (!isCoefficientCount(kind, coefficients.size()) || (rows > 1 && columns > 1))
        refuse(entry, fmt::format("is {}x{}, must be one row of {}{}", rows, columns,
                                  kind == LensKind::fisheye ? "" : "0, ", coefficientCounts(kind)));
    return coefficients;
}

std::string readUnit(const Entry& entry) {
    const std::string unit = readText(entry);
    if (!isUnit(unit))
        refuse(entry, fmt::format("is {}, must be {} or empty", quote(unit), quote(metres)));
    return unit;
}

CameraModel readCamera(const Entry& entry) {
    CameraModel camera;
    camera.imageSize.width = readPositive(findEntry(entry, "width"));
    camera.imageSize.height = readPositive(findEntry(entry, "height"));
    camera.cameraMatrix = readCameraMatrix(findEntry(entry, "cameraMatrix"));
    camera.lens.kind = readLensKind(findEntry(entry, "lens"));
    camera.lens.coefficients =
        readCoefficients(findEntry(entry, "lensCoefficients"), camera.lens.kind);
    return camera;
}

RigModel readModel(const cv::FileNode& root) {
    if (!root.isMap())
        throw std::invalid_argument("it is no mapping of keys to values");
    const Entry document{"", root};
    RigModel model;
    model.unit = readUnit(findEntry(document, "unit"));
    model.left = readCamera(findEntry(document, "left"));
    model.right = readCamera(findEntry(document, "right"));
    model.rightFromLeftRotation = readRotation(findEntry(document, "rightFromLeftRotation"));
    model.rightFromLeftTranslation =
        readTranslation(findEntry(document, "rightFromLeftTranslation"));
    checkModel(model);
    return model;
}

}  // namespace

std::string nameOf(LensKind kind) {
    return std::find_if(std::begin(lensKinds), std::end(lensKinds),
                        [kind](const auto& entry) { return entry.first == kind; })
        ->second;
}

std::string encodeRigModel(const RigModel& model) {
    cv::FileStorage storage(".yml", cv::FileStorage::WRITE | cv::FileStorage::MEMORY);
    storage.write("unit", model.unit);
    write(storage, "left", model.left);
    write(storage, "right", model.right);
    storage << "rightFromLeftRotation" << cv::Mat(model.rightFromLeftRotation);
    storage << "rightFromLeftTranslation" << cv::Mat(model.rightFromLeftTranslation);
    return storage.releaseAndGetString();
}

RigModel readRigModel(const std::string& path) {
    constexpr auto kind = "a rig model";
    const cv::FileStorage storage = openDocument(path, kind);
    try {
        return readModel(storage.root());
    } catch (const std::invalid_argument& broken) {
        throw InputError(fmt::format("{} is not {}: {}", quote(path), kind, broken.what()));
    }
}

}  // namespace tiomipra
