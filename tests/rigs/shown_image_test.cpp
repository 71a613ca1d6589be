// What rectification shows of an image, by closed forms; that no lens there is gets refused.
#include "rigs/shown_image.hpp"

#include <gmock/gmock.h>

#include <cmath>

#include "rigs/calibration_faults.hpp"
#include "support/rigs.hpp"
#include "support/synthetic_views.hpp"

namespace tiomipra::test {
namespace {

// Of 640x480 pixels with a focal length of 500, the principal point in the middle.
vision::Calibration lensWith(float k1, float zoom) {
    RigOptions options;
    options.leftCentre = {319.5F, 239.5F};
    options.isDistorted = false;
    vision::Calibration camera = makeRig(options).left;
    camera.distortion.at<float>(0) = k1;
    camera.projectionMatrix.colRange(0, 2) *= zoom;
    return camera;
}

TEST(ShownImage, SharesAreThoseOfClosedForms) {
    const struct {
        float k1, zoom;
        double ofRaw, ofRectified;
    } cases[] = {{0, 1, 1, 1}, {0, 2, 0.25, 1}, {0, 0.5, 1, 0.25}};
    for (const auto& [k1, zoom, ofRaw, ofRectified] : cases) {
        const ShownImage shown = measureShown(lensWith(k1, zoom));
        EXPECT_NEAR(shown.ofRaw, ofRaw, 0.04) << zoom;
        EXPECT_NEAR(shown.ofRectified, ofRectified, 0.04) << zoom;
        EXPECT_NEAR(shown.ofRawUndistorted, ofRaw, 0.04) << zoom;
    }
    // A radius r gets r + k1 r^3, and an area (1 + k1 r^2) (1 + 3 k1 r^2) times as large. It folds
    // where that is 0, and counts up to where it is 4.
    for (const auto& [k1, square] : {std::pair(-3.F, 1. / 9), {30.F, (std::sqrt(13.) - 2) / 90}}) {
        const ShownImage shown = measureShown(lensWith(k1, 1));
        const auto disc = [](double radius) { return CV_PI * std::pow(500 * radius, 2) / 307200; };
        const double radius = std::sqrt(square);
        EXPECT_NEAR(shown.ofRectified, disc(radius), 0.05 * disc(radius)) << k1;
        const double bent = radius * (1 + k1 * square);
        EXPECT_NEAR(shown.ofRaw, disc(bent), 0.05 * disc(bent)) << k1;
        EXPECT_NEAR(shown.ofRawUndistorted, 1, 0.01);
    }
}

// The last three fold: outside of the image, and within its corners.
TEST(FindFaults, HasNothingAgainstWideLenses) {
    const std::pair<double, std::vector<double>> lenses[] = {
        {366, {-0.31, 0.07, 0.0005, -0.0003, 0}},
        {330, {0.7108, 0.0618, 0, 0, -0.0007, 1.044, 0.21, 0.0017}},
        {320, {-0.33, 0.08, 0, 0, 0}},
        {600, {-0.3728, 0.2037, 0.0022, 0.0014, -0.0723}},
        {534, {0.296, -1.035, 0, 0, 0}}};
    for (const auto& [focal, coefficients] : lenses) {
        for (const double toe : {-0.2, 0., 0.2}) {
            RigModel model = makeModel();
            for (CameraModel* camera : {&model.left, &model.right}) {
                camera->cameraMatrix(0, 0) = camera->cameraMatrix(1, 1) = focal;
                camera->lens.coefficients = coefficients;
            }
            model.rightFromLeftRotation = turnBy({0.01, toe, 0.02});
            model.rightFromLeftTranslation *= 1000;
            for (const double alpha : {-1., 0., 0.5, 1.}) {
                const RectifiedRig rig = rectify(model, alpha);
                EXPECT_TRUE(findFaults(rig.left, rig.right).empty()) << focal << toe << alpha;
            }
        }
    }
}

}  // namespace
}  // namespace tiomipra::test
