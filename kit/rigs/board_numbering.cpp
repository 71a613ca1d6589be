// Which point of a board is the first, where the board itself does not say.
#include "rigs/board_numbering.hpp"

namespace tiomipra {
namespace {

using Points = std::vector<cv::Point2f>;

// From another corner or in another direction; eight of these exist for a square grid.
struct Numbering {
    bool fromRight;
    bool fromBottom;
    bool byColumns;
};

std::vector<Numbering> numberings(const cv::Size& grid) {
    std::vector<Numbering> result;
    for (const bool byColumns : {false, true}) {
        if (byColumns && grid.width != grid.height)
            break;
        for (const bool fromBottom : {false, true}) {
            for (const bool fromRight : {false, true})
                result.push_back({fromRight, fromBottom, byColumns});
        }
    }
    return result;
}

Points renumbered(const Points& points, const Numbering& numbering, const cv::Size& grid) {
    Points result;
    for (int y = 0; y < grid.height; ++y) {
        for (int x = 0; x < grid.width; ++x) {
            const int u = numbering.fromRight ? grid.width - 1 - x : x;
            const int v = numbering.fromBottom ? grid.height - 1 - y : y;
            result.push_back(points[numbering.byColumns ? u * grid.width + v : v * grid.width + u]);
        }
    }
    return result;
}

// Sum of squared distances between two sets of points about their common centre.
double dissimilarity(const Points& first, const Points& second) {
    const cv::Scalar shift = cv::mean(first) - cv::mean(second);
    double sum = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        const double dx = first[i].x - second[i].x - shift[0];
        const double dy = first[i].y - second[i].y - shift[1];
        sum += dx * dx + dy * dy;
    }
    return sum;
}

}  // namespace

void alignNumbering(Detection& detection, const Detection& reference, const Board& board) {
    if (!looksSameAfterHalfTurn(board) || detection.empty() || reference.empty())
        return;
    Points best = detection.points;
    for (const Numbering& numbering : numberings(board.corners)) {
        Points candidate = renumbered(detection.points, numbering, board.corners);
        if (dissimilarity(candidate, reference.points) < dissimilarity(best, reference.points))
            best = std::move(candidate);
    }
    detection.points = std::move(best);
}

}  // namespace tiomipra
