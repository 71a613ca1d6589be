// Which views of a board are chosen.
#include "rigs/view_selection.hpp"

#include <gmock/gmock.h>

#include "support/synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;

const Board flatBoard{Pattern::chessboard, {9, 6}, 0.02};

// Its centre at (x, 0, distance) in the left camera's frame, turned by that rotation vector.
PairDetection seeAt(double x, double distance, const cv::Vec3d& turn = {}) {
    PointScene scene;
    for (const cv::Point3f& point : boardPoints(flatBoard))
        scene.emplace_back(turnBy(turn) * cv::Vec3d(point.x - 0.08, point.y - 0.05, 0) +
                           cv::Vec3d(x, 0, distance));
    PairDetection view = seeBoard(makeModel(), flatBoard, 1).front();
    const Matches seen = see(makeModel(), scene);
    view.left.points = seen.left;
    view.right.points = seen.right;
    return view;
}

std::vector<std::size_t> choose(const std::vector<PairDetection>& views, std::size_t most) {
    return chooseViews(views, flatBoard, {640, 480}, most);
}

// A board that is carried from left to right, with a stop; among that it is nearer, tilted to two
// sides about an axis, and turned in its plane.
TEST(ChooseViews, SpreadsOverPlacesDistancesAndTilts) {
    std::vector<PairDetection> views;
    for (int i = 0; i < 100; ++i)
        views.push_back(seeAt(-0.1 + 0.002 * i, 0.6));
    views[10] = seeAt(0, 0.6, {0, 0.7, 0});
    views[20] = seeAt(0, 0.6, {0, -0.7, 0});
    views[30] = seeAt(0, 0.3);
    views[40] = seeAt(-0.1 + 0.08, 0.6, {0, 0, 0.5});
    EXPECT_THAT(choose(views, 5), ElementsAre(0, 10, 20, 30, 99));
    const auto many = choose(views, 80);
    EXPECT_LT(many.size(), 30U) << "one step is 0.2 % of the diagonal";
    EXPECT_GT(many.size(), 8U);
    EXPECT_THAT(many, testing::Not(testing::Contains(40U))) << "turned in its plane alone";
}

TEST(ChooseViews, KeepsAllThatDifferAndNoneTwice) {
    const std::vector<PairDetection> views = seeBoard(makeModel(), flatBoard, 15);
    EXPECT_EQ(choose(views, 15).size(), 15U);
    std::vector<PairDetection> doubled = seeBoard(makeModel(), flatBoard, 3, 0.1);
    doubled.insert(doubled.end(), views.begin(), views.begin() + 4);
    std::vector<std::size_t> places;
    for (const std::size_t i : choose(doubled, 15))
        places.push_back(i < 3 ? i : i - 3);
    EXPECT_THAT(places, testing::UnorderedElementsAre(0, 1, 2, 3));
    EXPECT_THAT(choose({}, 15), ElementsAre());
}

}  // namespace
}  // namespace tiomipra::test
