#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vision::Stereo;

constexpr double tiny = std::numeric_limits<float>::denorm_min();
constexpr double smallest = std::numeric_limits<int>::min();

// A parameter of any type as a number.
struct Parameter {
    const char* name;
    std::function<double(const Stereo&)> get;
    std::function<void(Stereo&, double)> set;
    double defaultValue;
    std::vector<double> accepted;
    std::vector<double> refused;
    const char* logText;  // where "{}" stands for the value
    const char* exceptionText;
};

#define TIOMIPRA_PARAMETER(name, type) \
#name, [](const Stereo& s) { return static_cast<double>(s.get##name()); }, \
        [](Stereo& s, double value) { s.set##name(static_cast<type>(value)); }

// clang-format off
const std::vector<Parameter> parameters = {
    {TIOMIPRA_PARAMETER(MaxDepth, float), 5, {tiny, 2.5, infinity, std::nan("")},
     {0., -0., -tiny, -infinity}, "Distance must be positive.", "Invalid distance."},
    {TIOMIPRA_PARAMETER(WindowSize, int), 21, {5, 7, 253, 255}, {3, 4, 6, 254, 256, 257, -5},
     "Invalid window size ({}).", "Invalid window size."},
    {TIOMIPRA_PARAMETER(MinDisparity, int), 1, {-640, 0, 640}, {-641, 641, smallest},
     "Invalid min disparity ({}).", "Invalid min disparity."},
    {TIOMIPRA_PARAMETER(DisparityNumber, int), 80, {16, 32, 1600}, {0, 8, 20, 81, -16},
     "Invalid disparity number ({}), must be multiple of 16 and strictly positive.",
     "Invalid disparity number."},
    {TIOMIPRA_PARAMETER(PreFilterCap, int), 45, {1, 63}, {0, 64, -1},
     "Invalid Prefilter cap ({}).", "Invalid prefilter cap."},
    {TIOMIPRA_PARAMETER(PreFilterSize, int), 25, {5, 7, 253, 255}, {3, 4, 6, 254, 256, 257, -5},
     "Invalid Prefilter size ({}).", "Invalid prefilter size."},
    {TIOMIPRA_PARAMETER(SpeckleRange, int), 10, {0, 31}, {-1, 32},
     "Invalid Speckle range ({}).", "Invalid speckle range."},
    {TIOMIPRA_PARAMETER(SpeckleWindowSize, int), 400, {0, 1000}, {-1, 1001},
     "Invalid Speckle window size ({}).", "Invalid speckle window size."},
    {TIOMIPRA_PARAMETER(TextureThreshold, int), 1, {0, 10000}, {-1, 10001},
     "Invalid Texture threshold ({}).", "Invalid texture threshold."},
    {TIOMIPRA_PARAMETER(UniquenessRatio, int), 2, {0, 100}, {-1, 101},
     "Invalid Uniqueness ratio ({}).", "Invalid uniqueness ratio."},
    {TIOMIPRA_PARAMETER(P1, int), 3528, {0, 2147483647}, {-1, smallest},
     "Invalid value for P1 ({}).", "Invalid P1."},
    {TIOMIPRA_PARAMETER(P2, int), 14112, {0, 2147483647}, {-1, smallest},
     "Invalid value for P2 ({}).", "Invalid P2."},
    {TIOMIPRA_PARAMETER(StereoAlgorithm, Stereo::StereoAlgorithm), 0, {0, 1, 7}, {}, "", ""},
    {TIOMIPRA_PARAMETER(Disp12MaxDiff, int), 0, {-5, 7}, {}, "", ""},
    {TIOMIPRA_PARAMETER(FullDP, bool), 0, {0, 1}, {}, "", ""}};
// clang-format on

#undef TIOMIPRA_PARAMETER

static_assert(Stereo::BM == 0 && Stereo::SGBM == 1 && Stereo::LEFT == 0 && Stereo::RIGHT == 1);

std::vector<double> readAll(const Stereo& stereo) {
    std::vector<double> values;
    for (const Parameter& parameter : parameters)
        values.push_back(parameter.get(stereo));
    return values;
}

class Parameters : public testing::Test {
  protected:
    Parameters() : _stereo(makeRig()) {
        _stereo.setMinDisparity(1);
        _stereo._findOrComputeTransform({40, 30}, "");
        _log.takeLines();
    }

    OpenStereo _stereo;  // calibrated to a width of 640, with a transform in the cache
    LogCapture _log;
};

TEST_F(Parameters, SettersStoreWhatTheyAcceptAndNothingElse) {
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const Parameter& parameter = parameters[i];
        EXPECT_EQ(parameter.get(Stereo()), parameter.defaultValue) << parameter.name;
        for (const double value : parameter.accepted) {
            std::vector<double> expected = readAll(Stereo());
            expected[i] = value;
            parameter.set(_stereo, value);
            EXPECT_THAT(readAll(_stereo),
                        testing::Pointwise(testing::NanSensitiveDoubleEq(), expected))
                << parameter.name << value;
        }
        parameter.set(_stereo, parameter.defaultValue);
        EXPECT_THAT(_log.takeLines(), IsEmpty());
        for (const double value : parameter.refused) {
            EXPECT_THAT([&] { parameter.set(_stereo, value); },
                        Refuses<std::range_error>(parameter.exceptionText));
            std::string line = std::string("error vision.stereo set") + parameter.name + ": ";
            line += parameter.logText;
            if (const auto place = line.find("{}"); place != std::string::npos)
                line.replace(place, 2, std::to_string(static_cast<int>(value)));
            EXPECT_THAT(_log.takeLines(), ElementsAre(line));
            EXPECT_EQ(readAll(_stereo), readAll(Stereo()));
        }
    }
    EXPECT_EQ(_stereo._transforms.size(), 1U);
}

// The maximum depth and the algorithm are no parameters of the matchers.
TEST_F(Parameters, ResetRestoresTheMatchersParametersOnly) {
    for (const Parameter& parameter : parameters)
        parameter.set(_stereo, parameter.accepted[1]);
    std::vector<double> expected = readAll(Stereo());
    expected[0] = 2.5;
    expected[12] = Stereo::SGBM;
    _stereo.resetAllParameters();
    EXPECT_EQ(readAll(_stereo), expected);
    EXPECT_EQ(_stereo._transforms.size(), 1U);
}

}  // namespace
}  // namespace tiomipra::test
