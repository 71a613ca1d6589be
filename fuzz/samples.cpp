#include "samples.hpp"

#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <sstream>
#include <stdexcept>

#include "files/disparity_files.hpp"
#include "files/output_files.hpp"
#include "support/rendered_boards.hpp"
#include "support/rigs.hpp"

namespace tiomipra::fuzz {
namespace {

namespace fs = std::filesystem;

const cv::Size frame(64, 48);
constexpr int boards = 5;

cv::Mat makeTexture(int type) {
    cv::Mat texture(frame, CV_8UC3);
    cv::RNG(7).fill(texture, cv::RNG::UNIFORM, 0, 256);
    cv::GaussianBlur(texture, texture, {}, 1);
    if (CV_MAT_CN(type) == 1)
        cv::cvtColor(texture, texture, cv::COLOR_BGR2GRAY);
    texture.convertTo(texture, type, CV_MAT_DEPTH(type) == CV_16U ? 257 : 1);
    return texture;
}

struct ImageKind {
    const char* file;
    int type;
    std::vector<int> encoding;
};

const std::vector<ImageKind>& imageKinds() {
    static const std::vector<ImageKind> kinds = {
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
    return kinds;
}

std::string folderOf(const std::string& file) {
    return fs::path(file).parent_path().string();
}

Sample imageSample(const std::string& file) {
    return {
        file,
        {wordsOf("rectify --calibration rig --left " + file + " --right right.png --output out"),
         wordsOf("depth --calibration rig --range 1..10 --left left.png --right " + file +
                 " --formats ply,tiff,png,view --output out"),
         wordsOf("disparity --rectified --disparity-number 16 --left " + file + " --right " + file +
                 " --output out"),
         wordsOf("check --calibration rig --left left.png --right " + file),
         wordsOf("calibrate --corners 4x3 --square 1 --output out --right left.png --left " + file),
         wordsOf("evaluate --ground-truth-scale 4 --ground-truth truth.pfm --disparity " + file)}};
}

Sample disparitySample(const std::string& file) {
    return {file,
            {wordsOf("evaluate --json --ground-truth truth.pfm --disparity " + file),
             wordsOf("evaluate --mask mask.png --max-bad2 5 --disparity truth.pfm --ground-truth " +
                     file)}};
}

Sample videoSample(const std::string& file) {
    return {file,
            {wordsOf("rectify --calibration rig --right other.avi --output out --left " + file),
             wordsOf("disparity --rectified --disparity-number 16 --side-by-side " + file +
                     " --output out")}};
}

Sample calibrationSample(const std::string& file) {
    const std::string calibrations =
        " --right-calibration rig/right.yml --left-calibration " + file;
    return {file,
            {wordsOf("inspect --json" + calibrations),
             wordsOf("rectify --left left.png --right right.png --output out" + calibrations),
             wordsOf("depth --left left.png --right right.png --range auto --output out" +
                     calibrations),
             wordsOf("check --left left.png --right right.png" + calibrations),
             wordsOf("calibrate --corners 5x4 --square 1 --left board/l*.png --right board/r*.png "
                     "--output out --fix-intrinsics rig/right.yml " +
                     file)}};
}

// What calibrating left beside the calibrations.
Sample reportSample(const std::string& file) {
    const std::string rig = " --calibration " + folderOf(file);
    return {file,
            {wordsOf("inspect" + rig),
             wordsOf("depth --left board/l0.png --right board/r0.png --max-depth 20 --formats "
                     "ply-text,picture --output out" +
                     rig),
             wordsOf("calibrate --corners 5x4 --square 1 --left board/l*.png --right board/r*.png "
                     "--output " +
                     folderOf(file))}};
}

void writeImages() {
    for (const auto& [file, type, encoding] : imageKinds()) {
        if (!cv::imwrite(file, makeTexture(type), encoding))
            throw std::runtime_error(std::string("can't make ") + file);
    }
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
    Board board;
    board.corners = {5, 4};
    const auto views = test::renderViews(board, {{240, 180}, 220}, boards);
    for (std::size_t i = 0; i < views.size(); ++i) {
        cv::imwrite("board/l" + std::to_string(i) + ".png", views[i].left);
        cv::imwrite("board/r" + std::to_string(i) + ".png", views[i].right);
    }
}

// Redo is an answer, too.
void requireRun(int (*run)(const Call& call), const std::string& text) {
    if (run(wordsOf(text)) > 1)
        throw std::runtime_error("fails on whole files: " + text);
}

const std::string rectifyFolders =
    "rectify --resume --calibration rig --left left.png --right right.png --output done";
const std::string matchFolders =
    "disparity --resume --rectified --disparity-number 16 --left left.png --right right.png "
    "--output done";

}  // namespace

Call wordsOf(const std::string& text) {
    std::istringstream stream(text);
    Call words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

std::vector<Sample> allSamples() {
    std::vector<Sample> samples;
    for (const ImageKind& kind : imageKinds())
        samples.push_back(imageSample(kind.file));
    for (const char* file : {"disparity.pfm", "disparity.tiff", "disparity.npy", "disparity.png"})
        samples.push_back(disparitySample(file));
    for (const char* file : {"clip.avi", "clip.mp4", "clip.mkv"})
        samples.push_back(videoSample(file));
    for (const char* file : {"rig/left.yml", "rig/left.xml", "rig/left.json"})
        samples.push_back(calibrationSample(file));
    samples.push_back(reportSample("calibrated/report.json"));
    samples.push_back({"calibrated/rig.yml", {{"model", "calibrated/rig.yml"}}});
    samples.push_back({"done/left_rectify.json", {wordsOf(rectifyFolders)}});
    samples.push_back({"done/left_disparity.json", {wordsOf(matchFolders)}});
    samples.push_back({"parameters.toml",
                       {wordsOf("disparity --rectified --left left.png --right right.png --output "
                                "out --parameters parameters.toml")}});
    samples.push_back({"pattern",
                       {wordsOf("rectify --calibration rig --right right.png --output out --left "
                                "@pattern"),
                        wordsOf("evaluate --ground-truth truth.pfm --disparity @pattern")}});
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
    requireRun(run, rectifyFolders);
    requireRun(run, matchFolders + " --preset balanced --save-parameters parameters.toml");
    for (const Sample& sample : allSamples()) {
        if (!fs::is_regular_file(sample.file))
            throw std::runtime_error("there is no sample " + sample.file);
    }
}

}  // namespace tiomipra::fuzz
