#include "pages/check_page.hpp"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "pages/pair_pictures.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

// As precise as a picture shows it.
double rounded(double pixels) {
    return std::round(pixels * 100) / 100;
}

// More than can be told apart would only take time: then evenly chosen ones.
Json placesToJson(const std::vector<PlacedRow>& rows) {
    constexpr std::size_t most = 3000;
    const std::size_t count = std::min(rows.size(), most);
    Json places = Json::array();
    for (std::size_t i = 0; i < count; ++i) {
        const auto& [place, difference, pair] = rows[i * rows.size() / count];
        places.push_back({rounded(place.x), rounded(place.y), rounded(difference), pair});
    }
    return places;
}

}  // namespace

std::string makeCheckPage(Json report, const std::vector<PlacedRow>& rows, const cv::Mat& image) {
    Page page{"Check of a calibrated rig",
              "check_page.html",
              {"provenance.js", "pairs.js", "check_page.js"},
              false,
              {},
              {}};
    page.data = std::move(report);
    page.data["imageSize"] = {image.cols, image.rows};
    page.data["places"] = placesToJson(rows);
    if (!image.empty())
        page.blocks.push_back({"left", "image/jpeg", encodeThumbnail(image)});
    return composePage(page);
}

}  // namespace tiomipra
