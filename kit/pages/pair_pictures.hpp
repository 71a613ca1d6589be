// The pictures of pairs that pages show, small enough to be many.
#ifndef TIOMIPRA_PAGES_PAIR_PICTURES_HPP
#define TIOMIPRA_PAGES_PAIR_PICTURES_HPP

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "files/frame_source.hpp"
#include "pages/page.hpp"
#include "reports/calibration_report.hpp"

namespace tiomipra {

// A JPEG file, at most `largestWidth` pixels wide. From any thread.
std::string encodeThumbnail(const cv::Mat& image, int largestWidth = 640);

// JPEG files; empty ones where there are none.
struct PairPictures {
    std::string left;
    std::string right;
    std::string whyMissing;  // in words; empty if nothing is
};

PairPictures makePictures(const StereoImages& images, int largestWidth = 640);

// The same, larger: the rows of a rectified pair are to be compared.
PairPictures makeRectifiedPictures(const StereoImages& rectified);

struct CalibrationPictures {
    std::vector<PairPictures> views;  // those of the report, in its order
    PairPictures rectified;           // of the view that it names
};

// The same from the files that `report` names, as far as they are still what they were and have at
// most `maxPixels` each. Throws `nlohmann::json::exception` unless it is the report of a
// calibration.
CalibrationPictures readPictures(const nlohmann::ordered_json& report, const RectifiedRig& rig,
                                 std::size_t maxPixels);

// Adds "NAME-left" and "NAME-right" to a page, if there are pictures.
void addPictures(Page& page, const std::string& name, const PairPictures& pictures);

}  // namespace tiomipra

#endif
