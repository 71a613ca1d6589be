#include "commands/value_images.hpp"

#include "base/text.hpp"
#include "files/disparity_files.hpp"
#include "files/image_files.hpp"
#include "reports/pictures.hpp"

namespace tiomipra {
namespace {

PngContent writePng(const std::string& path, const ValueImage& image) {
    const FixedPointImage png = toFixedPoint(image.values, image.measured, image.pngStep);
    writeImage(path, png.pixels);
    return {image.pngStep, png.outOfRange};
}

void writePicture(const std::string& path, const std::string& name, const ValueImage& image,
                  const Statistics& statistics, const std::optional<Interval>& colours) {
    const bool isDepth = image.quantity == Quantity::depth;
    const std::string title = titleOf(nameOf(image.quantity), name, image.unit);
    ColourScale scale = chooseScale(title + (isDepth ? ", warm is near" : ""), statistics, colours);
    scale.warmIsLow = isDepth;
    writeImage(path, drawColourPicture(image.values, image.measured, scale));
}

}  // namespace

PairMeasurement writeValues(const std::string& name, const ValueImage& image,
                            const MatchingOptions& options, PairFiles& files) {
    const std::string suffix = "_" + nameOf(image.quantity);
    PairMeasurement measurement = measure(image.quantity, image.values, image.measured);
    for (const std::string format : {"tiff", "pfm", "npy"}) {
        if (wants(options, format))
            writeFloats(files.add(fmt::format("{}.{}", suffix, format)), image.values,
                        image.measured);
    }
    if (wants(options, "png"))
        measurement.png = writePng(files.add(suffix + ".png"), image);
    if (wants(options, "picture"))
        writePicture(files.add(suffix + "_picture.png"), name, image, measurement.statistics,
                     options.colours);
    return measurement;
}

}  // namespace tiomipra
