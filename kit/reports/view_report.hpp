// The geometry that a calibration was made of, as JSON: boards, where they stood, how they were
// seen.
#ifndef TIOMIPRA_REPORTS_VIEW_REPORT_HPP
#define TIOMIPRA_REPORTS_VIEW_REPORT_HPP

#include <nlohmann/json_fwd.hpp>
#include <opencv2/core/matx.hpp>

#include "rigs/board.hpp"
#include "rigs/camera_projection.hpp"
#include "rigs/reprojection.hpp"

namespace tiomipra {

nlohmann::ordered_json matrixToJson(const cv::Matx33d& matrix);
nlohmann::ordered_json vectorToJson(const cv::Vec3d& vector);

// {"pattern": ..., "corners": [9, 6], "square": ..., "points": [[x, y], ...]}
nlohmann::ordered_json toJson(const Board& board);

// {"turn": [x, y, z], "shift": [x, y, z]}
nlohmann::ordered_json toJson(const Pose& pose);

// {"leftPoints": {...}, "rightPoints": {...}}, each {"error": ..., "ids": [...],
// "found": [[x, y], ...], "reprojected": [[x, y], ...]}, to a thousandth of a pixel.
nlohmann::ordered_json toJson(const ReprojectedView& view);

}  // namespace tiomipra

#endif
