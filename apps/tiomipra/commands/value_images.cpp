#include "commands/value_images.hpp"

#include "base/text.hpp"
#include "files/disparity_files.hpp"
#include "files/image_files.hpp"
#include "files/output_files.hpp"
#include "reports/pictures.hpp"
#include "reports/reasons_picture.hpp"

namespace tiomipra {
namespace {

PngContent addPng(PairFiles& files, const std::string& suffix, const ValueImage& image) {
    const FixedPointImage png = toFixedPoint(image.values, image.measured, image.pngStep);
    files.addImage(suffix, png.pixels);
    return {image.pngStep, png.outOfRange};
}

cv::Mat drawPicture(const std::string& name, const ValueImage& image, const Statistics& statistics,
                    const std::optional<Interval>& colours) {
    const bool isDepth = image.quantity == Quantity::depth;
    const std::string title = titleOf(nameOf(image.quantity), name, image.unit);
    ColourScale scale = chooseScale(title + (isDepth ? ", warm is near" : ""), statistics, colours);
    scale.warmIsLow = isDepth;
    return drawColourPicture(image.values, image.measured, scale);
}

}  // namespace

PairMeasurement writeValues(const std::string& name, const ValueImage& image,
                            const MatchingOptions& options, PairFiles& files) {
    const std::string suffix = "_" + nameOf(image.quantity);
    PairMeasurement measurement = measure(image.quantity, image.values, image.reasons);
    for (const std::string format : {"tiff", "pfm", "npy"}) {
        const std::string ending = fmt::format("{}.{}", suffix, format);
        if (wants(options, format))
            files.add(ending, encodeFloats(ending, image.values, image.measured));
    }
    if (wants(options, "png"))
        measurement.png = addPng(files, suffix + ".png", image);
    if (wants(options, "confidence"))
        files.addImage(suffix + "_confidence.png", image.confidence);
    if (wants(options, "reasons"))
        files.add(suffix + "_reasons.png", encodeIndexedPng(drawReasons(image.reasons)));
    if (wants(options, "picture"))
        files.addImage(suffix + "_picture.png",
                       drawPicture(name, image, measurement.statistics, options.colours));
    return measurement;
}

}  // namespace tiomipra
