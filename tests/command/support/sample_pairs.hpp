// A calibrated rig and pairs of images for it, as files.
#ifndef TIOMIPRA_TESTS_SAMPLE_PAIRS_HPP
#define TIOMIPRA_TESTS_SAMPLE_PAIRS_HPP

#include <string>

#include "support/rigs.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {

// rig/left.yml and rig/right.yml, left/1.png ... and right/1.png ..., all of random content.
struct SamplePairs {
    explicit SamplePairs(int count, const RigOptions& options = {{160, 120}});

    std::string operator/(const std::string& name) const { return folder.path(name); }

    // All pairs and --output out.
    Arguments images() const;

    // `command`, the rig, all pairs, --output out, and `more`.
    Arguments arguments(const std::string& command, const Arguments& more = {}) const;

    ScratchFolder folder;
    CalibrationPair rig;
};

// Writes left.yml and right.yml to the folder `path`.
void saveRig(const std::string& path, const CalibrationPair& rig);

}  // namespace tiomipra::test

#endif
