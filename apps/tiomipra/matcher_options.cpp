#include "matcher_options.hpp"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <vector>

#include "input_files.hpp"
#include "status.hpp"
#include "text.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;

// One of the library's whole-number parameters.
struct Parameter {
    std::string name;
    std::string help;
    int (*get)(const Stereo&);
    void (*set)(Stereo&, int);
};

template <auto getter>
int get(const Stereo& stereo) {
    return static_cast<int>((stereo.*getter)());
}

template <auto setter>
void set(Stereo& stereo, int value) {
    (stereo.*setter)(value);
}

void setAlgorithm(Stereo& stereo, int value) {
    stereo.setStereoAlgorithm(static_cast<Stereo::StereoAlgorithm>(value));
}

void setFullDp(Stereo& stereo, int value) {
    stereo.setFullDP(value != 0);
}

const std::string algorithmName = "algorithm";
const std::string fullDpName = "full-dp";
const std::string minDisparityName = "min-disparity";
const std::string disparityNumberName = "disparity-number";
const std::string maxDepthName = "max-depth";
const std::string rangeName = "range";

const std::vector<Parameter> parameters{
    {algorithmName, "Matcher: bm (block matching) or sgbm (semi-global)",
     get<&Stereo::getStereoAlgorithm>, setAlgorithm},
    {"window-size", "Side of the compared block in pixels: odd, 5 to 255",
     get<&Stereo::getWindowSize>, set<&Stereo::setWindowSize>},
    {minDisparityName,
     "Smallest disparity searched in pixels: within minus and\n"
     "plus the width of the images, and the calibrated one;\n"
     "unless given, it follows from the calibrations and the\n"
     "maximum depth",
     get<&Stereo::getMinDisparity>, set<&Stereo::setMinDisparity>},
    {disparityNumberName, "How many are searched: a positive multiple of 16",
     get<&Stereo::getDisparityNumber>, set<&Stereo::setDisparityNumber>},
    {"pre-filter-cap", "Bound of the horizontal gradients compared: 1 to 63",
     get<&Stereo::getPreFilterCap>, set<&Stereo::setPreFilterCap>},
    {"pre-filter-size", "Window of the pre-filter, bm only: odd, 5 to 255",
     get<&Stereo::getPreFilterSize>, set<&Stereo::setPreFilterSize>},
    {"texture-threshold",
     "Blocks with less texture, as the sum of their horizontal\n"
     "gradients, are not measured: 0 to 10000",
     get<&Stereo::getTextureThreshold>, set<&Stereo::setTextureThreshold>},
    {"uniqueness-ratio", "Percent by which the best match must win: 0 to 100",
     get<&Stereo::getUniquenessRatio>, set<&Stereo::setUniquenessRatio>},
    {"speckle-window-size",
     "Regions of at most this many pixels are removed:\n"
     "0 (off) to 1000",
     get<&Stereo::getSpeckleWindowSize>, set<&Stereo::setSpeckleWindowSize>},
    {"speckle-range",
     "Step of disparity that ends such a region, in pixels\n"
     "(sgbm) or sixteenths of a pixel (bm): 0 to 31",
     get<&Stereo::getSpeckleRange>, set<&Stereo::setSpeckleRange>},
    {"p1",
     "Cost of a disparity change by 1 between neighbours,\n"
     "sgbm only: 0 or more",
     get<&Stereo::getP1>, set<&Stereo::setP1>},
    {"p2", "Cost of a larger change, sgbm only: 0 or more", get<&Stereo::getP2>,
     set<&Stereo::setP2>},
    {"disp12-max-diff",
     "Largest difference between left-right and right-left\n"
     "disparity, sgbm only: any number, less than 1 counts as 1",
     get<&Stereo::getDisp12MaxDiff>, set<&Stereo::setDisp12MaxDiff>},
    {fullDpName,
     "Optimise over eight directions instead of five: slower,\n"
     "sgbm only (--full-dp=false: off)",
     get<&Stereo::getFullDP>, setFullDp},
};

struct Preset {
    std::string name;
    std::string help;
    std::map<std::string, int> values;
};

// Chosen by evaluation, see docs/command.md.
const std::vector<Preset> presets{
    {"fast",
     "block matching",
     {{algorithmName, Stereo::BM},
      {"window-size", 11},
      {"pre-filter-cap", 15},
      {"texture-threshold", 10},
      {"uniqueness-ratio", 10},
      {"speckle-window-size", 200},
      {"speckle-range", 16}}},
    {"balanced",
     "semi-global matching",
     {{algorithmName, Stereo::SGBM},
      {"window-size", 5},
      {"pre-filter-cap", 31},
      {"texture-threshold", 50},
      {"uniqueness-ratio", 15},
      {"speckle-window-size", 200},
      {"speckle-range", 1},
      {"p1", 100},
      {"p2", 400}}},
    {"accurate",
     "semi-global in eight directions, stricter",
     {{algorithmName, Stereo::SGBM},
      {"window-size", 5},
      {"pre-filter-cap", 31},
      {"texture-threshold", 50},
      {"uniqueness-ratio", 20},
      {"speckle-window-size", 200},
      {"speckle-range", 1},
      {"p1", 100},
      {"p2", 400},
      {fullDpName, 1}}},
};

const std::map<std::string, int> algorithms{{"bm", Stereo::BM}, {"sgbm", Stereo::SGBM}};

std::string nameOfAlgorithm(int value) {
    return value == Stereo::SGBM ? "sgbm" : "bm";
}

std::string optionName(const Parameter& parameter) {
    return "--" + parameter.name;
}

void addParameter(CLI::App& command, const Parameter& parameter, MatcherSettings& settings) {
    static const std::string group = "Matcher parameters";
    const std::string& name = parameter.name;
    const int defaultValue = parameter.get(Stereo());
    if (name == fullDpName) {
        command
            .add_flag_function(
                optionName(parameter),
                [&settings, name](std::int64_t count) { settings.values[name] = count > 0; },
                parameter.help)
            ->check(CLI::IsMember({"true", "false"}).description(""))
            ->group(group);
        return;
    }
    if (name == algorithmName) {
        command
            .add_option_function<std::string>(
                optionName(parameter),
                [&settings](const std::string& text) {
                    settings.values[algorithmName] = algorithms.at(text);
                },
                parameter.help)
            ->check(CLI::IsMember(&algorithms))
            ->type_name("NAME")
            ->default_str(nameOfAlgorithm(defaultValue))
            ->group(group);
        return;
    }
    command
        .add_option_function<int>(
            optionName(parameter), [&settings, name](int value) { settings.values[name] = value; },
            parameter.help)
        ->type_name("N")
        ->default_str(std::to_string(defaultValue))
        ->group(group);
}

std::string presetHelp() {
    std::string help = "Parameters for people who don't want to know:";
    for (const Preset& preset : presets)
        help += "\n  " + preset.name + ": " + preset.help;
    return help;
}

// A validator for CLI11: what `parse` has against `text`.
template <auto parse>
std::string complaint(const std::string& text) {
    try {
        parse(text);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "";
}

// The options that a file of parameters may hold as well.
void addParameters(CLI::App& command, MatcherOptions& options) {
    MatcherSettings& settings = options.settings;
    static const std::string group = "Matching";
    std::vector<std::string> names;
    for (const Preset& preset : presets)
        names.emplace_back(preset.name);
    command.add_option("--preset", options.preset, presetHelp())
        ->check(CLI::IsMember(names))
        ->type_name("NAME")
        ->group(group);
    CLI::Option* const range =
        command
            .add_option_function<std::string>(
                "--" + rangeName,
                [&settings](const std::string& text) { settings.range = parseRange(text); },
                "Depths to measure, each alone or both with a suffix mm,\n"
                "cm, m, in: sets max-depth, min-disparity and\n"
                "disparity-number for the calibrations at hand")
            ->check(complaint<parseRange>)
            ->type_name("NEAR..FAR")
            ->group(group);
    command
        .add_option_function<std::string>(
            "--" + maxDepthName,
            [&settings](const std::string& text) { settings.maxDepth = parseLength(text); },
            "Points farther away are removed; in the unit of the\n"
            "calibrations, or in metres with a suffix mm, cm, m, in")
        ->check(complaint<parseLength>)
        ->type_name("LENGTH")
        ->default_str("5")
        ->group(group);
    command.add_option("--scale", settings.scale, "Match at 1/N of the size: 1, 2 or 4")
        ->check(CLI::IsMember({1, 2, 4}))
        ->type_name("N")
        ->default_str("1")
        ->group(group);
    for (const Parameter& parameter : parameters)
        addParameter(command, parameter, settings);
    for (const std::string& name : {maxDepthName, minDisparityName, disparityNumberName})
        range->excludes("--" + name);
}

[[noreturn]] void refuseFile(const std::string& path, std::string problem) {
    constexpr std::size_t longest = 200;
    // It may quote any text, of the wrong file say.
    const auto isPlain = [](char letter) { return letter >= ' ' && letter <= '~'; };
    std::replace_if(problem.begin(), problem.end(), std::not_fn(isPlain), '?');
    if (problem.size() > longest) {
        problem.resize(longest);
        problem += "...";
    }
    throw InputError("parameters " + quote(path) + ": " + problem);
}

// CLI11 passes over lines that are too short for a name and a value.
void requireWholeLines(const std::string& path, const std::string& text) {
    constexpr std::size_t shortest = 3;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        CLI::detail::trim(line);
        const bool isComment = line.find_first_of("#;") == 0;
        if (!line.empty() && !isComment && line.size() < shortest)
            refuseFile(path, quote(line) + " is not a parameter of the matcher");
    }
}

std::vector<CLI::ConfigItem> readItems(const std::string& path) {
    constexpr std::size_t largest = 65536;
    const std::string text = readFile(path, largest);
    const auto isControl = [](unsigned char byte) { return byte < ' ' && std::isspace(byte) == 0; };
    if (std::any_of(text.begin(), text.end(), isControl))
        refuseFile(path, "is not a text file");
    requireWholeLines(path, text);
    std::istringstream lines(text);
    return CLI::ConfigTOML().from_config(lines);
}

// `item` as it would stand on the command line.
std::string asArgument(const CLI::ConfigItem& item, const CLI::App& file) {
    if (!item.parents.empty())
        throw UsageError("[" + item.parents.front() + "]: there must be no sections");
    if (file.get_option_no_throw("--" + item.name) == nullptr)
        throw UsageError(quote(item.name) + " is not a parameter of the matcher");
    if (item.inputs.size() != 1 || item.inputs.front().empty())
        throw UsageError(item.name + " must have one value");
    return "--" + item.name + "=" + item.inputs.front();
}

MatcherOptions readParametersFile(const std::string& path) {
    MatcherOptions options;
    CLI::App file;
    file.set_help_flag();
    addParameters(file, options);
    try {
        std::vector<std::string> arguments;
        for (const CLI::ConfigItem& item : readItems(path)) {
            arguments.push_back(asArgument(item, file));
            options.settings.files.emplace(item.name, path);
        }
        file.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        refuseFile(path, error.what());
    } catch (const UsageError& error) {
        refuseFile(path, error.what());
    }
    return options;
}

std::map<std::string, int> valuesOfPreset(const std::string& name) {
    for (const Preset& preset : presets)
        if (preset.name == name)
            return preset.values;
    return {};
}

// The shortest decimal number that is `value` in single precision: 0.3, not 0.300000012.
double asWritten(float value) {
    char text[32] = {};
    std::to_chars(text, text + sizeof text - 1, value);
    return std::strtod(text, nullptr);
}

std::string asText(const Length& length) {
    return nlohmann::json(length.value).dump() + length.unit;
}

std::string asText(const Range& range) {
    return asText(Length{range.nearest, range.unit}) + ".." +
           asText(Length{range.farthest, range.unit});
}

// The options that `settings` give.
std::vector<std::string> namesIn(const MatcherSettings& settings) {
    std::vector<std::string> names;
    for (const auto& [name, value] : settings.values)
        names.push_back(name);
    if (settings.maxDepth)
        names.push_back(maxDepthName);
    if (settings.range)
        names.push_back(rangeName);
    return names;
}

void overlay(MatcherSettings& settings, const MatcherSettings& above) {
    for (const std::string& name : namesIn(above))
        settings.files.erase(name);
    settings.files.insert(above.files.begin(), above.files.end());
    if (above.range || above.maxDepth)
        settings.values.erase(minDisparityName);
    if (above.range) {
        settings.values.erase(disparityNumberName);
        settings.maxDepth.reset();
        settings.range = above.range;
    }
    if (above.maxDepth)
        settings.maxDepth = above.maxDepth;
    if (above.scale)
        settings.scale = above.scale;
    for (const auto& [name, value] : above.values)
        settings.values[name] = value;
}

}  // namespace

void addMatcherOptions(CLI::App& command, MatcherOptions& options) {
    addParameters(command, options);
    command
        .add_option("--parameters", options.parametersFile,
                    "Take these from a file that --save-parameters wrote;\n"
                    "it wins over a preset, options win over it")
        ->type_name("FILE")
        ->group("Matching");
    command
        .add_option("--save-parameters", options.saveParametersFile,
                    "Write the parameters in use to this file (TOML)")
        ->type_name("FILE")
        ->group("Matching");
}

MatcherSettings resolveSettings(const MatcherOptions& options) {
    const MatcherOptions file = options.parametersFile.empty()
                                    ? MatcherOptions()
                                    : readParametersFile(options.parametersFile);
    MatcherSettings settings;
    settings.values = valuesOfPreset(options.preset.empty() ? file.preset : options.preset);
    overlay(settings, file.settings);
    overlay(settings, options.settings);
    return settings;
}

std::optional<Length> farthestDepth(const MatcherSettings& settings) {
    if (settings.maxDepth || !settings.range)
        return settings.maxDepth;
    return Length{settings.range->farthest, settings.range->unit};
}

void refuseSetting(const MatcherSettings& settings, const std::string& name,
                   const std::string& problem) {
    const auto file = settings.files.find(name);
    if (file != settings.files.end())
        throw InputError("parameters " + quote(file->second) + ": " + name + problem);
    throw UsageError("--" + name + problem);
}

void applyParameters(Stereo& stereo, const MatcherSettings& settings) {
    for (const Parameter& parameter : parameters) {
        const auto value = settings.values.find(parameter.name);
        if (value == settings.values.end())
            continue;
        try {
            parameter.set(stereo, value->second);
        } catch (const std::range_error& error) {
            std::string rule = parameter.help;
            std::replace(rule.begin(), rule.end(), '\n', ' ');
            refuseSetting(settings, parameter.name,
                          " " + std::to_string(value->second) + ": " + error.what() + " " + rule);
        }
    }
}

nlohmann::ordered_json describeParameters(const Stereo& stereo, const MatcherSettings& settings) {
    nlohmann::ordered_json description;
    for (const Parameter& parameter : parameters) {
        const int value = parameter.get(stereo);
        if (parameter.name == algorithmName)
            description[parameter.name] = nameOfAlgorithm(value);
        else if (parameter.name == fullDpName)
            description[parameter.name] = value != 0;
        else
            description[parameter.name] = value;
    }
    description[maxDepthName] = asWritten(stereo.getMaxDepth());
    description["scale"] = settings.scale.value_or(1);
    return description;
}

std::string encodeParameters(const Stereo& stereo, const MatcherSettings& settings) {
    nlohmann::ordered_json description = describeParameters(stereo, settings);
    const bool hasNumber = settings.values.count(disparityNumberName) != 0;
    const bool hasMinDisparity = settings.values.count(minDisparityName) != 0;
    if (!hasMinDisparity)
        description.erase(minDisparityName);
    description.erase(maxDepthName);
    if (const auto farthest = farthestDepth(settings))
        description[maxDepthName] = asText(*farthest);
    if (settings.range && !settings.maxDepth && !hasMinDisparity && !hasNumber) {
        description.erase(maxDepthName);
        description.erase(disparityNumberName);
        description[rangeName] = asText(*settings.range);
    }
    std::string lines;
    for (const auto& [name, value] : description.items())
        lines += name + " = " + value.dump() + "\n";
    return lines;
}

}  // namespace tiomipra
