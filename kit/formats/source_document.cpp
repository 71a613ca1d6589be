#include "formats/source_document.hpp"

#include <yaml-cpp/yaml.h>

#include <charconv>
#include <cmath>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "base/errors.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "formats/xml_document.hpp"

namespace tiomipra {
namespace {

using nlohmann::json;

constexpr std::size_t largestFile = std::size_t{1} << 20U;

// The number that `text` is as a whole.
std::optional<double> toNumber(std::string_view text) {
    if (startsWith(text, "+"))
        text.remove_prefix(1);
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

json toScalar(const std::string& text) {
    const auto number = toNumber(text);
    return number ? json(*number) : json(text);
}

// From yaml-cpp's nodes. Aliases may name one node in many places, and so make a small file huge.
class YamlTree {
  public:
    json convert(const YAML::Node& node, int depth = 0) {
        constexpr int mostValues = 100000, mostLevels = 50;
        if (++_values > mostValues)
            throw std::invalid_argument(fmt::format("it has more than {} values", mostValues));
        if (depth > mostLevels)
            throw std::invalid_argument(fmt::format("it nests more than {} levels", mostLevels));
        json tree;
        if (node.IsScalar())
            return isQuoted(node) ? json(node.Scalar()) : toScalar(node.Scalar());
        if (node.IsSequence())
            tree = json::array();
        for (const auto& item : node) {
            if (node.IsSequence())
                tree.push_back(convert(item, depth + 1));
            else if (item.first.IsScalar())
                tree[item.first.Scalar()] = convert(item.second, depth + 1);
        }
        return tree;
    }

  private:
    static bool isQuoted(const YAML::Node& node) { return node.Tag() == "!"; }

    int _values = 0;
};

json readYaml(const std::string& text) {
    try {
        return YamlTree().convert(YAML::Load(text));
    } catch (const YAML::Exception& wrong) {
        throw std::invalid_argument(
            wrong.mark.is_null() ? wrong.msg
                                 : fmt::format("line {}: {}", wrong.mark.line + 1, wrong.msg));
    }
}

std::string trimmed(const std::string& text) {
    constexpr auto blanks = " \t\r";
    const std::size_t start = text.find_first_not_of(blanks);
    return start == std::string::npos
               ? ""
               : text.substr(start, text.find_last_not_of(blanks) + 1 - start);
}

bool isComment(const std::string& line) {
    return line.empty() || line.front() == '#' || line.front() == ';';
}

// "key = values" on each line, below "[SECTION]" if there are any.
json readLines(const std::string& text) {
    json tree = json::object();
    json* section = &tree;
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        line = trimmed(line);
        const std::size_t equals = line.find('=');
        if (isComment(line))
            continue;
        if (line.front() == '[' && line.back() == ']')
            section = &tree[line.substr(1, line.size() - 2)];
        else if (equals != std::string::npos && (section->is_object() || section->is_null()))
            (*section)[trimmed(line.substr(0, equals))] =
                toScalar(trimmed(line.substr(equals + 1)));
        else
            throw std::invalid_argument(fmt::format("line {} is {}, must be a key, '=' and values",
                                                    number, quote(line.substr(0, 80))));
    }
    return tree;
}

// What the first line that says something looks like.
bool hasLines(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line) && isComment(trimmed(line))) {
    }
    constexpr std::size_t longest = 200;
    static const std::regex pattern(R"(\[[A-Za-z0-9_]+\]|[A-Za-z0-9_]+\s*=.*)");
    return std::regex_match(trimmed(line).substr(0, longest), pattern);
}

// JSON is YAML, too.
json parse(const std::string& path, std::string text) {
    constexpr auto mark = "\xEF\xBB\xBF";  // that the text is UTF-8
    if (startsWith(text, mark))
        text.erase(0, 3);
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string::npos)
        throw std::invalid_argument("it is empty");
    if (text[start] == '<')
        return readXml(path);
    return hasLines(text) ? readLines(text) : readYaml(text);
}

std::string placeIn(const std::string& parent, const std::string& key) {
    const char* const separator = parent.empty() || endsWith(parent, " ") ? "" : ".";
    return fmt::format("{}{}{}", parent, separator, key);
}

// As it stands in the file, but not all of what is long.
std::string describe(const json& value) {
    constexpr std::size_t longest = 40;
    const std::string text = value.dump(-1, ' ', false, json::error_handler_t::replace);
    return printable(text.size() > longest ? text.substr(0, longest) + "..." : text);
}

bool isBetweenNumbers(char letter) {
    return std::string_view(" \t\r\n,;[]").find(letter) != std::string_view::npos;
}

}  // namespace

void SourceValue::refuse(const std::string& rule) const {
    throw std::invalid_argument(_place.empty() ? rule : fmt::format("{} {}", _place, rule));
}

std::optional<SourceValue> SourceValue::find(const std::string& key) const {
    if (!_value->is_object() || !_value->contains(key))
        return std::nullopt;
    return SourceValue((*_value)[key], placeIn(_place, key));
}

SourceValue SourceValue::at(const std::string& key) const {
    const auto value = find(key);
    if (!value)
        throw std::invalid_argument(placeIn(_place, key) + " is missing");
    return *value;
}

std::vector<SourceValue> SourceValue::elements() const {
    if (!_value->is_array())
        refuse(fmt::format("is {}, must be a list", describe(*_value)));
    std::vector<SourceValue> elements;
    for (const json& element : *_value)
        elements.emplace_back(element, fmt::format("{}[{}]", _place, elements.size()));
    return elements;
}

std::vector<std::string> SourceValue::keys() const {
    std::vector<std::string> keys;
    if (_value->is_object()) {
        for (const auto& [key, value] : _value->items())
            keys.push_back(key);
    }
    return keys;
}

std::string SourceValue::text() const {
    if (!_value->is_string())
        refuse(fmt::format("is {}, must be a text", describe(*_value)));
    return _value->get<std::string>();
}

double SourceValue::number() const {
    const double number = _value->is_number() ? _value->get<double>() : NAN;
    if (!std::isfinite(number))
        refuse(fmt::format("is {}, must be a finite number", describe(*_value)));
    return number;
}

int SourceValue::whole() const {
    constexpr double largest = 1e9;
    const double value = number();
    if (value != std::floor(value) || std::abs(value) > largest)
        refuse(fmt::format("is {}, must be a whole number", significant(value, 6)));
    return static_cast<int>(value);
}

std::vector<double> SourceValue::numbers() const {
    const auto data = find("data");
    if (data)
        return data->numbers();
    std::vector<double> numbers;
    collect(*_value, numbers);
    return numbers;
}

std::vector<double> SourceValue::numbers(std::size_t count) const {
    std::vector<double> values = numbers();
    if (values.size() != count)
        refuse(fmt::format("holds {} numbers, must hold {}", values.size(), count));
    return values;
}

void SourceValue::collect(const json& value, std::vector<double>& numbers) const {
    const auto add = [&](double number) {
        if (!std::isfinite(number))
            refuse(fmt::format("is {}, element {} must be a finite number", describe(*_value),
                               numbers.size()));
        numbers.push_back(number);
    };
    if (value.is_array()) {
        for (const json& element : value)
            collect(element, numbers);
        return;
    }
    if (!value.is_string())
        return add(value.is_number() ? value.get<double>() : NAN);
    const auto& text = value.get_ref<const std::string&>();
    for (auto start = text.begin(); start != text.end();) {
        const auto end = std::find_if(start, text.end(), isBetweenNumbers);
        if (end != start)
            add(toNumber(std::string(start, end)).value_or(NAN));
        start = std::find_if_not(end, text.end(), isBetweenNumbers);
    }
}

SourceValue SourceDocument::root() const {
    return {content, isNamed ? quote(path) + " " : ""};
}

SourceDocument readSourceDocument(const std::string& path) {
    const std::string text = readFile(path, largestFile);
    try {
        return {path, sha256(text), parse(path, text)};
    } catch (const std::invalid_argument& wrong) {
        throw InputError(
            fmt::format("{} is not a calibration that can be read: {}", quote(path), wrong.what()));
    }
}

}  // namespace tiomipra
