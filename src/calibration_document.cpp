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

#include "shared/document_target.hpp"
#include "shared/text.hpp"

namespace vision {
namespace {

// Bytes. A calibration takes some kilobytes; files that also keep the corners of all views stay far
// below this.
constexpr std::size_t largestDocument = std::size_t{16} << 20;
// Gzip makes 1032 bytes of one at most. The library can't decompress, so it bounds the compressed
// length such that the text is not longer than `largestDocument`.
constexpr std::size_t largestExpansion = 1032;
constexpr std::size_t largestCompressed = largestDocument / largestExpansion;
// A calibration nests three deep. The parser takes half a kilobyte of stack for each level of XML,
// and a quarter for each of YAML, where brackets and indentation are bounded separately: at most
// half of the usual stack of 8 MiB.
constexpr int deepestNesting = 8000;
// A calibration has two dozen. The parser looks keys up in a hash table, and a file may choose keys
// that all have the same hash: 5000 of them that fill the largest document take it five seconds,
// 20000 take half a minute.
constexpr std::ptrdiff_t mostKeys = 5000;
// A cv::Mat has no more; cv::read writes the sizes into an array of that length.
constexpr std::size_t mostDimensions = 32;

constexpr std::string_view blanks = " \t\r\n";

[[noreturn]] void refuse(const std::string& filename, const std::string& complaint) {
    throw cv::Exception(cv::Error::StsParseError, complaint, "", filename, 0);
}

enum class Format { xml, yaml, json };

// `text` without those of `characters` that it starts with.
std::string_view skip(std::string_view text, std::string_view characters) {
    text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
    return text;
}

// Removes the first line from `text` and gives it without its line feed.
std::string_view takeLine(std::string_view& text) {
    const auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

bool isDigit(char character) {
    return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

Format formatOf(std::string_view text) {
    if (startsWith(text, "<"))
        return Format::xml;
    return startsWith(text, "{") ? Format::json : Format::yaml;
}

// Opening a FIFO waits for its other end, and a device may never end.
void checkRegular(const std::string& filename, const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        refuse(filename, "not a regular file");
}

// All that `stream` holds, or its first bytes if they are more than `longest`.
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

// True when `bytes` are too few for a gzip file, or for the length of the text, which its last four
// bytes state.
bool isCutGzip(std::string_view bytes) {
    constexpr std::size_t shortest = 18;
    if (bytes.size() < shortest)
        return true;
    std::size_t stated = 0;
    for (std::size_t i = 1; i <= 4; ++i)
        stated = stated << 8 | static_cast<unsigned char>(bytes[bytes.size() - i]);
    return stated > bytes.size() * largestExpansion;
}

// At least as many levels as brackets and tags nest: all that are opened, less the sequences and
// elements that hold nothing but words and numbers. An end behind anything else does not count, as
// it may stand within a string, a key or a comment, which only the parser itself can tell.
int boundNesting(std::string_view text) {
    constexpr std::string_view plain =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ.,+-_> \t\r\n";
    int levels = 0;
    char opened = '\0';  // The last bracket or tag opened, if only plain characters followed.
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        const bool endsElement = startsWith(text.substr(i), "</");
        if ((character == ']' && opened == '[') || (endsElement && opened == '<'))
            --levels;
        if (!endsElement && (character == '[' || character == '{' || character == '<')) {
            ++levels;
            opened = character;
        } else if (plain.find(character) == plain.npos)
            opened = '\0';
    }
    return levels;
}

// At least as many levels as can be open in one line of YAML: one for each column of indentation,
// each dash and each key, as in "- - a: b: 1".
std::size_t boundLevels(std::string_view line) {
    const auto tag = line.find('!');
    std::size_t levels = line.size() - skip(line, " ").size();
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char next = i + 1 < line.size() ? line[i + 1] : ' ';
        // The parser takes "-.5" for a number, but behind a tag for the start of a sequence.
        const bool isSign = i < tag && (next == '.' || isDigit(next));
        levels += line[i] == ':' || (line[i] == '-' && !isSign) ? 1 : 0;
    }
    return levels;
}

// At least as many levels as YAML nests by indentation: those of its deepest line.
int boundIndentation(std::string_view text) {
    std::size_t deepest = 0;
    while (!text.empty())
        deepest = std::max(deepest, boundLevels(takeLine(text)));
    return static_cast<int>(deepest);
}

// At least as many keys as there are: every colon is taken for the end of one, in XML every tag but
// those of elements without a key, "<_>".
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

// True when every reference to a character, as "&#65;", is closed and short, and none is to the
// character 0. The parser takes the bytes behind a byte 0 in a text for lengths and counts.
bool hasSoundReferences(std::string_view text) {
    constexpr std::string_view start = "&#";
    constexpr std::size_t mostDigits = 3;
    for (auto found = text.find(start); found != text.npos; found = text.find(start, found + 1)) {
        auto number = text.substr(found + start.size());
        number = number.substr(0, number.find(';'));
        if (startsWith(number, "x"))
            number.remove_prefix(1);
        number = skip(number, "0");
        if (number.empty() || number.size() > mostDigits ||
            !skip(number, "0123456789abcdefABCDEF").empty())
            return false;
    }
    return true;
}

// True for a carriage return without a line feed. The parser takes it for the end of a line, but
// then looks for the next line behind the next line feed.
bool hasStrayReturn(std::string_view text) {
    const auto isStray = [](char a, char b) { return a == '\r' && b != '\n'; };
    return endsWith(text, "\r") ||
           std::adjacent_find(text.begin(), text.end(), isStray) != text.end();
}

// True when a line of YAML starts with a colon, or with blanks and a colon. The parser then looks
// for the end of the key in front of the line.
bool hasEmptyKey(std::string_view text) {
    while (!text.empty()) {
        if (startsWith(skip(takeLine(text), " "), ":"))
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
// nothing but further streams. The parser never returns from some of the other documents.
bool hasSoundStreams(std::string_view text) {
    bool isWithinMapping = false;
    while (!text.empty()) {
        auto line = takeLine(text);
        if (!line.empty() && startsKey(line[0]))
            isWithinMapping = true;
        if (startsWith(line, "..."))
            isWithinMapping = false;
        if (isWithinMapping || startsWith(line, "%"))
            continue;
        if (startsWith(line, "---") || startsWith(line, "..."))
            line.remove_prefix(3);
        const auto content = skip(line, blanks);
        if (!content.empty() && content[0] != '#')
            return false;
    }
    return true;
}

// The bytes of base64 `data`, up to the first group of four characters that is not base64.
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
// "3f" or "2if", filled up with blanks to 24 bytes. The parser never returns when there is no type,
// when the first line has fewer than four characters, or when no int can hold the sum of the
// counts; in 24 bytes, counts of at most nine digits never have such a sum.
bool startsWithElementTypes(std::string_view data) {
    constexpr std::size_t headerLength = 24;
    constexpr int mostDigits = 9;
    const std::string header = decodeBase64(data.substr(0, headerLength / 3 * 4));
    const auto types = std::string_view(header).substr(0, header.find(' '));
    int digits = 0;
    for (const char character : types) {
        digits = isDigit(character) ? digits + 1 : 0;
        if (std::isalnum(static_cast<unsigned char>(character)) == 0 || digits > mostDigits)
            return false;
    }
    return header.size() == headerLength && !types.empty() && digits == 0;
}

// How a format announces base64 data: in XML as an attribute's value, in YAML behind a tag's start,
// "!!" or "!<tag:yaml.org,2002:", in JSON by the word itself.
struct Base64Mark {
    std::string_view word;
    char introducer;           // Must precede the word; '\0': the word alone announces the data.
    std::string_view between;  // Any of these may stand between the two.
    std::string_view after;    // Follows the word as OpenCV writes it.
    std::string_view skipped;  // Any of these may follow then, before the data.
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

// True when `rest`, what follows the word of `mark`, is as OpenCV writes it.
bool continuesSoundly(std::string_view rest, const Base64Mark& mark) {
    return startsWith(rest, mark.after) &&
           startsWithElementTypes(skip(rest.substr(mark.after.size()), mark.skipped));
}

bool hasSoundBase64(std::string_view text, Format format) {
    const Base64Mark mark = base64MarkOf(format);
    char last = '\0';         // The last character before the word that is none of `mark.between`.
    std::size_t scanned = 0;  // Where the search for `last` goes on, so that time stays linear.
    for (auto found = text.find(mark.word); found != text.npos;
         found = text.find(mark.word, found + 1)) {
        const auto piece = text.substr(scanned, found - scanned);
        const auto position = piece.find_last_not_of(mark.between);
        if (position != piece.npos)
            last = piece[position];
        scanned = found;
        const bool isIntroduced = mark.introducer == '\0' || last == mark.introducer;
        if (isIntroduced && !continuesSoundly(text.substr(found + mark.word.size()), mark))
            return false;
    }
    return true;
}

// Refuses what the parser does not survive in a document that is not compressed.
void checkText(const std::string& filename, std::string_view text) {
    if (startsWith(text, "\xEF\xBB\xBF"))
        text.remove_prefix(3);
    const Format format = formatOf(text);
    const bool isXml = format == Format::xml;
    const bool isYaml = format == Format::yaml;
    const auto refuseIf = [&filename](bool isBroken, const std::string& complaint) {
        if (isBroken)
            refuse(filename, complaint);
    };
    refuseIf(text.find('\0') != text.npos, "not a text: holds a byte 0");
    refuseIf(hasStrayReturn(text), "holds a carriage return within a line");
    refuseIf(isXml && text[text.find_last_not_of(blanks)] != '>', "ends within a tag or a text");
    refuseIf(isXml && !hasSoundReferences(text),
             R"(holds a reference to a character ("&#") that is 0, too large or not closed)");
    refuseIf(
        boundNesting(text) > deepestNesting || (isYaml && boundIndentation(text) > deepestNesting),
        "may nest deeper than " + std::to_string(deepestNesting) + " levels");
    refuseIf(boundKeys(text, format) > mostKeys,
             "may hold more than " + std::to_string(mostKeys) + " keys");
    refuseIf(isYaml && !hasSoundStreams(text),
             "YAML must be a mapping that starts in the first column");
    refuseIf(isYaml && hasEmptyKey(text), "holds an empty key");
    refuseIf(!hasSoundBase64(text, format),
             "base64 data must start with 24 bytes that name the types of an element");
}

// The number in `node`; -1 if there is no node.
int readInt(const cv::FileNode& node) {
    int value = 0;
    cv::read(node, value, -1);
    return value;
}

// The channels of a matrix with elements of `type`. OpenCV adds up all counts: "2d1d" has three.
double countChannels(const std::string& type) {
    double channels = 0;
    int count = 0;
    for (const char character : type) {
        if (!isDigit(character))
            channels += std::max(1, count);
        count = isDigit(character) ? 10 * count + (character - '0') : 0;
    }
    return std::max(1., channels);
}

// The elements, by channels, that the node of a matrix with elements of `type` claims to hold.
double countClaimed(const cv::FileNode& node, const std::string& type) {
    double elements = countChannels(type);
    const int rows = readInt(node["rows"]);
    if (rows >= 0)
        return elements * (static_cast<double>(rows) * readInt(node["cols"]));
    const cv::FileNode sizes = node["sizes"];
    // Counted, as an iterator over a damaged sequence never equals its end.
    auto size = sizes.begin();
    for (std::size_t left = sizes.size(); left > 0; --left, ++size)
        elements *= static_cast<int>(*size);
    return elements;
}

}  // namespace

void checkDocument(const std::string& filename) {
    const DocumentTarget target = documentTarget(filename);
    checkRegular(filename, target.path);
    std::ifstream file(target.path, std::ios::binary);
    if (!file)
        return;
    const std::string document = readBeginning(file, largestDocument);
    const bool isOpaque = target.isCompressed && isGzip(document);
    const std::size_t longest = isOpaque ? largestCompressed : largestDocument;
    if (document.size() > longest) {
        refuse(filename, std::string(isOpaque ? "compressed and " : "") + "longer than " +
                             std::to_string(longest) + " bytes");
    }
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
    if (type.size() > longestType) {
        refuse(filename, std::string(key) + " has an element type of " +
                             std::to_string(type.size()) + " characters, must have at most " +
                             std::to_string(longestType));
    }
    const std::size_t dimensions = node["sizes"].size();
    if (dimensions > mostDimensions) {
        refuse(filename, std::string(key) + " has " + std::to_string(dimensions) +
                             " dimensions, must have at most " + std::to_string(mostDimensions));
    }
    const double claimed = countClaimed(node, type);
    const std::size_t held = node["data"].size();
    if (claimed > static_cast<double>(held)) {
        refuse(filename, std::string(key) + " claims " + cv::format("%.0f", claimed) +
                             " elements, but holds " + std::to_string(held));
    }
}

bool isCompressed(const std::string& filename) {
    return documentTarget(filename).isCompressed;
}

void checkTarget(const std::string& filename) {
    const std::string path = documentTarget(filename).path;
    std::error_code error;
    if (!std::filesystem::is_directory(path, error))
        checkRegular(filename, path);
}

void writeDocument(const std::string& filename, const std::string& text) {
    std::ofstream file(documentTarget(filename).path, std::ios::binary);
    if (!file) {
        // For the complaint that OpenCV prints on standard error when it can't open the file.
        const cv::FileStorage storage(filename, cv::FileStorage::WRITE);
        return;
    }
    file << text;
    file.close();
    if (!file)
        refuse(filename, std::string("not written completely: ") + std::strerror(errno));
}

}  // namespace vision
