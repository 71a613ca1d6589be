#include "rigs/board_search.hpp"

#include "base/errors.hpp"
#include "base/text.hpp"
#include "rigs/board_numbering.hpp"
#include "rigs/rig_calibration.hpp"

namespace tiomipra {

SearchedPair searchPair(const Frame& frame, const Board& board) {
    const StereoImages images = frame.read();
    SearchedPair pair;
    pair.imageSize = images.left.size();
    const cv::Mat left = toGrey(images.left);
    const cv::Mat right = toGrey(images.right);
    pair.detection = {detectBoard(left, board), detectBoard(right, board)};
    if (isPartOfLargerBoard(left, pair.detection.left, board))
        pair.largerBoard = frame.leftFile;
    else if (isPartOfLargerBoard(right, pair.detection.right, board))
        pair.largerBoard = frame.rightFile;
    alignNumbering(pair.detection.right, pair.detection.left, board);
    return pair;
}

void BoardSearch::add(const Frame& frame, const SearchedPair& pair) {
    if (_firstFile.empty()) {
        _firstFile = frame.leftFile;
        _imageSize = pair.imageSize;
    }
    if (pair.imageSize != _imageSize) {
        addFailure(frame, sizesDiffer(frame.leftFile, pair.imageSize, _firstFile, _imageSize));
        return;
    }
    const PairNames names{frame.leftFile, frame.rightFile};
    const std::string reason = whyUnusable(frame, pair);
    if (!reason.empty()) {
        _skipped.push_back({names, reason});
        return;
    }
    _frames.push_back(pairs());
    _detections.push_back(pair.detection);
    _names.push_back(names);
}

void BoardSearch::addFailure(const Frame& frame, const std::string& why) {
    ++_failures;
    _skipped.push_back({{frame.leftFile, frame.rightFile}, why});
}

// Empty if the pair can be used.
std::string BoardSearch::whyUnusable(const Frame& frame, const SearchedPair& pair) const {
    const PairDetection& detection = pair.detection;
    if (detection.left.empty() && detection.right.empty())
        return "no board in either image";
    if (detection.left.empty())
        return "no board in " + frame.leftFile;
    if (detection.right.empty())
        return "no board in " + frame.rightFile;
    if (!pair.largerBoard.empty())
        return fmt::format("the board in {} has more than {} corners; all of them must be counted",
                           pair.largerBoard, describe(_board.corners));
    const SharedPoints shared = sharedPoints(detection.left, detection.right);
    if (!determinePose(shared.ids, _board))
        return fmt::format("the images share only {} corners, too few or all on one line",
                           shared.ids.size());
    return "";
}

void BoardSearch::requireEnoughPairs() const {
    if (_detections.size() >= minimumPairs)
        return;
    std::string message = fmt::format("only {} of {} pairs can be used, at least {} are needed",
                                      _detections.size(), pairs(), minimumPairs);
    const std::size_t withoutBoard = _skipped.size() - _failures;
    if (withoutBoard > _failures)
        message += fmt::format("; does the board have {} points and this pattern?",
                               describe(_board.corners));
    for (const auto& [names, reason] : _skipped)
        message += fmt::format("\n  {}  {}: {}", names.left, names.right, reason);
    throw InputError(message);
}

}  // namespace tiomipra
