// tiomipra rectify: rectified images, and a picture that shows whether they are.
#include <memory>
#include <opencv2/core.hpp>

#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/eight_bits.hpp"
#include "files/image_files.hpp"
#include "matching/memory_need.hpp"
#include "options/rectify_options.hpp"
#include "reports/pictures.hpp"
#include "rigs/rectifier.hpp"
#include "rigs/rig_files.hpp"
#include "runs/available_memory.hpp"
#include "runs/batch.hpp"
#include "runs/memory_budget.hpp"
#include "runs/ordered_work.hpp"
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

// Keeps maps for images of one size only, as they take much memory.
class PairRectifier {
  public:
    explicit PairRectifier(const Rig& rig) : _rig(rig) {}

    StereoImages rectify(const Frame& frame, const TakeMemory& takeMemory) {
        const StereoImages images = frame.read();
        const cv::Size size = images.left.size();
        requireSameAspectRatio(_rig, size, frame.leftFile);
        const std::uint64_t need = rectificationMemory(images);
        requireMemory(fmt::format("rectifying {}, {},", quote(frame.leftFile), describe(size)),
                      need, takeMemory(need), "smaller images take less");
        if (size != _size) {
            _rectifier.reset();  // before there is another one
            _rectifier = makeRectifier(_rig.left, _rig.right);
        }
        _size = size;
        return {_rectifier->rectifyImageLeft(images.left),
                _rectifier->rectifyImageRight(images.right)};
    }

  private:
    const Rig& _rig;
    cv::Size _size;
    std::unique_ptr<vision::Stereo> _rectifier;
};

PairReport rectify(const Frame& frame, PairRectifier& rectifier, MemoryBudget& memory,
                   PairFiles& files) {
    MemoryBudget::Share share(memory);
    const auto [left, right] =
        rectifier.rectify(frame, [&share](std::uint64_t bytes) { return share.take(bytes); });
    files.addImage("_left" + extensionFor(left), left);
    files.addImage("_right" + extensionFor(right), right);
    files.addImage("_rows.png", drawRows(left, right));
    return {{{"width", left.cols}, {"height", left.rows}}, describe(left.size())};
}

// Of the first pair; 0 if it can't be read, which the run will tell.
std::uint64_t memoryForFirst(const FrameArguments& arguments) {
    try {
        const auto frame = reopenFrames(arguments, Pixels::asStored)->next();
        return frame ? rectificationMemory(frame->read()) : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

// As many as were asked for, or fewer if there is no memory for so many pairs as the first one.
unsigned jobsWithinMemory(const RectifyOptions& options, std::size_t pairs,
                          const MemoryLimit& limit) {
    const std::size_t wanted = countWorkers(options.batch.jobs, pairs);
    return static_cast<unsigned>(
        wanted == 1 ? wanted
                    : jobsWithin(limit, memoryForFirst(options.frames), wanted, sayBesideBar));
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
    MemoryBudget memory(availableMemory());
    const auto makeWorker = [&]() -> ProcessPair {
        const auto rectifier = std::make_shared<PairRectifier>(rig);
        return [rectifier, &memory](const Frame& frame, PairFiles& files) {
            return rectify(frame, *rectifier, memory, files);
        };
    };
    const Parameters reading = describeReading(options.frames);
    const Provenance madeWith{"rectify", reading.empty() ? std::nullopt : std::optional(reading),
                              rig.hash, std::nullopt};
    BatchOptions batch = options.batch;
    batch.jobs = jobsWithinMemory(options, frames->count(), memory.limit());
    return runBatch(*frames, batch, inputs, madeWith, makeWorker);
}

}  // namespace tiomipra
