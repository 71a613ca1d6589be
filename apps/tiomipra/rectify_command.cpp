// Rectified images, and a picture that shows whether they are.
#include <limits>
#include <memory>
#include <opencv2/core.hpp>

#include "batch.hpp"
#include "calibration_files.hpp"
#include "frame_source.hpp"
#include "image_files.hpp"
#include "pictures.hpp"
#include "provenance.hpp"
#include "subcommands.hpp"
#include "text.hpp"

namespace tiomipra {
namespace {

struct RectifyOptions {
    CalibrationOptions calibration;
    FrameOptions frames;
    BatchOptions batch;
};

// 8 bits, as pictures for people are drawn with; brightest becomes white.
cv::Mat toEightBit(const cv::Mat& image) {
    if (image.depth() == CV_8U)
        return image;
    cv::Mat converted;
    cv::normalize(image, converted, 0, 255, cv::NORM_MINMAX, CV_8U);
    return converted;
}

std::string extensionFor(const cv::Mat& image) {
    return image.depth() <= CV_16U ? ".png" : ".tiff";
}

PairResult rectify(const Frame& frame, const vision::Stereo& stereo, const Rig& rig,
                   PairFiles& files) {
    const StereoImages images = frame.read();
    requireSameAspectRatio(rig, images.left.size(), frame.leftFile);
    const cv::Mat left = stereo.rectifyImageLeft(images.left);
    const cv::Mat right = stereo.rectifyImageRight(images.right);
    writeImage(files.add("_left" + extensionFor(left)), left);
    writeImage(files.add("_right" + extensionFor(right)), right);
    writeImage(files.add("_rows.png"), drawRowLines(toEightBit(left), toEightBit(right)));
    PairResult result;
    result.values = {{"width", left.cols}, {"height", left.rows}};
    result.summary = sizeText(left.size());
    return result;
}

Status runRectify(const RectifyOptions& options) {
    const Rig rig = readRig(options.calibration);
    const auto makeWorker = [&]() -> ProcessPair {
        const auto stereo = std::make_shared<vision::Stereo>();
        // Depth plays no part, in whatever unit the calibrations are.
        stereo->setMaxDepth(std::numeric_limits<float>::infinity());
        setCalibrations(*stereo, rig);
        return [stereo, &rig](const Frame& frame, PairFiles& files) {
            return rectify(frame, *stereo, rig, files);
        };
    };
    const auto frames = openFrames(options.frames, Pixels::asStored);
    ProtectedFiles inputs(frames->files());
    inputs.add(filesOf(rig));
    return runBatch(*frames, options.batch, inputs, provenance("rectify", nullptr, rig.hash),
                    makeWorker);
}

}  // namespace

Run configureRectify(CLI::App& command) {
    const auto options = std::make_shared<RectifyOptions>();
    addCalibrationOptions(command, options->calibration);
    addFrameOptions(command, options->frames);
    addBatchOptions(command, options->batch);
    return [options] { return runRectify(*options); };
}

}  // namespace tiomipra
