// Rectifying images with two calibrations, and nothing else.
#ifndef TIOMIPRA_RIGS_RECTIFIER_HPP
#define TIOMIPRA_RIGS_RECTIFIER_HPP

#include <memory>
#include <vision/calibration.hpp>
#include <vision/stereo.hpp>

namespace tiomipra {

// A stereo object with these calibrations and an infinite maximum depth: depth plays no part, in
// whatever unit the calibrations are. Throws what the library throws for calibrations that it can't
// use.
std::unique_ptr<vision::Stereo> makeRectifier(const vision::Calibration& left,
                                              const vision::Calibration& right);

}  // namespace tiomipra

#endif
