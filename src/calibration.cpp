#include "vision/calibration.hpp"

#include <stdexcept>

#include "calibration_document.hpp"
#include "log_message.hpp"
#include "matrix_checks.hpp"

namespace vision {
namespace {

const tevo::log::Category* const category = tevo::log::addCategory("vision.stereo.calibration");

// OpenCV's `!=` refuses empty operands; two empty matrices don't differ.
bool differ(const cv::Mat& a, const cv::Mat& b) {
    if (a.empty() && b.empty())
        return false;
    return cv::countNonZero(a != b) != 0;
}

// 32-bit products that wrap instead of overflowing.
bool haveSameAspectRatio(int width, int height, int newWidth, int newHeight) {
    const auto wrap = [](int a, int b) {
        return static_cast<unsigned>(a) * static_cast<unsigned>(b);
    };
    return wrap(height, newWidth) == wrap(width, newHeight);
}

void writeEntry(cv::FileStorage& storage, const char* message, const char* key,
                const cv::Mat& matrix) {
    logVerbose(category, "save", message);
    storage << key << matrix;
}

void writeEntry(cv::FileStorage& storage, const char* message, const char* key, int value) {
    logVerbose(category, "save", message);
    storage << key << value;
}

}  // namespace

Calibration::Calibration(const Calibration& other)
    : width(other.width),
      height(other.height),
      cameraMatrix(other.cameraMatrix.clone()),
      distortion(other.distortion.clone()),
      rectificationMatrix(other.rectificationMatrix.clone()),
      projectionMatrix(other.projectionMatrix.clone()) {}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): a self-assigned record gets new buffers too.
Calibration& Calibration::operator=(const Calibration& other) {
    width = other.width;
    height = other.height;
    cameraMatrix = other.cameraMatrix.clone();
    distortion = other.distortion.clone();
    rectificationMatrix = other.rectificationMatrix.clone();
    projectionMatrix = other.projectionMatrix.clone();
    return *this;
}

bool Calibration::operator==(const Calibration& other) const {
    return width == other.width && height == other.height &&
           !differ(cameraMatrix, other.cameraMatrix) && !differ(distortion, other.distortion) &&
           !differ(rectificationMatrix, other.rectificationMatrix) &&
           !differ(projectionMatrix, other.projectionMatrix);
}

bool Calibration::operator!=(const Calibration& other) const {
    return !(*this == other);
}

void Calibration::load(const std::string& filename) {
    if (filename.empty())
        refuse(category, "load", "Invalid calibration file: \"" + filename + "\".");
    try {
        checkDocument(filename);
        const cv::FileStorage storage(filename, cv::FileStorage::READ, "");
        cv::read(storage["width"], width, 0);
        cv::read(storage["height"], height, 0);
        // Each matrix is read into a new buffer: the host may have taken one of this record's
        // earlier, and must not see it change.
        const auto readMatrix = [&storage, &filename](const char* key) {
            const cv::FileNode node = storage[key];
            checkMatrixNode(node, key, filename);
            cv::Mat matrix;
            cv::read(node, matrix, cv::Mat());
            return matrix;
        };
        cameraMatrix = readMatrix("cameraMatrix");
        distortion = readMatrix("distortion");
        rectificationMatrix = readMatrix("rectificationMatrix");
        projectionMatrix = readMatrix("projectionMatrix");
        logVerbose(category, "load", "Load calibration file: ", '"', filename, '"',
                   "\nWidth: ", width, "\nHeight: ", height, "\nCamera matrix: ", cameraMatrix,
                   "\nDistortion: ", distortion, "\nRectification matrix: ", rectificationMatrix,
                   "\nProjection matrix: ", projectionMatrix);
    } catch (const std::exception& exception) {
        logError(category, "load", "Cannot read calibration file \"", filename,
                 "\": ", exception.what());
        throw;
    }
}

void Calibration::save(const std::string& filename) const {
    if (filename.empty())
        refuse(category, "save", "Invalid calibration save file: " + filename);
    try {
        checkTarget(filename);
        // Composed in memory, and written by `writeDocument`, as cv::FileStorage does not notice
        // when a disk is full.
        const bool inMemory = !isCompressed(filename);
        cv::FileStorage storage(
            filename, cv::FileStorage::WRITE | (inMemory ? cv::FileStorage::MEMORY : 0), "");
        writeEntry(storage, "Write calibration width.", "width", width);
        writeEntry(storage, "Write calibration height.", "height", height);
        writeEntry(storage, "Write camera matrix.", "cameraMatrix", cameraMatrix);
        writeEntry(storage, "Write distortion matrix.", "distortion", distortion);
        writeEntry(storage, "Write rectification matrix.", "rectificationMatrix",
                   rectificationMatrix);
        writeEntry(storage, "Write projection matrix.", "projectionMatrix", projectionMatrix);
        const std::string document = storage.releaseAndGetString();
        if (inMemory)
            writeDocument(filename, document);
    } catch (const std::exception& exception) {
        logError(category, "save", "Cannot write calibration file \"", filename,
                 "\": ", exception.what());
        throw;
    }
}

Calibration Calibration::scaleTo(int newWidth, int newHeight) const {
    if (!haveSameAspectRatio(width, height, newWidth, newHeight))
        refuse(category, "scaleTo", "Invalid aspect ratio for new calibration");
    if (width == 0)
        refuse(category, "scaleTo", "width of the calibration is 0, must not be 0 to be scaled");
    if (!holdsFloats(cameraMatrix, 2, 3))
        refuse(category, "scaleTo", complaint("cameraMatrix", cameraMatrix, 2, 3));
    if (!holdsFloats(projectionMatrix, 2, 4))
        refuse(category, "scaleTo", complaint("projectionMatrix", projectionMatrix, 2, 4));

    const float scale = static_cast<float>(newWidth) / static_cast<float>(width);
    Calibration scaled(*this);
    scaled.width = newWidth;
    scaled.height = newHeight;
    for (cv::Mat* matrix : {&scaled.cameraMatrix, &scaled.projectionMatrix}) {
        matrix->at<float>(0, 0) *= scale;
        matrix->at<float>(1, 1) *= scale;
        matrix->at<float>(0, 2) *= scale;
        matrix->at<float>(1, 2) *= scale;
    }
    scaled.projectionMatrix.at<float>(0, 3) *= scale;
    scaled.projectionMatrix.at<float>(1, 3) *= scale;
    return scaled;
}

}  // namespace vision
