// tiomipra disparity: disparity images.
#include "commands/commands.hpp"
#include "commands/matching_run.hpp"
#include "commands/value_images.hpp"

namespace tiomipra {

Ending runDisparity(const MatchingOptions& options) {
    return runMatching("disparity", options,
                       [&options](const std::string& name, const Match& match,
                                  const vision::Stereo&, const Provenance&, PairFiles& files) {
                           const ValueImage image{Quantity::disparity, match.disparity,
                                                  match.measured,      match.reasons,
                                                  match.confidence,    "pixels"};
                           return writeValues(name, image, options, files);
                       });
}

}  // namespace tiomipra
