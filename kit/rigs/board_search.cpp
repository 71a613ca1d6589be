#include "rigs/board_search.hpp"

#include <algorithm>
#include <map>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/image_files.hpp"
#include "rigs/board_numbering.hpp"
#include "rigs/rig_calibration.hpp"
#include "rigs/view_selection.hpp"

namespace tiomipra {
namespace {

// Those with these indices, which ascend.
template <typename Items>
void keep(Items& items, const std::vector<std::size_t>& indices) {
    for (std::size_t i = 0; i < indices.size(); ++i)
        items[i] = items[indices[i]];
    items.resize(indices.size());
}

bool showsBoard(const Frame& frame, const Board& board) {
    try {
        const cv::Mat image = toGrey(frame.read().left);
        const Detection detection = detectBoard(image, board);
        return !detection.empty() && !isPartOfLargerBoard(image, detection, board);
    } catch (const InputError&) {
        return false;
    }
}

// Whether one of the first images shows a chessboard that has as many squares as `board` has
// corners.
bool areSquaresCounted(FrameSource& frames, Board board) {
    constexpr int most = 5;
    board.corners -= cv::Size(1, 1);
    if (board.pattern != Pattern::chessboard ||
        std::min(board.corners.width, board.corners.height) < 3)
        return false;
    for (int i = 0; i < most; ++i) {
        const auto frame = frames.next();
        if (!frame)
            break;
        if (showsBoard(*frame, board))
            return true;
    }
    return false;
}

}  // namespace

SearchedPair searchPair(const Frame& frame, const StereoImages& images, const Board& board) {
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
    _added.push_back({{frame.leftFile, frame.rightFile, pair.inputs}, pair, ""});
}

void BoardSearch::addFailure(const Frame& frame, const std::string& why) {
    _added.push_back({{frame.leftFile, frame.rightFile}, {}, why});
}

void BoardSearch::sort() {
    _imageSize = commonSize();
    for (std::size_t i = 0; i < _added.size(); ++i) {
        const AddedPair& pair = _added[i];
        const std::string failure = whyFailed(pair);
        const std::string reason = failure.empty() ? whyUnusable(pair) : failure;
        _failures += failure.empty() ? 0 : 1;
        if (!reason.empty()) {
            _skipped.push_back({pair.names, reason});
            continue;
        }
        _frames.push_back(i);
        _detections.push_back(pair.searched.detection);
        _names.push_back(pair.names);
    }
}

// Empty if no pair could be read.
cv::Size BoardSearch::commonSize() const {
    std::map<std::pair<int, int>, std::size_t> counts;
    const auto countOf = [&](const AddedPair& pair) -> std::size_t& {
        return counts[{pair.searched.imageSize.width, pair.searched.imageSize.height}];
    };
    for (const AddedPair& pair : _added)
        countOf(pair) += pair.failure.empty() ? 1 : 0;
    const auto common =
        std::max_element(_added.begin(), _added.end(),
                         [&](const auto& a, const auto& b) { return countOf(a) < countOf(b); });
    return common == _added.end() ? cv::Size() : common->searched.imageSize;
}

// Empty if it has not.
std::string BoardSearch::whyFailed(const AddedPair& pair) const {
    const cv::Size& size = pair.searched.imageSize;
    if (!pair.failure.empty() || size == _imageSize)
        return pair.failure;
    return fmt::format("{} is {}, the pairs used are {}", quote(pair.names.left), describe(size),
                       describe(_imageSize));
}

// Empty if the pair can be used.
std::string BoardSearch::whyUnusable(const AddedPair& pair) const {
    const PairDetection& detection = pair.searched.detection;
    if (detection.left.empty() && detection.right.empty())
        return "no board in either image";
    if (detection.left.empty())
        return "no board in " + printable(pair.names.left);
    if (detection.right.empty())
        return "no board in " + printable(pair.names.right);
    const std::string& largerBoard = pair.searched.largerBoard;
    if (!largerBoard.empty())
        return fmt::format("the board in {} has more than {} corners; all of them must be counted",
                           printable(largerBoard), describe(_board.corners));
    const SharedPoints shared = sharedPoints(detection.left, detection.right);
    if (!determinePose(shared.ids, _board))
        return fmt::format("the images share only {} corners, too few or all on one line",
                           shared.ids.size());
    return "";
}

void BoardSearch::requireEnoughPairs(FrameSource& again) const {
    if (_detections.size() >= minimumPairs)
        return;
    std::string message = fmt::format("only {} of {} pairs can be used, at least {} are needed",
                                      _detections.size(), pairs(), minimumPairs);
    const std::size_t withoutBoard = _skipped.size() - _failures;
    if (withoutBoard > _failures)
        message += adviceOnBoard(again);
    for (const auto& [names, reason] : _skipped)
        message +=
            fmt::format("\n  {}  {}: {}", printable(names.left), printable(names.right), reason);
    throw InputError(message);
}

std::string BoardSearch::adviceOnBoard(FrameSource& again) const {
    if (!areSquaresCounted(again, _board))
        return fmt::format("; does the board have {} points and this pattern?",
                           describe(_board.corners));
    return fmt::format(
        "; the board has {} squares, which are {} corners where four squares meet: "
        "these must be counted",
        describe(_board.corners), describe(_board.corners - cv::Size(1, 1)));
}

void BoardSearch::keepDistinct(std::size_t most) {
    const auto chosen = chooseViews(_detections, _board, _imageSize, most);
    if (chosen.size() < minimumPairs)
        throw InputError(
            fmt::format("of {} pairs that show the board only {} differ, at least {} are needed; "
                        "show it in other places and tilted in other directions",
                        _detections.size(), chosen.size(), minimumPairs));
    for (std::size_t i = 0; i < _names.size(); ++i) {
        if (!std::binary_search(chosen.begin(), chosen.end(), i))
            _alike.push_back(_names[i]);
    }
    keep(_detections, chosen);
    keep(_names, chosen);
    keep(_frames, chosen);
}

}  // namespace tiomipra
