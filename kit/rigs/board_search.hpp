// The search for a board in many pairs of images.
#ifndef TIOMIPRA_RIGS_BOARD_SEARCH_HPP
#define TIOMIPRA_RIGS_BOARD_SEARCH_HPP

#include <cstddef>
#include <opencv2/core/types.hpp>
#include <string>
#include <utility>
#include <vector>

#include "files/frame_source.hpp"
#include "rigs/board_detection.hpp"

namespace tiomipra {

struct SkippedPair {
    PairNames names;
    std::string reason;
};

// What one pair shows.
struct SearchedPair {
    cv::Size imageSize;
    PairDetection detection;
    std::string largerBoard;     // the image whose board has more corners than it should, if any
    FileIdentities inputs = {};  // left to the caller, who reads the pair
};

// Looks for the board in both images, those of `frame`. From any thread.
SearchedPair searchPair(const Frame& frame, const StereoImages& images, const Board& board);

// Gathers what the pairs show, in the order in which they are added, then sorts them.
class BoardSearch {
  public:
    explicit BoardSearch(Board board) : _board(std::move(board)) {}

    void add(const Frame& frame, const SearchedPair& pair);

    // A pair that can't be read.
    void addFailure(const Frame& frame, const std::string& why);

    // To be called when all are added. The size that most pairs have, the first of these if there
    // are several, is the one that all must have.
    void sort();

    // Throws `InputError` that names the pairs left out and why, when there are too few to
    // calibrate with. `again`, the same frames once more, tells whether squares were counted for
    // corners.
    void requireEnoughPairs(FrameSource& again) const;

    // Keeps, of the pairs that show the board, at most `most` that differ: see `chooseViews`.
    // Throws `InputError` when they are too few to calibrate with.
    void keepDistinct(std::size_t most);

    const Board& board() const { return _board; }
    const cv::Size& imageSize() const { return _imageSize; }

    // The pairs that show the board in both images, and their files.
    const std::vector<PairDetection>& detections() const { return _detections; }
    const std::vector<PairNames>& names() const { return _names; }

    // Which of all added pairs, from 0, has the detection of this index.
    std::size_t frameOf(std::size_t detection) const { return _frames[detection]; }

    // The pairs that can't be used, without those that `keepDistinct` has left out.
    const std::vector<SkippedPair>& skipped() const { return _skipped; }

    // Those of `skipped` that can't be read or have another size.
    std::size_t failures() const { return _failures; }

    // Those that `keepDistinct` has left out.
    const std::vector<PairNames>& alike() const { return _alike; }

    // How many pairs were added.
    std::size_t pairs() const { return _added.size(); }

  private:
    struct AddedPair {
        PairNames names;
        SearchedPair searched;
        std::string failure;  // why it can't be read, if it can't
    };

    cv::Size commonSize() const;
    std::string whyFailed(const AddedPair& pair) const;
    std::string whyUnusable(const AddedPair& pair) const;
    std::string adviceOnBoard(FrameSource& again) const;

    Board _board;
    std::vector<AddedPair> _added;
    cv::Size _imageSize;
    std::vector<PairDetection> _detections;
    std::vector<PairNames> _names;
    std::vector<std::size_t> _frames;
    std::vector<SkippedPair> _skipped;
    std::size_t _failures = 0;
    std::vector<PairNames> _alike;
};

}  // namespace tiomipra

#endif
