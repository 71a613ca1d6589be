// Values of reports for programs.
#ifndef TIOMIPRA_TESTS_JSON_VALUES_HPP
#define TIOMIPRA_TESTS_JSON_VALUES_HPP

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace tiomipra::test {

// Has all values of `part`, a JSON text; lists are compared as a whole.
MATCHER_P(HoldsValues, part, "") {
    const auto found = nlohmann::ordered_json::parse(arg.dump());
    nlohmann::ordered_json expected = found;
    expected.merge_patch(nlohmann::ordered_json::parse(part));
    *result_listener << nlohmann::ordered_json::diff(expected, found);
    return expected == found;
}

}  // namespace tiomipra::test

#endif
