// Calibration files of other programs, as trees of named values.
#ifndef TIOMIPRA_FORMATS_SOURCE_DOCUMENT_HPP
#define TIOMIPRA_FORMATS_SOURCE_DOCUMENT_HPP

#include <nlohmann/json.hpp>
#include <opencv2/core/matx.hpp>
#include <optional>
#include <string>
#include <vector>

namespace tiomipra {

// A value and where it stands, as in "cam1.intrinsics". What is wrong with it throws
// `std::invalid_argument` that names the place, the value and the rule.
class SourceValue {
  public:
    SourceValue(const nlohmann::json& value, std::string place)
        : _value(&value), _place(std::move(place)) {}

    const std::string& place() const { return _place; }
    bool isMapping() const { return _value->is_object(); }

    // What stands in it under `key`; nothing if it is no mapping or has no such key.
    std::optional<SourceValue> find(const std::string& key) const;
    bool has(const std::string& key) const { return find(key).has_value(); }
    SourceValue at(const std::string& key) const;
    std::vector<SourceValue> elements() const;
    std::vector<std::string> keys() const;

    std::string text() const;
    double number() const;
    int whole() const;
    // All numbers in it, row by row: of a sequence, of sequences in one, of a matrix with a key
    // "data", of a text that has them between blanks, commas, semicolons and brackets.
    std::vector<double> numbers() const;
    std::vector<double> numbers(std::size_t count) const;

    template <int rows, int columns>
    cv::Matx<double, rows, columns> matrix() const {
        return cv::Matx<double, rows, columns>(numbers(std::size_t{rows} * columns).data());
    }

    [[noreturn]] void refuse(const std::string& rule) const;

  private:
    void collect(const nlohmann::json& value, std::vector<double>& numbers) const;

    const nlohmann::json* _value;
    std::string _place;
};

struct SourceDocument {
    std::string path;
    std::string hash;  // SHA-256 of the file
    nlohmann::json content;
    bool isNamed = false;  // by what is said about its values: where there are others

    SourceValue root() const;
};

// Reads YAML (that of OpenCV too), JSON, OpenCV's XML, or lines of "key = values" in sections;
// finds out which from the content. Any file may be handed in, a hostile one included. Throws
// `InputError` that names the file and what is wrong.
SourceDocument readSourceDocument(const std::string& path);

}  // namespace tiomipra

#endif
