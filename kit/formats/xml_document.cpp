#include "formats/xml_document.hpp"

#include <nlohmann/json.hpp>
#include <opencv2/core/persistence.hpp>

#include "rigs/document_guard.hpp"

namespace tiomipra {
namespace {

using nlohmann::json;

// Deeper ones hold no calibration.
json toTree(const cv::FileNode& node, int levels) {
    if (node.isInt() || node.isReal())
        return static_cast<double>(node);
    if (node.isString())
        return node.string();
    json tree;
    if (levels == 0 || (!node.isSeq() && !node.isMap()))
        return tree;
    // By their count, as walking over a damaged one never meets its end.
    auto item = node.begin();
    for (std::size_t left = node.size(); left > 0; --left, ++item) {
        if (node.isMap())
            tree[(*item).name()] = toTree(*item, levels - 1);
        else
            tree.push_back(toTree(*item, levels - 1));
    }
    return tree;
}

}  // namespace

json readXml(const std::string& path) {
    constexpr int mostLevels = 10;
    return toTree(openDocument(path, "a calibration").root(), mostLevels);
}

}  // namespace tiomipra
