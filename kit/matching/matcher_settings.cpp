#include "matching/matcher_settings.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "matching/matcher_parameters.hpp"
#include "matching/matching_steps.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;
namespace names = parameter_names;

// The names of all that `settings` give but the scale, which nothing refuses later on.
std::vector<std::string> namesIn(const MatcherSettings& settings) {
    std::vector<std::string> found;
    for (const auto& [name, value] : settings.values)
        found.push_back(name);
    if (settings.maxDepth)
        found.emplace_back(names::maxDepth);
    if (settings.range)
        found.emplace_back(names::range);
    return found;
}

// The shortest decimal number that is `value` in single precision: 0.3, not 0.300000012.
double asWritten(float value) {
    char text[32] = {};
    std::to_chars(text, text + sizeof text - 1, value);
    return std::strtod(text, nullptr);
}

// Whole numbers are written with a point: 3.0.
std::string asText(const Length& length) {
    if (std::isinf(length.value))
        return "inf";
    const std::string number = fmt::format("{}", length.value);
    const bool isWhole = number.find_first_of(".e") == std::string::npos;
    return fmt::format("{}{}{}", number, isWhole ? ".0" : "", length.unit);
}

std::string asText(const DepthRange& range) {
    return fmt::format("{}..{}", asText(Length{range.nearest, range.unit}),
                       asText(Length{range.farthest, range.unit}));
}

Parameter::Value asValue(float maxDepth) {
    return std::isinf(maxDepth) ? Parameter::Value("inf") : asWritten(maxDepth);
}

void remove(Parameters& parameters, std::string_view name) {
    parameters.erase(
        std::remove_if(parameters.begin(), parameters.end(),
                       [&](const Parameter& parameter) { return parameter.name == name; }),
        parameters.end());
}

// A line of TOML; there are no lists among the settings.
std::string asLine(const Parameter& parameter) {
    const auto& [name, value] = parameter;
    if (const auto* const text = std::get_if<std::string>(&value))
        return fmt::format("{} = \"{}\"\n", name, *text);
    if (const auto* const isOn = std::get_if<bool>(&value))
        return fmt::format("{} = {}\n", name, *isOn);
    return fmt::format("{} = {}\n", name, std::get<int>(value));
}

// The disparities that are searched follow from a depth range alone.
bool isSearchOfRange(const MatcherSettings& settings) {
    return settings.range && !settings.maxDepth &&
           settings.values.count(names::minDisparity) == 0 &&
           settings.values.count(names::disparityNumber) == 0;
}

void applyParameter(Stereo& stereo, const MatcherParameter& parameter, int value,
                    const MatcherSettings& settings) {
    try {
        parameter.set(stereo, value);
    } catch (const std::range_error& error) {
        refuseSetting(settings, std::string(parameter.name),
                      fmt::format("{}: {} {}", value, error.what(), describe(parameter)));
    }
}

}  // namespace

void overlay(MatcherSettings& settings, const MatcherSettings& above) {
    for (const std::string& name : namesIn(above))
        settings.files.erase(name);
    settings.files.insert(above.files.begin(), above.files.end());
    if (above.range || above.maxDepth)
        settings.values.erase(names::minDisparity);
    if (above.range) {
        settings.values.erase(names::disparityNumber);
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

void refuseSetting(const MatcherSettings& settings, const std::string& name,
                   const std::string& problem) {
    const auto file = settings.files.find(name);
    if (file != settings.files.end())
        throw InputError(fmt::format("parameters {}: {} {}", quote(file->second), name, problem));
    throw SettingError(name, problem);
}

std::optional<Length> farthestDepth(const MatcherSettings& settings) {
    if (settings.maxDepth || !settings.range)
        return settings.maxDepth;
    return Length{settings.range->farthest, settings.range->unit};
}

void applyParameters(Stereo& stereo, const MatcherSettings& settings) {
    for (const MatcherParameter& parameter : matcherParameters()) {
        const auto value = settings.values.find(std::string(parameter.name));
        if (value != settings.values.end())
            applyParameter(stereo, parameter, value->second, settings);
    }
}

Parameters describeParameters(const Stereo& stereo, const MatcherSettings& settings,
                              bool hasDepth) {
    Parameters parameters;
    for (const MatcherParameter& parameter : matcherParameters())
        parameters.push_back({std::string(parameter.name), valueIn(stereo, parameter)});
    const MatchingSteps steps = stepsOf(settings);
    for (const StepParameter& parameter : stepParameters())
        parameters.push_back({std::string(parameter.name), valueIn(steps, parameter)});
    if (hasDepth)
        parameters.push_back({names::maxDepth, asValue(stereo.getMaxDepth())});
    parameters.push_back({names::scale, settings.scale.value_or(1)});
    return parameters;
}

std::string encodeParameters(const Stereo& stereo, const MatcherSettings& settings) {
    Parameters parameters = describeParameters(stereo, settings, false);
    if (settings.values.count(names::minDisparity) == 0)
        remove(parameters, names::minDisparity);
    if (isSearchOfRange(settings)) {
        remove(parameters, names::disparityNumber);
        parameters.push_back({names::range, asText(*settings.range)});
    } else if (const auto farthest = farthestDepth(settings)) {
        parameters.push_back({names::maxDepth, asText(*farthest)});
    }
    std::string lines;
    for (const Parameter& parameter : parameters)
        lines += asLine(parameter);
    return lines;
}

}  // namespace tiomipra
