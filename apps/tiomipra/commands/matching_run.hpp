// What the subcommands that match have in common: running frames through a matcher.
#ifndef TIOMIPRA_COMMANDS_MATCHING_RUN_HPP
#define TIOMIPRA_COMMANDS_MATCHING_RUN_HPP

#include <functional>
#include <string>

#include "base/provenance.hpp"
#include "ending.hpp"
#include "matching/pair_matcher.hpp"
#include "matching/pair_measurement.hpp"
#include "options/matching_options.hpp"
#include "runs/batch.hpp"

namespace tiomipra {

// Writes the `files` of the pair `name`, and says what was measured in it: what matching it gave,
// the object that matched it and what the results are made with, which holds the parameters as they
// were fitted to the size of the images. `runMatching` adds the camera, the unit and the matcher's
// parameters to the measurement.
using WriteMatch = std::function<PairMeasurement(const std::string& name, const Match& match,
                                                 const vision::Stereo& stereo,
                                                 const Provenance& madeWith, PairFiles& files)>;

// Runs subcommand `name`: matches all frames and hands the matches to `write`, from several threads
// at once. Messages about the parameters go to standard error.
Ending runMatching(const std::string& name, const MatchingOptions& options,
                   const WriteMatch& write);

}  // namespace tiomipra

#endif
