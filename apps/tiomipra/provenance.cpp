#include "provenance.hpp"

#include <sha2.h>

#include <array>
#include <opencv2/core.hpp>

namespace tiomipra {

std::string programVersion() {
    return TIOMIPRA_VERSION;
}

std::string sha256(const std::string& bytes) {
    std::array<char, SHA256_DIGEST_STRING_LENGTH> digest{};
    SHA256Data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), digest.data());
    return digest.data();
}

nlohmann::ordered_json provenance(const std::string& command,
                                  const nlohmann::ordered_json& parameters,
                                  const std::string& calibrationHash) {
    nlohmann::ordered_json made{{"program", "tiomipra " + programVersion()},
                                {"opencv", cv::getVersionString()},
                                {"command", command}};
    if (!parameters.is_null())
        made["parameters"] = parameters;
    if (!calibrationHash.empty())
        made["calibrationSha256"] = calibrationHash;
    return made;
}

std::vector<std::string> asLines(const nlohmann::ordered_json& provenance) {
    std::vector<std::string> lines;
    for (const auto& [key, value] : provenance.items())
        lines.push_back(key + ": " + (value.is_string() ? value.get<std::string>() : value.dump()));
    return lines;
}

}  // namespace tiomipra
