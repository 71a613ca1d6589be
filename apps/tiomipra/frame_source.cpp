#include "frame_source.hpp"

#include <glob.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <set>
#include <string_view>
#include <utility>

#include "input_files.hpp"
#include "progress.hpp"
#include "status.hpp"
#include "text.hpp"
#include "video_files.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;

constexpr std::array imageExtensions = {".bmp", ".jpeg", ".jpg", ".pbm", ".pfm",  ".pgm",
                                        ".png", ".pnm",  ".ppm", ".tif", ".tiff", ".webp"};
constexpr std::array videoExtensions = {".avi", ".m2ts", ".m4v", ".mkv", ".mov", ".mp4",
                                        ".mpg", ".mts",  ".ogv", ".ts",  ".webm"};

template <typename Extensions>
bool hasExtension(const std::string& path, const Extensions& extensions) {
    return std::find(extensions.begin(), extensions.end(), extensionOf(path)) != extensions.end();
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// By name, numbers by value: left2 before left10.
void sortNaturally(Paths& paths) {
    std::sort(paths.begin(), paths.end(), [](const std::string& a, const std::string& b) {
        return strverscmp(a.c_str(), b.c_str()) < 0;
    });
}

// The files in `folder` whose name is `wanted`, sorted.
Paths filesIn(const fs::path& folder, const std::function<bool(const std::string&)>& wanted) {
    Paths paths;
    std::error_code error;
    const fs::path start = folder.empty() ? "." : folder;
    for (fs::directory_iterator entry(start, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (wanted(name) && !fs::is_directory(entry->path()))
            paths.push_back((folder / name).string());
    }
    if (error)
        throw InputError("can't read the folder " + quote(start.string()) + ": " + error.message());
    sortNaturally(paths);
    return paths;
}

// A printf-style pattern for numbered files, "left%02d.png".
struct NumberPattern {
    std::string before;
    std::string after;
    std::size_t width = 0;

    bool matches(std::string_view name) const {
        if (name.size() < before.size() + after.size() + std::max<std::size_t>(width, 1) ||
            !startsWith(name, before) || !endsWith(name, after))
            return false;
        const auto number = name.substr(before.size(), name.size() - before.size() - after.size());
        return std::all_of(number.begin(), number.end(),
                           [](unsigned char letter) { return std::isdigit(letter) != 0; });
    }
};

std::optional<NumberPattern> parseNumberPattern(const std::string& name) {
    const auto percent = name.find('%');
    const auto letter = name.find_first_not_of("0123456789", percent + 1);
    if (percent == std::string::npos || letter == std::string::npos || name[letter] != 'd')
        return std::nullopt;
    const std::string width = name.substr(percent + 1, letter - percent - 1);
    if (width.size() > 2)
        return std::nullopt;
    return NumberPattern{name.substr(0, percent), name.substr(letter + 1),
                         width.empty() ? 0 : std::stoul(width)};
}

Paths expandGlob(const std::string& pattern) {
    glob_t found{};
    Paths paths;
    if (glob(pattern.c_str(), GLOB_NOSORT, nullptr, &found) == 0)
        paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    globfree(&found);
    paths.erase(std::remove_if(paths.begin(), paths.end(),
                               [](const std::string& path) { return fs::is_directory(path); }),
                paths.end());
    sortNaturally(paths);
    return paths;
}

Paths expand(const std::string& argument) {
    if (fs::is_directory(argument))
        return filesIn(argument,
                       [](const std::string& name) { return hasExtension(name, imageExtensions); });
    if (fs::exists(argument))
        return {argument};
    const fs::path path(argument);
    if (const auto pattern = parseNumberPattern(path.filename().string()))
        return filesIn(path.parent_path(),
                       [&](const std::string& name) { return pattern->matches(name); });
    if (argument.find_first_of("*?[") != std::string::npos)
        return expandGlob(argument);
    return {argument};  // is missed when it is read, so that the others are worked on
}

// One image of a sequence, not read yet.
struct Picture {
    std::string name;
    std::string title;  // as in "left01.png" or "clip.avi, frame 12"
    std::string file;
    std::function<cv::Mat()> read;
};

class Sequence {
  public:
    Sequence() = default;
    Sequence(const Sequence&) = delete;
    Sequence& operator=(const Sequence&) = delete;
    virtual ~Sequence() = default;

    virtual std::size_t count() const = 0;  // 0: unknown
    virtual Paths files() const = 0;
    virtual std::optional<Picture> next() = 0;
};

// The names without folder and extension; numbered when that leaves two the same.
std::vector<std::string> nameEach(const Paths& paths) {
    std::vector<std::string> names;
    names.reserve(paths.size());
    for (const std::string& path : paths)
        names.push_back(fs::path(path).stem().string());
    if (std::set<std::string>(names.begin(), names.end()).size() == names.size())
        return names;
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] += "_" + std::to_string(i + 1);
    return names;
}

class ImageFiles : public Sequence {
  public:
    ImageFiles(Paths paths, Pixels pixels)
        : _paths(std::move(paths)), _names(nameEach(_paths)), _pixels(pixels) {}

    std::size_t count() const override { return _paths.size(); }

    Paths files() const override { return _paths; }

    std::optional<Picture> next() override {
        if (_next == _paths.size())
            return std::nullopt;
        const std::string& path = _paths[_next];
        const std::string& name = _names[_next++];
        return Picture{name, path, path,
                       [path, pixels = _pixels] { return readImage(path, pixels); }};
    }

  private:
    Paths _paths;
    std::vector<std::string> _names;
    Pixels _pixels;
    std::size_t _next = 0;
};

// Frames are decoded by `next`, as a video only reads forward.
class VideoFrames : public Sequence {
  public:
    explicit VideoFrames(const std::string& path) : _path(path), _video(openVideo(path)) {}

    std::size_t count() const override { return _video->frameCount(); }

    Paths files() const override { return {_path}; }

    std::optional<Picture> next() override {
        cv::Mat image = _video->read();
        if (image.empty()) {
            warnIfCutOff();
            return std::nullopt;
        }
        const std::string number = std::to_string(_next++);
        const std::string padding(number.size() < 6 ? 6 - number.size() : 0, '0');
        return Picture{fs::path(_path).stem().string() + "_" + padding + number,
                       _path + ", frame " + number, _path, [image] { return image; }};
    }

  private:
    // Once, however often it is asked for more.
    void warnIfCutOff() {
        if (!std::exchange(_hasEnded, true) && _next < count())
            sayBesideBar(quote(_path) + " promises " + std::to_string(count()) + " frames, " +
                         std::to_string(_next) + " could be read");
    }

    std::string _path;
    std::unique_ptr<Video> _video;
    std::size_t _next = 0;
    bool _hasEnded = false;
};

void requireAlike(const StereoImages& images, const Frame& frame) {
    const auto& [left, right] = images;
    if (left.size() != right.size())
        throw InputError(sizesDiffer(frame.leftFile, left.size(), frame.rightFile, right.size()));
}

// Two sequences, one for each camera.
class PairedFrames : public FrameSource {
  public:
    PairedFrames(std::unique_ptr<Sequence> left, std::unique_ptr<Sequence> right)
        : _left(std::move(left)), _right(std::move(right)) {}

    std::size_t count() const override { return std::max(_left->count(), _right->count()); }

    Paths files() const override {
        Paths all = _left->files();
        const Paths more = _right->files();
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    std::optional<Frame> next() override {
        if (_hasEnded)
            return std::nullopt;
        const auto left = _left->next();
        const auto right = _right->next();
        _hasEnded = !left || !right;
        if (!left && !right)
            return std::nullopt;
        if (_hasEnded)
            return withoutPartner(left ? *left : *right);
        return pair(*left, *right);
    }

  private:
    static Frame pair(const Picture& left, const Picture& right) {
        Frame frame{left.name, left.title, right.title, {left.file, right.file}, {}};
        frame.read = [frame, readLeft = left.read, readRight = right.read] {
            StereoImages images{readLeft(), readRight()};
            requireAlike(images, frame);
            return images;
        };
        return frame;
    }

    // Only videos are found to be of different length as late as this.
    static Frame withoutPartner(const Picture& picture) {
        return {picture.name, picture.title, "", {picture.file}, [picture]() -> StereoImages {
                    throw InputError(quote(picture.title) +
                                     " has no partner: the other side has ended");
                }};
    }

    std::unique_ptr<Sequence> _left;
    std::unique_ptr<Sequence> _right;
    bool _hasEnded = false;
};

// One sequence whose images hold the left camera's image in their left half.
class SplitFrames : public FrameSource {
  public:
    explicit SplitFrames(std::unique_ptr<Sequence> both) : _both(std::move(both)) {}

    std::size_t count() const override { return _both->count(); }

    Paths files() const override { return _both->files(); }

    std::optional<Frame> next() override {
        const auto both = _both->next();
        if (!both)
            return std::nullopt;
        return Frame{both->name, both->title, both->title, {both->file}, [both = *both] {
                         return split(both.read(), both.title);
                     }};
    }

  private:
    static StereoImages split(const cv::Mat& image, const std::string& file) {
        if (image.cols % 2 != 0)
            throw InputError(quote(file) + " is " + sizeText(image.size()) +
                             "; the width of a side-by-side image must be even");
        const int half = image.cols / 2;
        return {image.colRange(0, half).clone(), image.colRange(half, image.cols).clone()};
    }

    std::unique_ptr<Sequence> _both;
};

bool isVideo(const std::vector<std::string>& arguments) {
    return arguments.size() == 1 && hasExtension(arguments.front(), videoExtensions);
}

std::unique_ptr<Sequence> openSequence(const std::vector<std::string>& arguments, Pixels pixels) {
    if (isVideo(arguments))
        return std::make_unique<VideoFrames>(arguments.front());
    return std::make_unique<ImageFiles>(resolveImages(arguments), pixels);
}

// The last number in a file's name without leading zeros: by it people tell who belongs together.
std::string numberIn(const std::string& path) {
    constexpr auto digits = "0123456789";
    const std::string name = fs::path(path).stem().string();
    const auto last = name.find_last_of(digits);
    if (last == std::string::npos)
        return "";
    const auto before = name.find_last_not_of(digits, last);
    const auto first = name.find_first_not_of('0', before == std::string::npos ? 0 : before + 1);
    return name.substr(std::min(first, last), last + 1 - std::min(first, last));
}

const std::string& findSingle(const Paths& more, const Paths& fewer) {
    std::set<std::string> numbers;
    for (const std::string& path : fewer)
        numbers.insert(numberIn(path));
    const auto single = std::find_if(more.begin(), more.end(), [&](const std::string& path) {
        return numbers.count(numberIn(path)) == 0;
    });
    return single == more.end() ? more.back() : *single;
}

void requirePartners(const Paths& left, const Paths& right) {
    if (left.size() == right.size())
        return;
    const std::string& single =
        left.size() > right.size() ? findSingle(left, right) : findSingle(right, left);
    throw InputError("--left stands for " + std::to_string(left.size()) + " images, --right for " +
                     std::to_string(right.size()) + "; " + quote(single) + " has no partner");
}

bool allSame(const Paths& paths) {
    return std::all_of(paths.begin(), paths.end(), [&](const std::string& path) {
        return numberIn(path) == numberIn(paths.front());
    });
}

// A number that is the same in all names of a side tells the camera, not the moment.
void notePartners(const Paths& left, const Paths& right) {
    if (allSame(left) || allSame(right))
        return;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const std::string ofLeft = numberIn(left[i]);
        const std::string ofRight = numberIn(right[i]);
        if (ofLeft.empty() || ofRight.empty() || ofLeft == ofRight)
            continue;
        std::cerr << "note: " << quote(left[i]) << " and " << quote(right[i])
                  << " are taken for a pair though their numbers differ; are they of the same "
                     "moment?\n";
        return;
    }
}

}  // namespace

void addFrameOptions(CLI::App& command, FrameOptions& options) {
    constexpr auto group = "Images";
    const auto add = [&](const char* name, std::vector<std::string>& values, const char* text) {
        return command.add_option(name, values, text)->type_name("FILE")->group(group);
    };
    auto* const left = add("--left", options.left,
                           "Images of the left camera: files, a folder, a quoted\n"
                           "pattern ('left*.png', 'left%02d.png'), or a video");
    auto* const right =
        add("--right", options.right, "Images of the right camera, in the same order");
    add("--side-by-side", options.sideBySide, "In place of both: images or a video with two halves")
        ->excludes(left)
        ->excludes(right);
}

std::unique_ptr<FrameSource> openFrames(const FrameOptions& options, Pixels pixels) {
    if (!options.sideBySide.empty())
        return reopenFrames(options, pixels);
    if (options.left.empty() || options.right.empty())
        throw UsageError("--left and --right are required, or --side-by-side");
    if (!isVideo(options.left) && !isVideo(options.right)) {
        const Paths left = resolveImages(options.left);
        const Paths right = resolveImages(options.right);
        requirePartners(left, right);
        notePartners(left, right);
    }
    return reopenFrames(options, pixels);
}

std::unique_ptr<FrameSource> reopenFrames(const FrameOptions& options, Pixels pixels) {
    if (!options.sideBySide.empty())
        return std::make_unique<SplitFrames>(openSequence(options.sideBySide, pixels));
    return std::make_unique<PairedFrames>(openSequence(options.left, pixels),
                                          openSequence(options.right, pixels));
}

std::vector<std::string> resolveImages(const std::vector<std::string>& arguments) {
    Paths all;
    for (const std::string& argument : arguments) {
        Paths paths = expand(argument);
        if (paths.empty())
            throw InputError("nothing matches " + quote(argument));
        std::move(paths.begin(), paths.end(), std::back_inserter(all));
    }
    return all;
}

}  // namespace tiomipra
