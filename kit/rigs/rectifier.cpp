#include "rigs/rectifier.hpp"

#include <limits>

namespace tiomipra {

std::unique_ptr<vision::Stereo> makeRectifier(const vision::Calibration& left,
                                              const vision::Calibration& right) {
    auto stereo = std::make_unique<vision::Stereo>();
    stereo->setMaxDepth(std::numeric_limits<float>::infinity());
    stereo->setCalibrations(left, right);
    return stereo;
}

}  // namespace tiomipra
