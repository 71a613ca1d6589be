// The whole-number parameters of the matchers: what each means, and which values it takes.
#ifndef TIOMIPRA_MATCHING_MATCHER_PARAMETERS_HPP
#define TIOMIPRA_MATCHING_MATCHER_PARAMETERS_HPP

#include <limits>
#include <string>
#include <string_view>
#include <vector>
#include <vision/stereo.hpp>

#include "base/provenance.hpp"

namespace tiomipra {

// The values that a parameter takes: `minimum`, `minimum` + `step` and so on up to `maximum`.
struct ParameterValues {
    static constexpr int lowest = std::numeric_limits<int>::min();   // no bound below
    static constexpr int highest = std::numeric_limits<int>::max();  // no bound above

    int minimum = 0;
    int maximum = 1;
    int step = 1;
    std::string_view minimumMeans = {};  // as in "off"; empty if nothing special
    std::string_view rule = {};          // what the numbers don't say; it stands in their place
};

// What people need to know of a setting that is a whole number.
struct ParameterDescription {
    enum class Kind {
        algorithm,  // a name, see `nameOf`
        flag,       // off or on
        number
    };
    enum class UsedBy { both, blockMatching, semiGlobal };

    std::string_view name;     // as in "window-size"
    std::string_view meaning;  // the start of a sentence
    Kind kind;
    UsedBy usedBy;
    ParameterValues values;
};

struct MatcherParameter : ParameterDescription {
    int (*get)(const vision::Stereo&) = nullptr;
    void (*set)(vision::Stereo&,
                int) = nullptr;  // throws std::range_error for a value it does not take
};

// All of them in the order in which they are described.
const std::vector<MatcherParameter>& matcherParameters();

// What it means, which matcher uses it and what values it takes: "Cost of a larger change, sgbm
// only: 0 or more".
std::string describe(const ParameterDescription& parameter);

// The values alone: "0 or more".
std::string describeValues(const ParameterValues& values);

// Its value in `stereo`: the name of the algorithm, true or false, or the number.
Parameter::Value valueIn(const vision::Stereo& stereo, const MatcherParameter& parameter);

// "bm" and "sgbm".
std::string nameOf(vision::Stereo::StereoAlgorithm algorithm);

namespace parameter_names {

constexpr auto algorithm = "algorithm";
constexpr auto windowSize = "window-size";
constexpr auto minDisparity = "min-disparity";
constexpr auto disparityNumber = "disparity-number";
constexpr auto preFilterCap = "pre-filter-cap";
constexpr auto preFilterSize = "pre-filter-size";
constexpr auto textureThreshold = "texture-threshold";
constexpr auto uniquenessRatio = "uniqueness-ratio";
constexpr auto speckleWindowSize = "speckle-window-size";
constexpr auto speckleRange = "speckle-range";
constexpr auto p1 = "p1";
constexpr auto p2 = "p2";
constexpr auto disp12MaxDiff = "disp12-max-diff";
constexpr auto fullDp = "full-dp";

// Of the steps around it.
constexpr auto matchLight = "match-light";
constexpr auto equalise = "equalise";
constexpr auto fullWidth = "full-width";
constexpr auto threeWay = "three-way";
constexpr auto quickRight = "quick-right";
constexpr auto leftRightCheck = "left-right-check";
constexpr auto refit = "refit";
constexpr auto edgeFilter = "edge-filter";
constexpr auto minConfidence = "min-confidence";
constexpr auto fillGaps = "fill-gaps";
constexpr auto median = "median";

// Not of the matcher, but of the same settings.
constexpr auto maxDepth = "max-depth";
constexpr auto range = "range";
constexpr auto scale = "scale";

}  // namespace parameter_names

}  // namespace tiomipra

#endif
