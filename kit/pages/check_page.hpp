// Whether a rig is still calibrated, to look at.
#ifndef TIOMIPRA_PAGES_CHECK_PAGE_HPP
#define TIOMIPRA_PAGES_CHECK_PAGE_HPP

#include <nlohmann/json_fwd.hpp>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "rigs/rig_check.hpp"

namespace tiomipra {

// The bytes of an HTML file. `report` is what a check tells as JSON. `rows` are shown over `image`,
// the left one of a pair; there is none without a look at the images.
std::string makeCheckPage(nlohmann::ordered_json report, const std::vector<PlacedRow>& rows,
                          const cv::Mat& image);

}  // namespace tiomipra

#endif
