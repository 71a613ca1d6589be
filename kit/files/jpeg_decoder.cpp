#include "files/jpeg_decoder.hpp"

// clang-format off: jpeglib.h needs what these declare, jerror.h what jpeglib.h does
#include <jerror.h>
#include <jpeglib.h>

#include <cstddef>
#include <cstdio>
// clang-format on

#include <array>
#include <csetjmp>
#include <new>

namespace tiomipra {
namespace {

// What libjpeg has said, and where to go when it gives up.
struct Complaints {
    std::jmp_buf givenUp{};
    std::array<char, JMSG_LENGTH_MAX> first{};
    bool isMemory = false;
};

Complaints& complaintsOf(j_common_ptr jpeg) {
    return *static_cast<Complaints*>(jpeg->client_data);
}

void keep(j_common_ptr jpeg) {
    Complaints& complaints = complaintsOf(jpeg);
    if (complaints.first[0] == '\0')
        jpeg->err->format_message(jpeg, complaints.first.data());
}

[[noreturn]] void giveUp(j_common_ptr jpeg) {
    keep(jpeg);
    complaintsOf(jpeg).isMemory = jpeg->err->msg_code == JERR_OUT_OF_MEMORY;
    std::longjmp(complaintsOf(jpeg).givenUp, 1);  // NOLINT(cert-err52-cpp): libjpeg is in C
}

// Cameras fill bytes between the segments of the header; hardware fills words of up to 64 bits
// within the pixels. More than that is left over when a part of the pixels is damaged.
bool isPadding(j_common_ptr jpeg) {
    constexpr int most = 7;
    const auto* const decompress = reinterpret_cast<j_decompress_ptr>(jpeg);
    return decompress->input_scan_number == 0 || jpeg->err->msg_parm.i[0] <= most;
}

// Nothing of this changes a pixel: an unknown version or transformation in the header, and
// parameters that only progressive files need.
bool isHarmless(j_common_ptr jpeg) {
    switch (jpeg->err->msg_code) {
        case JWRN_EXTRANEOUS_DATA:
            return isPadding(jpeg);
        case JWRN_ADOBE_XFORM:
        case JWRN_JFIF_MAJOR:
        case JWRN_NOT_SEQUENTIAL:
            return true;
        default:
            return false;
    }
}

void hear(j_common_ptr jpeg, int level) {
    if (level < 0 && !isHarmless(jpeg))
        keep(jpeg);
}

// Progressive files have about ten scans. Each of a million would take a few bytes, and go through
// all pixels.
void limitScans(j_common_ptr jpeg) {
    constexpr int most = 100;
    if (reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > most) {
        Complaints& complaints = complaintsOf(jpeg);
        std::snprintf(complaints.first.data(), complaints.first.size(), "more than %d scans", most);
        std::longjmp(complaints.givenUp, 1);  // NOLINT(cert-err52-cpp)
    }
}

class JpegDecoder {
  public:
    explicit JpegDecoder(const std::string& file) {
        _jpeg.err = jpeg_std_error(&_errors);
        _errors.error_exit = giveUp;
        _errors.emit_message = hear;
        _jpeg.client_data = &_complaints;
        _progress.progress_monitor = limitScans;
        _hasHeader = attempt([&] {
            jpeg_create_decompress(&_jpeg);
            _jpeg.progress = &_progress;
            jpeg_mem_src(&_jpeg, reinterpret_cast<const unsigned char*>(file.data()), file.size());
            jpeg_read_header(&_jpeg, TRUE);
        });
    }
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;
    ~JpegDecoder() { jpeg_destroy_decompress(&_jpeg); }

    cv::Size2l size() const {
        return _hasHeader ? cv::Size2l(_jpeg.image_width, _jpeg.image_height) : cv::Size2l();
    }

    DecodedImage decode() {
        DecodedImage image;
        if (_hasHeader && _jpeg.num_components == 4) {
            image.complaint = "it has four colours (CMYK), must be grey or have three";
            return image;
        }
        if (_hasHeader) {
            image.pixels.create(cv::Size(size()), isGrey() ? CV_8UC1 : CV_8UC3);
            if (!attempt([&] { readInto(image.pixels); }))
                image.pixels.release();
        }
        if (_complaints.isMemory)
            throw std::bad_alloc();
        image.complaint = _complaints.first.data();
        return image;
    }

  private:
    // False if libjpeg gives up. It leaves `step` by a jump, so that nothing that has a destructor
    // may live in there.
    template <typename Step>
    bool attempt(const Step& step) {
        if (setjmp(_complaints.givenUp) != 0)  // NOLINT(cert-err52-cpp): libjpeg is in C
            return false;
        step();
        return true;
    }

    bool isGrey() const { return _jpeg.num_components == 1; }

    void readInto(cv::Mat& image) {
        _jpeg.out_color_space = isGrey() ? JCS_GRAYSCALE : JCS_EXT_BGR;
        jpeg_start_decompress(&_jpeg);
        while (_jpeg.output_scanline < _jpeg.output_height) {
            JSAMPROW row = image.ptr(static_cast<int>(_jpeg.output_scanline));
            jpeg_read_scanlines(&_jpeg, &row, 1);
        }
        jpeg_finish_decompress(&_jpeg);
    }

    Complaints _complaints;
    jpeg_error_mgr _errors{};
    jpeg_progress_mgr _progress{};
    jpeg_decompress_struct _jpeg{};
    bool _hasHeader = false;
};

}  // namespace

cv::Size2l sizeOfJpeg(const std::string& file) {
    return JpegDecoder(file).size();
}

DecodedImage decodeJpeg(const std::string& file) {
    return JpegDecoder(file).decode();
}

}  // namespace tiomipra
