#include "files/indexed_png.hpp"

#include <png.h>

#include <cstdint>
#include <stdexcept>

namespace tiomipra {

std::string encodeIndexedPng(const IndexedImage& image) {
    std::vector<std::uint8_t> palette;
    for (const cv::Vec3b& colour : image.colours)
        palette.insert(palette.end(), colour.val, colour.val + 3);
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(image.indices.cols);
    header.height = static_cast<png_uint_32>(image.indices.rows);
    header.format = PNG_FORMAT_BGR_COLORMAP;
    header.colormap_entries = static_cast<png_uint_32>(image.colours.size());
    std::string bytes;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(header);
    bytes.resize(size);
    if (png_image_write_to_memory(&header, bytes.data(), &size, 0, image.indices.data,
                                  static_cast<png_int_32>(image.indices.step), palette.data()) == 0)
        throw std::runtime_error(header.message);
    bytes.resize(size);
    return bytes;
}

}  // namespace tiomipra
