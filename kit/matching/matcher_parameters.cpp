#include "matching/matcher_parameters.hpp"

#include "base/text.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;
using Kind = ParameterDescription::Kind;
using UsedBy = ParameterDescription::UsedBy;
namespace names = parameter_names;

constexpr int lowest = ParameterValues::lowest;
constexpr int highest = ParameterValues::highest;

template <auto getter>
int get(const Stereo& stereo) {
    return static_cast<int>((stereo.*getter)());
}

template <auto setter>
void set(Stereo& stereo, int value) {
    (stereo.*setter)(value);
}

void setAlgorithm(Stereo& stereo, int value) {
    stereo.setStereoAlgorithm(static_cast<Stereo::StereoAlgorithm>(value));
}

void setFullDp(Stereo& stereo, int value) {
    stereo.setFullDP(value != 0);
}

const std::vector<MatcherParameter> parameters{
    {{names::algorithm,
      "Matcher",
      Kind::algorithm,
      UsedBy::both,
      {Stereo::BM, Stereo::SGBM, 1, "", "bm (block matching) or sgbm (semi-global)"}},
     get<&Stereo::getStereoAlgorithm>,
     setAlgorithm},
    {{names::windowSize,
      "Side of the compared block in pixels",
      Kind::number,
      UsedBy::both,
      {5, 255, 2}},
     get<&Stereo::getWindowSize>,
     set<&Stereo::setWindowSize>},
    {{names::minDisparity,
      "Smallest disparity searched in pixels",
      Kind::number,
      UsedBy::both,
      {lowest, highest, 1, "",
       "within minus and plus the width of the images, and the calibrated one; unless given, it "
       "follows from the calibrations and the maximum depth"}},
     get<&Stereo::getMinDisparity>,
     set<&Stereo::setMinDisparity>},
    {{names::disparityNumber,
      "How many are searched",
      Kind::number,
      UsedBy::both,
      {16, highest, 16}},
     get<&Stereo::getDisparityNumber>,
     set<&Stereo::setDisparityNumber>},
    {{names::preFilterCap,
      "Bound of the horizontal gradients compared",
      Kind::number,
      UsedBy::both,
      {1, 63}},
     get<&Stereo::getPreFilterCap>,
     set<&Stereo::setPreFilterCap>},
    {{names::preFilterSize,
      "Window of the pre-filter",
      Kind::number,
      UsedBy::blockMatching,
      {5, 255, 2}},
     get<&Stereo::getPreFilterSize>,
     set<&Stereo::setPreFilterSize>},
    {{names::textureThreshold,
      "Blocks with less texture, as the sum of their horizontal gradients, are not measured",
      Kind::number,
      UsedBy::both,
      {0, 10000}},
     get<&Stereo::getTextureThreshold>,
     set<&Stereo::setTextureThreshold>},
    {{names::uniquenessRatio,
      "Percent by which the best match must win",
      Kind::number,
      UsedBy::both,
      {0, 100}},
     get<&Stereo::getUniquenessRatio>,
     set<&Stereo::setUniquenessRatio>},
    {{names::speckleWindowSize,
      "Regions of at most this many pixels are removed",
      Kind::number,
      UsedBy::both,
      {0, 1000, 1, "off"}},
     get<&Stereo::getSpeckleWindowSize>,
     set<&Stereo::setSpeckleWindowSize>},
    {{names::speckleRange,
      "Step of disparity that ends such a region, in pixels (sgbm) or sixteenths of a pixel (bm)",
      Kind::number,
      UsedBy::both,
      {0, 31}},
     get<&Stereo::getSpeckleRange>,
     set<&Stereo::setSpeckleRange>},
    {{names::p1,
      "Cost of a disparity change by 1 between neighbours",
      Kind::number,
      UsedBy::semiGlobal,
      {0, highest}},
     get<&Stereo::getP1>,
     set<&Stereo::setP1>},
    {{names::p2, "Cost of a larger change", Kind::number, UsedBy::semiGlobal, {0, highest}},
     get<&Stereo::getP2>,
     set<&Stereo::setP2>},
    {{names::disp12MaxDiff,
      "Largest difference between left-right and right-left disparity",
      Kind::number,
      UsedBy::semiGlobal,
      {lowest, highest, 1, "", "any number, less than 1 counts as 1"}},
     get<&Stereo::getDisp12MaxDiff>,
     set<&Stereo::setDisp12MaxDiff>},
    {{names::fullDp,
      "Optimise over eight directions instead of five: slower",
      Kind::flag,
      UsedBy::semiGlobal,
      {0, 1}},
     get<&Stereo::getFullDP>,
     setFullDp},
};

std::string describe(UsedBy usedBy) {
    if (usedBy == UsedBy::both)
        return "";
    return fmt::format(", {} only",
                       nameOf(usedBy == UsedBy::blockMatching ? Stereo::BM : Stereo::SGBM));
}

}  // namespace

const std::vector<MatcherParameter>& matcherParameters() {
    return parameters;
}

std::string describeValues(const ParameterValues& values) {
    if (!values.rule.empty())
        return std::string(values.rule);
    if (values.maximum == highest)
        return values.step == 1 ? fmt::format("{} or more", values.minimum)
                                : fmt::format("a positive multiple of {}", values.step);
    return fmt::format("{}{}{} to {}", values.step == 2 ? "odd, " : "", values.minimum,
                       values.minimumMeans.empty() ? "" : fmt::format(" ({})", values.minimumMeans),
                       values.maximum);
}

std::string describe(const ParameterDescription& parameter) {
    const std::string start = fmt::format("{}{}", parameter.meaning, describe(parameter.usedBy));
    return parameter.kind == Kind::flag
               ? start
               : fmt::format("{}: {}", start, describeValues(parameter.values));
}

Parameter::Value valueIn(const Stereo& stereo, const MatcherParameter& parameter) {
    const int value = parameter.get(stereo);
    switch (parameter.kind) {
        case Kind::algorithm:
            return nameOf(static_cast<Stereo::StereoAlgorithm>(value));
        case Kind::flag:
            return value != 0;
        default:
            return value;
    }
}

std::string nameOf(Stereo::StereoAlgorithm algorithm) {
    return algorithm == Stereo::SGBM ? "sgbm" : "bm";
}

}  // namespace tiomipra
