// tiomipra rectify: rectified images, and a picture that shows whether they are.
#include <memory>
#include <opencv2/core.hpp>

#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/eight_bits.hpp"
#include "files/image_files.hpp"
#include "options/rectify_options.hpp"
#include "reports/pictures.hpp"
#include "rigs/rectifier.hpp"
#include "rigs/rig_files.hpp"
#include "runs/batch.hpp"
#include "runs/progress.hpp"

namespace tiomipra {
namespace {

std::string extensionFor(const cv::Mat& image) {
    return image.depth() <= CV_16U ? ".png" : ".tiff";
}

// In 8 bits, as a picture for people.
cv::Mat drawRows(cv::Mat left, cv::Mat right) {
    stretchToEightBits(left, right);
    return drawRowLines(left, right);
}

PairReport rectify(const Frame& frame, const vision::Stereo& stereo, const Rig& rig,
                   PairFiles& files) {
    const StereoImages images = frame.read();
    requireSameAspectRatio(rig, images.left.size(), frame.leftFile);
    const cv::Mat left = stereo.rectifyImageLeft(images.left);
    const cv::Mat right = stereo.rectifyImageRight(images.right);
    files.addImage("_left" + extensionFor(left), left);
    files.addImage("_right" + extensionFor(right), right);
    files.addImage("_rows.png", drawRows(left, right));
    return {{{"width", left.cols}, {"height", left.rows}}, describe(left.size())};
}

}  // namespace

Ending runRectify(const RectifyOptions& options) {
    const auto [leftFile, rightFile] = calibrationFiles(options.rig);
    const Rig rig = readRig(leftFile, rightFile);
    requireFrames(options.frames);
    noteDoubts(rig, options.frames, sayBesideBar);
    const auto frames = openFrames(options.frames, sayBesideBar, Pixels::asStored);
    requireUsable(rig);
    ProtectedFiles inputs(frames->files());
    inputs.add(filesOf(rig));
    const auto makeWorker = [&rig]() -> ProcessPair {
        const std::shared_ptr<vision::Stereo> rectifier = makeRectifier(rig.left, rig.right);
        return [rectifier, &rig](const Frame& frame, PairFiles& files) {
            return rectify(frame, *rectifier, rig, files);
        };
    };
    const Parameters turns = turnsOf(options.frames);
    const Provenance madeWith{"rectify", turns.empty() ? std::nullopt : std::optional(turns),
                              rig.hash, std::nullopt};
    return runBatch(*frames, options.batch, inputs, madeWith, makeWorker);
}

}  // namespace tiomipra
