#include "calibration_document.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "shared/text.hpp"

namespace vision {
namespace {

// A calibration takes some kilobytes; files that keep the corners of all views stay far below.
constexpr std::size_t largestDocument = std::size_t{16} << 20;
// What OpenCV decompresses can't be looked into; only its length is bounded.
constexpr std::size_t largestExpansion = 1032;
constexpr std::size_t largestCompressed = largestDocument / largestExpansion;
// A calibration nests three deep. The parser takes half a kilobyte of stack for each level of XML
// and half as much for one of YAML, which has two kinds of them: half of the usual 8 MiB at most.
constexpr int deepestNesting = 8000;
// A calibration has two dozen. The parser looks keys up in a hash table whose lists grow as long as
// a file wants: 5000 keys of one hash that fill the largest document take it five seconds, 20000
// take half a minute.
constexpr std::ptrdiff_t mostKeys = 5000;
// Of any cv::Mat; cv::read puts the sizes into an array of that length.
constexpr std::size_t mostDimensions = 32;

constexpr std::string_view blanks = " \t\r\n";

[[noreturn]] void refuse(const std::string& filename, const std::string& complaint) {
    throw cv::Exception(cv::Error::StsParseError, complaint, "", filename, 0);
}

enum class Format { xml, yaml, json };

Format formatOf(std::string_view text) {
    if (startsWith(text, "<"))
        return Format::xml;
    return startsWith(text, "{") ? Format::json : Format::yaml;
}

// What OpenCV opens under a name: options may follow the last '?', a level of compression ".gz".
struct Target {
    std::string path;
    bool isCompressed;
};

Target targetOf(const std::string& filename) {
    std::string path = filename.substr(0, filename.find_last_of('?'));
    if (path.size() >= 4 && path.compare(path.size() - 4, 3, ".gz") == 0 &&
        std::isdigit(static_cast<unsigned char>(path.back())) != 0)
        path.pop_back();
    return {path, endsWith(path, ".gz")};
}

// Opening a FIFO waits for its other end, and a device may never end.
void checkRegular(const std::string& filename, const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        refuse(filename, "not a regular file");
}

// At most one byte more than `longest`.
std::string readBeginning(std::istream& stream, std::size_t longest) {
    std::string text;
    std::array<char, 16384> piece{};
    while (text.size() <= longest && stream.read(piece.data(), piece.size()).gcount() > 0)
        text.append(piece.data(), static_cast<std::size_t>(stream.gcount()));
    return text;
}

bool isGzip(std::string_view bytes) {
    return startsWith(bytes, "\x1f\x8b");
}

// True when the end of a gzip file can't be one: it states the length of the text.
bool isCutGzip(std::string_view bytes) {
    constexpr std::size_t shortest = 18;
    if (bytes.size() < shortest)
        return true;
    std::size_t stated = 0;
    for (std::size_t i = 1; i <= 4; ++i)
        stated = stated << 8 | static_cast<unsigned char>(bytes[bytes.size() - i]);
    return stated > bytes.size() * largestExpansion;
}

// An upper bound of the levels that brackets and tags nest: all that are opened, less the sequences
// and elements that hold nothing but words and numbers. No other end is trusted, as only the parser
// itself can tell it from one within a string, a key or a comment.
int boundNesting(std::string_view text) {
    constexpr std::string_view plain =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ.,+-_> \t\r\n";
    int levels = 0;
    char opened = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        const bool endsTag = character == '<' && startsWith(text.substr(i), "</");
        if ((character == ']' && opened == '[') || (endsTag && opened == '<'))
            --levels;
        const bool opens = (character == '[' || character == '{' || character == '<') && !endsTag;
        levels += opens ? 1 : 0;
        if (opens)
            opened = character;
        else if (plain.find(character) == plain.npos)
            opened = '\0';
    }
    return levels;
}

// An upper bound of the levels that YAML nests by indentation. Each starts in a column of its own,
// behind blanks, a dash or a key, and several may start in one line, as in "- - a: b: 1".
int boundIndentation(std::string_view text) {
    std::size_t deepest = 0;
    while (!text.empty()) {
        const auto line = text.substr(0, text.find('\n'));
        const auto tag = line.find('!');  // Behind one, "-.5" is a sequence.
        std::size_t levels = std::min(line.find_first_not_of(' '), line.size());
        for (std::size_t i = 0; i < line.size(); ++i) {
            const char next = i + 1 < line.size() ? line[i + 1] : ' ';
            const bool isSign = i < tag && (next == '.' || (next >= '0' && next <= '9'));
            levels += line[i] == ':' || (line[i] == '-' && !isSign) ? 1 : 0;
        }
        deepest = std::max(deepest, levels);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return static_cast<int>(deepest);
}

// An upper bound: a key is followed by a colon, in XML it is a tag. Elements "<_>" have none.
std::ptrdiff_t boundKeys(std::string_view text, Format format) {
    if (format != Format::xml)
        return std::count(text.begin(), text.end(), ':');
    std::ptrdiff_t keys = 0;
    for (auto found = text.find('<'); found != text.npos; found = text.find('<', found + 1)) {
        const auto tag = text.substr(found + 1);
        keys += startsWith(tag, "/") || startsWith(tag, "_>") || startsWith(tag, "_ ") ? 0 : 1;
    }
    return keys;
}

// A byte 0 within a text of XML, as "&#0;" makes it, leads the parser to lengths and counts that it
// takes from the bytes behind.
bool hasSoundReferences(std::string_view text) {
    constexpr std::string_view start = "&#";
    constexpr std::size_t mostDigits = 3;
    for (auto found = text.find(start); found != text.npos; found = text.find(start, found + 1)) {
        auto number = text.substr(found + start.size());
        number = number.substr(0, number.find(';'));
        if (startsWith(number, "x"))
            number.remove_prefix(1);
        number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
        if (number.empty() || number.size() > mostDigits ||
            number.find_first_not_of("0123456789abcdefABCDEF") != number.npos)
            return false;
    }
    return true;
}

// The parser takes a carriage return for the end of a line, but reads on behind the line feed.
bool hasStrayReturn(std::string_view text) {
    for (auto found = text.find('\r'); found != text.npos; found = text.find('\r', found + 1)) {
        if (!startsWith(text.substr(found), "\r\n"))
            return true;
    }
    return false;
}

// The parser looks for the end of a key before the line when nothing but blanks precede a colon.
bool hasEmptyKey(std::string_view text) {
    for (auto colon = text.find(':'); colon != text.npos; colon = text.find(':', colon + 1)) {
        const auto before = text.substr(0, colon).find_last_not_of(' ');
        if (before == text.npos || text[before] == '\n')
            return true;
    }
    return false;
}

// Any byte of a character beyond ASCII may start a key.
bool startsKey(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 0x80 || std::isalnum(byte) != 0 || character == '_';
}

// True when each YAML stream is a mapping that starts in the first column, and "..." is followed by
// nothing but further streams. The parser never ends with some of what may stand elsewhere.
bool hasSoundStreams(std::string_view text) {
    bool isWithinStream = false;
    while (!text.empty()) {
        auto line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (startsWith(line, "---") && !isWithinStream)
            line.remove_prefix(3);
        else if (startsWith(line, "...")) {
            isWithinStream = false;
            line.remove_prefix(3);
        } else if (!line.empty() && (startsKey(line[0]) || (line[0] == '%' && !isWithinStream))) {
            isWithinStream = line[0] != '%';
            continue;
        }
        const auto content = line.find_first_not_of(blanks);
        if (!isWithinStream && content != line.npos && line[content] != '#')
            return false;
    }
    return true;
}

// The bytes of `data` up to the first four characters that are not all base64.
std::string decodeBase64(std::string_view data) {
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    for (; data.size() >= 4; data.remove_prefix(4)) {
        std::uint32_t bits = 0;
        for (const char character : data.substr(0, 4)) {
            const auto value = alphabet.find(character);
            if (value == alphabet.npos)
                return bytes;
            bits = bits << 6 | static_cast<std::uint32_t>(value);
        }
        for (const int shift : {16, 8, 0})
            bytes += static_cast<char>(bits >> shift & 0xff);
    }
    return bytes;
}

// True when base64 `data` starts with a header as OpenCV writes it: the types of an element, as in
// "3f" or "2if", filled up with blanks. The parser never ends without a type, with a first line of
// fewer than four characters, or with counts that add up past an int. Counts of at most nine digits
// can't, in 24 bytes.
bool startsWithElementTypes(std::string_view data) {
    constexpr std::size_t headerLength = 24;
    constexpr int mostDigits = 9;
    const std::string header = decodeBase64(data.substr(0, headerLength / 3 * 4));
    const auto types = std::string_view(header).substr(0, header.find(' '));
    int digits = 0;
    for (const char character : types) {
        const auto byte = static_cast<unsigned char>(character);
        digits = std::isdigit(byte) != 0 ? digits + 1 : 0;
        if (std::isalnum(byte) == 0 || digits > mostDigits)
            return false;
    }
    return header.size() == headerLength && !types.empty() && digits == 0;
}

// How a format announces base64 data: in XML as an attribute's value, in YAML behind a tag's start,
// "!!" or "!<tag:yaml.org,2002:", in JSON by the word itself.
struct Base64Mark {
    std::string_view word;
    char introducer;           // Precedes the word; none: '\0'.
    std::string_view between;  // Any of these may stand between the two.
    std::string_view after;    // Follows the word as OpenCV writes it.
    std::string_view skipped;  // Then any of these before the data.
};

Base64Mark base64MarkOf(Format format) {
    switch (format) {
        case Format::json:
            return {"\"$base64$", '\0', "", "", ""};
        case Format::xml:
            return {"binary", '=', "\"' \t\r\n", "\">", blanks};
        default:
            return {"binary", '!',
                    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ.,:/<^-_", " |",
                    blanks};
    }
}

bool hasSoundBase64(std::string_view text, Format format) {
    const Base64Mark mark = base64MarkOf(format);
    char last = '\0';  // The last character before the word that is none of `mark.between`.
    std::size_t scanned = 0;
    for (auto found = text.find(mark.word); found != text.npos;
         found = text.find(mark.word, found + 1)) {
        const auto piece = text.substr(scanned, found - scanned);
        const auto position = piece.find_last_not_of(mark.between);
        if (position != piece.npos)
            last = piece[position];
        scanned = found;
        if (mark.introducer != '\0' && last != mark.introducer)
            continue;
        auto rest = text.substr(found + mark.word.size());
        if (!startsWith(rest, mark.after))
            return false;
        rest.remove_prefix(mark.after.size());
        rest.remove_prefix(std::min(rest.find_first_not_of(mark.skipped), rest.size()));
        if (!startsWithElementTypes(rest))
            return false;
    }
    return true;
}

// What the parser does not survive in a document that is not compressed.
void checkText(const std::string& filename, std::string_view text) {
    if (startsWith(text, "\xEF\xBB\xBF"))
        text.remove_prefix(3);
    if (text.find('\0') != text.npos)
        refuse(filename, "not a text: holds a byte 0");
    if (hasStrayReturn(text))
        refuse(filename, "holds a carriage return within a line");
    const Format format = formatOf(text);
    if (format == Format::xml && text[text.find_last_not_of(blanks)] != '>')
        refuse(filename, "ends within a tag or a text");
    if (format == Format::xml && !hasSoundReferences(text))
        refuse(filename,
               R"(holds a reference to a character ("&#") that is 0, too large or not closed)");
    if (boundNesting(text) > deepestNesting ||
        (format == Format::yaml && boundIndentation(text) > deepestNesting))
        refuse(filename, "may nest deeper than " + std::to_string(deepestNesting) + " levels");
    if (boundKeys(text, format) > mostKeys)
        refuse(filename, "may hold more than " + std::to_string(mostKeys) + " keys");
    if (format == Format::yaml && !hasSoundStreams(text))
        refuse(filename, "YAML must be a mapping that starts in the first column");
    if (format == Format::yaml && hasEmptyKey(text))
        refuse(filename, "holds an empty key");
    if (!hasSoundBase64(text, format))
        refuse(filename, "base64 data must start with 24 bytes that name the types of an element");
}

// The channels of a matrix of that element type. OpenCV adds up all counts: "2d1d" has three.
double countChannels(const std::string& type) {
    double channels = 0;
    int count = 0;
    for (const char character : type) {
        const bool isDigit = std::isdigit(static_cast<unsigned char>(character)) != 0;
        if (!isDigit)
            channels += std::max(1, count);
        count = isDigit ? 10 * count + (character - '0') : 0;
    }
    return std::max(1., channels);
}

}  // namespace

void checkDocument(const std::string& filename) {
    const Target target = targetOf(filename);
    checkRegular(filename, target.path);
    std::ifstream file(target.path, std::ios::binary);
    if (!file)
        return;
    const std::string document = readBeginning(file, largestDocument);
    const bool isOpaque = target.isCompressed && isGzip(document);
    const std::size_t longest = isOpaque ? largestCompressed : largestDocument;
    if (document.size() > longest)
        refuse(filename, std::string(isOpaque ? "compressed and " : "") + "longer than " +
                             std::to_string(longest) + " bytes");
    if (isOpaque && isCutGzip(document))
        refuse(filename, "compressed, but not complete");
    if (!isOpaque)
        checkText(filename, document);
}

void checkMatrixNode(const cv::FileNode& node, const char* key, const std::string& filename) {
    if (!node.isMap())
        return;
    constexpr std::size_t longestType = 8;
    const std::string type = node["dt"].isString() ? node["dt"].string() : "";
    if (type.size() > longestType)
        refuse(filename, std::string(key) + " has an element type of " +
                             std::to_string(type.size()) + " characters, must have at most " +
                             std::to_string(longestType));

    const cv::FileNode sizes = node["sizes"];
    if (sizes.size() > mostDimensions)
        refuse(filename, std::string(key) + " has " + std::to_string(sizes.size()) +
                             " dimensions, must have at most " + std::to_string(mostDimensions));

    int rows = 0;
    int columns = 0;
    cv::read(node["rows"], rows, -1);
    cv::read(node["cols"], columns, -1);
    double claimed = countChannels(type);
    if (rows >= 0) {
        claimed *= static_cast<double>(rows) * columns;
    } else {
        // Counted, as the end of a damaged sequence is never met.
        auto size = sizes.begin();
        for (std::size_t left = sizes.size(); left > 0; --left, ++size)
            claimed *= static_cast<int>(*size);
    }
    const std::size_t held = node["data"].size();
    if (claimed > static_cast<double>(held))
        refuse(filename, std::string(key) + " claims " + cv::format("%.0f", claimed) +
                             " elements, but holds " + std::to_string(held));
}

bool isCompressed(const std::string& filename) {
    return targetOf(filename).isCompressed;
}

void checkTarget(const std::string& filename) {
    const std::string path = targetOf(filename).path;
    std::error_code error;
    if (!std::filesystem::is_directory(path, error))
        checkRegular(filename, path);
}

void writeDocument(const std::string& filename, const std::string& text) {
    std::ofstream file(targetOf(filename).path, std::ios::binary);
    if (!file) {
        // Says on standard error that it can't open the file either.
        const cv::FileStorage storage(filename, cv::FileStorage::WRITE);
        return;
    }
    file << text;
    file.close();
    if (!file)
        refuse(filename, std::string("not written completely: ") + std::strerror(errno));
}

}  // namespace vision
