#include "files/image_lists.hpp"

#include <glob.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string_view>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"

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

// By name, numbers by value: left2 before left10.
void sortNaturally(Paths& paths) {
    std::sort(paths.begin(), paths.end(), [](const std::string& a, const std::string& b) {
        return strverscmp(a.c_str(), b.c_str()) < 0;
    });
}

// What can't be looked at is missed when it is read, which tells why.
bool isFolder(const fs::path& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

// The files in `folder` whose name is `wanted`, sorted.
Paths filesIn(const fs::path& folder, const std::function<bool(const std::string&)>& wanted) {
    Paths paths;
    std::error_code error;
    const fs::path start = folder.empty() ? "." : folder;
    for (fs::directory_iterator entry(start, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (wanted(name) && !isFolder(entry->path()))
            paths.push_back((folder / name).string());
    }
    if (error)
        throw FileError(
            fmt::format("can't read the folder {}: {}", quote(start.string()), error.message()),
            start.string(), error.value());
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
                               [](const std::string& path) { return isFolder(path); }),
                paths.end());
    sortNaturally(paths);
    return paths;
}

Paths expand(const std::string& argument) {
    if (isFolder(argument))
        return filesIn(argument,
                       [](const std::string& name) { return hasExtension(name, imageExtensions); });
    std::error_code error;
    if (fs::exists(argument, error))
        return {argument};
    const fs::path path(argument);
    if (const auto pattern = parseNumberPattern(path.filename().string()))
        return filesIn(path.parent_path(),
                       [&](const std::string& name) { return pattern->matches(name); });
    if (argument.find_first_of("*?[") != std::string::npos)
        return expandGlob(argument);
    return {argument};  // is missed when it is read, so that the others are worked on
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

// One of `more` whose number none of `fewer` has.
const std::string& findSingle(const Paths& more, const Paths& fewer) {
    std::set<std::string> numbers;
    for (const std::string& path : fewer)
        numbers.insert(numberIn(path));
    const auto single = std::find_if(more.begin(), more.end(), [&](const std::string& path) {
        return numbers.count(numberIn(path)) == 0;
    });
    return single == more.end() ? more.back() : *single;
}

bool haveOneNumber(const Paths& paths) {
    return std::all_of(paths.begin(), paths.end(), [&](const std::string& path) {
        return numberIn(path) == numberIn(paths.front());
    });
}

}  // namespace

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

bool areVideo(const std::vector<std::string>& arguments) {
    return arguments.size() == 1 && hasExtension(arguments.front(), videoExtensions);
}

void requirePartners(const std::vector<std::string>& left, const std::vector<std::string>& right) {
    if (left.size() == right.size())
        return;
    const std::string& single =
        left.size() > right.size() ? findSingle(left, right) : findSingle(right, left);
    throw InputError(
        fmt::format("there are {} images of the left camera and {} of the right one; {} has no "
                    "partner",
                    left.size(), right.size(), quote(single)));
}

void noteUnlikePartners(const std::vector<std::string>& left, const std::vector<std::string>& right,
                        const Notify& notify) {
    if (haveOneNumber(left) || haveOneNumber(right))
        return;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const std::string ofLeft = numberIn(left[i]);
        const std::string ofRight = numberIn(right[i]);
        if (ofLeft.empty() || ofRight.empty() || ofLeft == ofRight)
            continue;
        notify(
            fmt::format("note: {} and {} are taken for a pair though their numbers differ; are "
                        "they of the same moment?",
                        quote(left[i]), quote(right[i])));
        return;
    }
}

}  // namespace tiomipra
