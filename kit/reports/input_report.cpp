#include "reports/input_report.hpp"

#include <nlohmann/json.hpp>

namespace tiomipra {

using Json = nlohmann::ordered_json;

Json toJson(const FileIdentity& file) {
    Json json{{"path", file.path}};
    if (!file.modified.empty()) {
        json["bytes"] = file.size;
        json["modified"] = file.modified;
    }
    if (!file.sha256.empty())
        json["sha256"] = file.sha256;
    return json;
}

Json toJson(const FileIdentities& files) {
    Json list = Json::array();
    for (const FileIdentity& file : files)
        list.push_back(toJson(file));
    return list;
}

bool isUnchanged(const Json& input) {
    const Json now = toJson(identify(input.at("path").get<std::string>()));
    const char* key = input.contains("sha256") ? "sha256" : "modified";
    return now.contains(key) && now.at(key) == input.at(key) &&
           now.at("bytes") == input.at("bytes");
}

}  // namespace tiomipra
