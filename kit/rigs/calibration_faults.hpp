// Whether the library can work with a pair of calibrations.
#ifndef TIOMIPRA_RIGS_CALIBRATION_FAULTS_HPP
#define TIOMIPRA_RIGS_CALIBRATION_FAULTS_HPP

#include <string>
#include <vector>
#include <vision/calibration.hpp>

namespace tiomipra {

// Something that is wrong with a pair of calibrations.
struct Fault {
    std::string problem;  // the item, its value and the rule that it breaks
    std::string remedy;   // what to do about it
    bool isSwap = false;  // left and right are exchanged, and nothing else is wrong
};

// Everything that keeps the library from working with the pair; empty if it is usable.
std::vector<Fault> findFaults(const vision::Calibration& left, const vision::Calibration& right);

// Those among them that matter for images that are rectified already: what rectifying would show is
// not looked at.
std::vector<Fault> findFaultsOfRectified(const vision::Calibration& left,
                                         const vision::Calibration& right);

}  // namespace tiomipra

#endif
