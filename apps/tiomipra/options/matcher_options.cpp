#include "options/matcher_options.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <functional>
#include <map>
#include <sstream>
#include <string_view>
#include <vector>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "matching/matcher_parameters.hpp"
#include "matching/matcher_presets.hpp"
#include "matching/matching_steps.hpp"
#include "options/common_options.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;
namespace names = parameter_names;

constexpr auto matchingGroup = "Matching";
constexpr auto parameterGroup = "Matcher parameters";
constexpr auto stepGroup = "Steps around the matcher";

const std::map<std::string, int> algorithms{{nameOf(Stereo::BM), Stereo::BM},
                                            {nameOf(Stereo::SGBM), Stereo::SGBM}};

std::string optionFor(std::string_view name) {
    return fmt::format("--{}", name);
}

// The words of `text` on lines as long as a terminal leaves beside the names of the options.
std::string wrapped(const std::string& text) {
    constexpr std::size_t width = 57;
    std::istringstream words(text);
    std::string result;
    std::size_t length = 0;
    for (std::string word; words >> word; length += word.size()) {
        const bool fits = length + 1 + word.size() <= width;
        if (!result.empty())
            result += fits ? ' ' : '\n';
        length = fits && !result.empty() ? length + 1 : 0;
        result += word;
    }
    return result;
}

CLI::Option* addAlgorithm(CLI::App& command, const std::string& name, MatcherSettings& settings) {
    return command
        .add_option_function<std::string>(optionFor(name),
                                          [&settings, name](const std::string& text) {
                                              settings.values[name] = algorithms.at(text);
                                          })
        ->check(CLI::IsMember(&algorithms))
        ->type_name("NAME");
}

CLI::Option* addFlag(CLI::App& command, const std::string& name, MatcherSettings& settings) {
    return command
        .add_flag_function(
            optionFor(name),
            [&settings, name](std::int64_t count) { settings.values[name] = count > 0; })
        ->check(CLI::IsMember({"true", "false"}).description(""));
}

CLI::Option* addNumber(CLI::App& command, const std::string& name, MatcherSettings& settings) {
    return command
        .add_option_function<int>(optionFor(name),
                                  [&settings, name](int value) { settings.values[name] = value; })
        ->type_name("N");
}

std::string asText(const Parameter::Value& value) {
    const auto* const name = std::get_if<std::string>(&value);
    return name != nullptr ? *name : fmt::format("{}", std::get<int>(value));
}

void addParameter(CLI::App& command, const ParameterDescription& parameter,
                  const Parameter::Value& defaultValue, const char* group,
                  MatcherSettings& settings) {
    using Kind = ParameterDescription::Kind;
    const std::string name(parameter.name);
    const std::string help = describe(parameter);
    if (parameter.kind == Kind::flag) {
        addFlag(command, name, settings)
            ->description(wrapped(fmt::format("{} ({}=false: off)", help, optionFor(name))))
            ->group(group);
        return;
    }
    const auto add = parameter.kind == Kind::algorithm ? addAlgorithm : addNumber;
    add(command, name, settings)
        ->description(wrapped(help))
        ->default_str(asText(defaultValue))
        ->group(group);
}

void addPreset(CLI::App& command, std::string& preset) {
    std::string help = "Parameters for people who don't want to know:";
    std::vector<std::string> known;
    for (const auto& [name, summary, values] : matcherPresets()) {
        help += fmt::format("\n  {}: {}", name, summary);
        known.push_back(name);
    }
    command.add_option("--preset", preset, help)
        ->check(CLI::IsMember(known))
        ->type_name("NAME")
        ->group(matchingGroup);
}

CLI::Option* addRange(CLI::App& command, MatcherSettings& settings) {
    return command
        .add_option_function<std::string>(
            optionFor(names::range),
            [&settings](const std::string& text) { settings.range = parseDepthRange(text); },
            "Depths to measure, each alone or both with a suffix mm,\n"
            "cm, m, in; FAR may be inf: sets max-depth, min-disparity\n"
            "and disparity-number for the calibrations at hand; or\n"
            "auto: found from features of up to five pairs")
        ->check(complaint<parseDepthRange>)
        ->type_name("NEAR..FAR")
        ->group(matchingGroup);
}

void addMaxDepth(CLI::App& command, MatcherSettings& settings) {
    command
        .add_option_function<std::string>(
            optionFor(names::maxDepth),
            [&settings](const std::string& text) { settings.maxDepth = parseLength(text); },
            "Points farther away are removed; in the unit of the\n"
            "calibrations, or in metres with a suffix mm, cm, m, in")
        ->check(complaint<parseLength>)
        ->type_name("LENGTH")
        ->default_str(fmt::format("{}", Stereo().getMaxDepth()))
        ->group(matchingGroup);
}

// The options that a file of parameters may hold as well.
void addParameters(CLI::App& command, MatcherOptions& options) {
    addPreset(command, options.preset);
    CLI::Option* const range = addRange(command, options.settings);
    addMaxDepth(command, options.settings);
    command
        .add_option(optionFor(names::scale), options.settings.scale,
                    "Match at 1/N of the size: 1, 2 or 4")
        ->check(CLI::IsMember({1, 2, 4}))
        ->type_name("N")
        ->default_str("1")
        ->group(matchingGroup);
    for (const MatcherParameter& parameter : matcherParameters())
        addParameter(command, parameter, valueIn(Stereo(), parameter), parameterGroup,
                     options.settings);
    for (const StepParameter& parameter : stepParameters())
        addParameter(command, parameter, valueIn(MatchingSteps(), parameter), stepGroup,
                     options.settings);
    for (const auto* const name : {names::maxDepth, names::minDisparity, names::disparityNumber})
        range->excludes(optionFor(name));
}

[[noreturn]] void refuseFile(const std::string& path, std::string problem) {
    constexpr std::size_t longest = 200;
    // It may quote any text, of the wrong file say.
    problem = printable(problem);
    if (problem.size() > longest) {
        problem.resize(longest);
        problem += "...";
    }
    throw InputError(fmt::format("parameters {}: {}", quote(path), problem));
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

// `item` as it would stand on the command line. Throws `SettingError` for what can't.
std::string asArgument(const CLI::ConfigItem& item, const CLI::App& file) {
    if (!item.parents.empty())
        throw SettingError(fmt::format("[{}]: there must be no sections", item.parents.front()));
    if (file.get_option_no_throw(optionFor(item.name)) == nullptr)
        throw SettingError(quote(item.name) + " is not a parameter of the matcher");
    if (item.inputs.size() != 1 || item.inputs.front().empty())
        throw SettingError(item.name + " must have one value");
    return fmt::format("{}={}", optionFor(item.name), item.inputs.front());
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
    } catch (const SettingError& error) {
        refuseFile(path, error.what());
    }
    return options;
}

}  // namespace

void addMatcherOptions(CLI::App& command, MatcherOptions& options) {
    addParameters(command, options);
    command
        .add_option("--parameters", options.parametersFile,
                    "Take these from a file that --save-parameters wrote;\n"
                    "it wins over a preset, options win over it")
        ->type_name("FILE")
        ->group(matchingGroup);
    command
        .add_option("--save-parameters", options.saveParametersFile,
                    "Write the parameters in use to this file (TOML)")
        ->type_name("FILE")
        ->group(matchingGroup);
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

}  // namespace tiomipra
