#include "base/provenance.hpp"

#include <sha2.h>

#include <array>
#include <nlohmann/json.hpp>
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

std::string sha256Digest(std::string_view bytes) {
    SHA2_CTX context;
    SHA256Init(&context);
    SHA256Update(&context, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
    SHA256Final(digest.data(), &context);
    return {digest.begin(), digest.end()};
}

nlohmann::ordered_json toJson(const Parameters& parameters) {
    auto json = nlohmann::ordered_json::object();
    for (const auto& [name, value] : parameters)
        std::visit([&json, &key = name](const auto& held) { json[key] = held; }, value);
    return json;
}

nlohmann::ordered_json toJson(const Provenance& provenance) {
    nlohmann::ordered_json json{{"program", "tiomipra " + programVersion()},
                                {"opencv", cv::getVersionString()},
                                {"command", provenance.command}};
    if (provenance.parameters)
        json["parameters"] = toJson(*provenance.parameters);
    if (!provenance.calibrationHash.empty())
        json["calibrationSha256"] = provenance.calibrationHash;
    if (provenance.unit)
        json["unit"] = *provenance.unit;
    return json;
}

std::vector<std::string> toLines(const Provenance& provenance) {
    const nlohmann::ordered_json json = toJson(provenance);
    std::vector<std::string> lines;
    for (const auto& [key, value] : json.items())
        lines.push_back(key + ": " + (value.is_string() ? value.get<std::string>() : value.dump()));
    return lines;
}

}  // namespace tiomipra
