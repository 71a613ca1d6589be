#include "base/json_text.hpp"

#include <nlohmann/json.hpp>

namespace tiomipra {

std::string dumpJson(const nlohmann::ordered_json& value) {
    return value.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace tiomipra
