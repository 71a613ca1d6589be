#include "samples.hpp"

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <sstream>
#include <stdexcept>

#include "files/disparity_files.hpp"
#include "files/output_files.hpp"
#include "support/rigs.hpp"
#include "support/synthetic_views.hpp"

namespace tiomipra::fuzz {
namespace {

namespace fs = std::filesystem;

const cv::Size frame(64, 48);

cv::Mat makeTexture(int type) {
    cv::Mat texture(frame, CV_8UC3);
    cv::RNG(7).fill(texture, cv::RNG::UNIFORM, 0, 256);
    cv::GaussianBlur(texture, texture, {}, 1);
    if (CV_MAT_CN(type) == 1)
        cv::cvtColor(texture, texture, cv::COLOR_BGR2GRAY);
    texture.convertTo(texture, type, CV_MAT_DEPTH(type) == CV_16U ? 257 : 1);
    return texture;
}

struct ImageFile {
    std::string name;
    int type;
    std::vector<int> encoding;
};

const ImageFile imageFiles[] = {
    {"image.png", CV_8UC3, {}},
    {"grey16.png", CV_16UC1, {}},
    {"image.jpg", CV_8UC3, {}},
    {"progressive.jpg", CV_8UC1, {cv::IMWRITE_JPEG_PROGRESSIVE, 1}},
    {"plain.tiff", CV_8UC3, {cv::IMWRITE_TIFF_COMPRESSION, 1}},
    {"lzw16.tiff", CV_16UC3, {cv::IMWRITE_TIFF_COMPRESSION, 5}},
    {"deflate.tiff", CV_8UC1, {cv::IMWRITE_TIFF_COMPRESSION, 8}},
    {"float.tiff", CV_32FC1, {}},
    {"image.bmp", CV_8UC3, {}},
    {"image.ppm", CV_8UC3, {}},
    {"image.pgm", CV_16UC1, {}},
    {"image.pbm", CV_8UC1, {}},
    {"image.pfm", CV_32FC3, {}},
    {"image.webp", CV_8UC3, {}},
};

const char* const rectifyFolders =
    "rectify --resume --calibration rig --left left.png --right right.png --output done";
const char* const matchFolders =
    "disparity --resume --rectified --disparity-number 16 --left left.png --right right.png "
    "--output done";

Call wordsOf(const std::string& text, const std::string& file) {
    std::istringstream stream(text);
    Call words;
    for (std::string word; stream >> word;)
        words.push_back(word == "FILE" ? file : word);
    return words;
}

void addSamples(std::vector<Sample>& samples, const std::vector<std::string>& files,
                const std::vector<std::string>& calls) {
    for (const std::string& file : files) {
        samples.push_back({file, {}});
        for (const std::string& call : calls)
            samples.back().calls.push_back(wordsOf(call, file));
    }
}

void writeImages() {
    for (const auto& [file, type, encoding] : imageFiles)
        cv::imwrite(file, makeTexture(type), encoding);
    cv::imwrite("left.png", makeTexture(CV_8UC3));
    cv::imwrite("right.png", makeTexture(CV_8UC1));
    cv::imwrite("mask.png", makeTexture(CV_8UC1) > 100);
}

void writeDisparities() {
    const cv::Mat values = makeTexture(CV_32FC1) / 8;
    const cv::Mat measured = values > 8;
    for (const char* file : {"truth.pfm", "disparity.pfm", "disparity.tiff", "disparity.npy"})
        writeFile(file, encodeFloats(file, values, measured));
    cv::imwrite("disparity.png", toFixedPoint(values, measured, 1. / 256).pixels);
}

void writeVideo(const std::string& file, int fourcc) {
    cv::VideoWriter video(file, fourcc, 10, frame);
    for (int i = 0; i < 3; ++i)
        video.write(makeTexture(CV_8UC3));
}

void writeVideos() {
    for (const char* file : {"clip.avi", "other.avi"})
        writeVideo(file, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'));
    for (const char* file : {"clip.mp4", "clip.mkv"})
        writeVideo(file, cv::VideoWriter::fourcc('m', 'p', '4', 'v'));
}

void writeCalibrations() {
    const test::CalibrationPair rig = test::makeRig({frame, 50.F, {32.F, 24.F}, 32.F});
    for (const char* file : {"rig/left.yml", "rig/left.xml", "rig/left.json"})
        rig.left.save(file);
    rig.right.save("rig/right.yml");
}

void writeBoards() {
    const Board board{Pattern::chessboard, {5, 4}, 0.025, 0, "", "m"};
    const auto views =
        test::renderBoard(test::makePinholeModel({240, 180}, 220), board, 5, {0.45, 0.2, 2.5});
    for (std::size_t i = 0; i < views.size(); ++i) {
        cv::imwrite("board/l" + std::to_string(i) + ".png", views[i].left);
        cv::imwrite("board/r" + std::to_string(i) + ".png", views[i].right);
    }
}

// Redo is an answer, too.
void requireRun(int (*run)(const Call& call), const std::string& text) {
    if (run(wordsOf(text, "")) > 1)
        throw std::runtime_error("fails on whole files: " + text);
}

// As other programs have them.
void writeForeignRigs(int (*run)(const Call& call)) {
    fs::create_directory("exported");
    for (const std::string format : {"json", "opencv"})
        requireRun(run, "export --calibration calibrated --format " + format +
                            " --output exported/rig." + format);
    requireRun(run,
               "export --calibration calibrated --format ros --output exported/left.yaml "
               "exported/right.yaml");
    const std::string chainCamera =
        "  camera_model: pinhole\n  distortion_coeffs: [0.01, 0, 0, 0]\n"
        "  distortion_model: equidistant\n  intrinsics: [90, 90, 120, 90]\n"
        "  resolution: [240, 180]\n";
    writeFile("exported/rig.kalibr", "cam0:\n" + chainCamera + "cam1:\n" + chainCamera +
                                         "  T_cn_cnm1:\n  - [1, 0, 0, -0.1]\n  - [0, 1, 0, 0]\n"
                                         "  - [0, 0, 1, 0]\n  - [0, 0, 0, 1]\n");
    writeFile("exported/middlebury.txt",
              "cam0=[99.5 0 31.5; 0 99.5 23.5; 0 0 1]\ncam1=[99.5 0 32.5; 0 99.5 23.5; 0 0 1]\n"
              "doffs=1\nbaseline=100\nwidth=240\nheight=180\n");
    writeFile(
        "exported/kitti.txt",
        "P0: 99.5 0 119.5 0 0 99.5 89.5 0 0 0 1 0\nP1: 99.5 0 119.5 -9.95 0 99.5 89.5 0 0 0 1 "
        "0\n");
    const std::string camera =
        "_CAM_HD]\nfx=700\nfy=700\ncx=640\ncy=360\nk1=-0.1\nk2=0\np1=0\np2=0\n";
    writeFile("exported/zed.conf",
              "[STEREO]\nBaseline=120\nCV_HD=0.01\n[LEFT" + camera + "[RIGHT" + camera);
    writeFile(
        "exported/rig.xml",
        "<?xml version=\"1.0\"?>\n<opencv_storage><size>240 180</size><K1>99 0 119 0 99 89 0 0 "
        "1</K1><D1>0 0 0 0</D1><K2>99 0 119 0 99 89 0 0 1</K2><D2>0 0 0 0</D2><R>0 0 "
        "0</R><T>-0.1 0 0</T></opencv_storage>\n");
}

}  // namespace

std::vector<Sample> allSamples() {
    const std::string asRight = "--left left.png --right FILE --output out";
    const std::string pair = "--left left.png --right right.png ";
    const std::string cameras = "--right-calibration rig/right.yml --left-calibration FILE ";
    const std::string boards = "--left board/l*.png --right board/r*.png ";
    std::vector<Sample> samples;
    for (const ImageFile& image : imageFiles)
        addSamples(
            samples, {image.name},
            {"rectify --calibration rig --left FILE --right right.png --output out",
             "depth --calibration rig --range 1..10 --formats ply,tiff,png,view " + asRight,
             "disparity --rectified --disparity-number 16 --left FILE --right FILE --output out",
             "check --calibration rig --left left.png --right FILE",
             "calibrate --corners 4x3 --square 1 --output out --right left.png --left FILE",
             "evaluate --ground-truth-scale 4 --ground-truth truth.pfm --disparity FILE"});
    addSamples(samples, {"disparity.pfm", "disparity.tiff", "disparity.npy", "disparity.png"},
               {"evaluate --json --ground-truth truth.pfm --disparity FILE",
                "evaluate --mask mask.png --max-bad2 5 --disparity truth.pfm --ground-truth FILE"});
    addSamples(samples, {"clip.avi", "clip.mp4", "clip.mkv"},
               {"rectify --calibration rig --right other.avi --output out --left FILE",
                "disparity --rectified --disparity-number 16 --side-by-side FILE --output out"});
    addSamples(samples, {"rig/left.yml", "rig/left.xml", "rig/left.json"},
               {"inspect --json " + cameras, "rectify --output out " + pair + cameras,
                "depth --range auto --output out " + pair + cameras, "check " + pair + cameras,
                "calibrate --corners 5x4 --square 1 --output out " + boards +
                    "--fix-intrinsics rig/right.yml FILE"});
    // What calibrating left beside the calibrations.
    addSamples(samples, {"calibrated/report.json"},
               {"inspect --calibration calibrated", "report --calibration calibrated",
                "depth --calibration calibrated --max-depth 20 --formats ply-text,html "
                "--left board/l0.png --right board/r0.png --output out",
                "calibrate --corners 5x4 --square 1 --output calibrated " + boards});
    addSamples(samples, {"calibrated/rig.yml"},
               {"export --calibration calibrated --format json --output exported/again.json",
                "import FILE --alpha 1 --output out"});
    addSamples(
        samples,
        {"exported/rig.json", "exported/rig.opencv", "exported/rig.kalibr", "exported/left.yaml",
         "exported/middlebury.txt", "exported/kitti.txt", "exported/zed.conf", "exported/rig.xml"},
        {"import FILE --size 240x180 --output out", "import FILE --unit mm --swap --output out",
         "import FILE exported/right.yaml --output out"});
    addSamples(samples, {"done/left_rectify.json"}, {rectifyFolders});
    addSamples(samples, {"done/left_disparity.json"}, {matchFolders});
    addSamples(samples, {"parameters.toml"},
               {"disparity --rectified --output out --parameters FILE " + pair});
    addSamples(samples, {"pattern"},
               {"rectify --calibration rig --right right.png --output out --left @pattern",
                "evaluate --ground-truth truth.pfm --disparity @pattern"});
    return samples;
}

void writeSamples(int (*run)(const Call& call)) {
    for (const char* folder : {"rig", "board"})
        fs::create_directory(folder);
    writeImages();
    writeDisparities();
    writeVideos();
    writeCalibrations();
    writeBoards();
    writeFile("pattern", "rig/../[kl]e*%02d/left?.png");
    requireRun(run,
               "calibrate --corners 5x4 --square 25mm --left board/l*.png --right board/r*.png "
               "--output calibrated");
    writeForeignRigs(run);
    requireRun(run, rectifyFolders);
    requireRun(run,
               std::string(matchFolders) + " --preset balanced --save-parameters parameters.toml");
    for (const Sample& sample : allSamples()) {
        if (!fs::is_regular_file(sample.file))
            throw std::runtime_error("there is no sample " + sample.file);
    }
}

}  // namespace tiomipra::fuzz
