// Programs read reports by their keys: those of docs/reports.md, all of them and no others.
#include <gmock/gmock.h>

#include <filesystem>
#include <utility>

#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

// The block below the heading of a report.
json documented(const std::string& heading) {
    const std::string folder = fs::path(readmePath()).parent_path().string();
    const std::string text = readFile(folder + "/docs/reports.md");
    const auto begin = text.find("```json\n", text.find("\n## " + heading + "\n")) + 8;
    return json::parse(text.substr(begin, text.find("```", begin) - begin));
}

std::vector<std::string> keysOf(const json& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items())
        keys.push_back(key);
    return keys;
}

// A text stands for any value, the first element of a list for all of them.
void expectKeys(const json& found, const json& expected, const std::string& where) {
    if (expected.is_array()) {
        for (const json& element : found)
            expectKeys(element, expected[0], where + "[]");
    } else if (expected.is_object()) {
        EXPECT_EQ(keysOf(found), keysOf(expected)) << where;
        for (const auto& [key, value] : expected.items())
            expectKeys(found.value(key, json()), value, where + "." + key);
    }
}

TEST(Reports, HoldTheKeysThatAreDocumented) {
    const ScratchFolder folder;
    const std::string bad = folder.write("bad.jpg", "no image");
    const auto badAnd = [&](const std::string& numbers) {
        return Arguments{"--left",  bad, photograph("left" + numbers + ".jpg"),
                         "--right", bad, photograph("right" + numbers + ".jpg")};
    };
    const auto expectReport = [](const char* name, const json& report) {
        expectKeys(report, documented(name), name);
    };

    const Arguments calibrate{"calibrate", "--corners", "9x6",         "--square",
                              "25mm",      "--output",  folder / "rig"};
    const json calibration = runForJson(joined(calibrate, badAnd("0?")), 4);
    EXPECT_EQ(calibration["leftOut"].size(), 1U);
    expectReport("calibrate", calibration);
    json inspection = runForJson({"inspect", "--calibration", folder / "rig"});
    inspection.update(runForJson({"inspect", "--left-calibration", folder / "rig/right.yml",
                                  "--right-calibration", folder / "rig/left.yml"},
                                 1));
    expectReport("inspect", inspection);
    const Arguments rig{"--calibration", folder / "rig"};
    expectReport("import",
                 runForJson({"import", folder / "rig/rig.yml", "--output", folder / "in"}));
    expectReport("check", runForJson(joined({"check"}, rig, badAnd("01")), 4));

    const auto measure = [&](const char* subcommand) {
        const Arguments command{subcommand, "--output", folder / "out"};
        return runForJson(joined(command, rig, badAnd("01")), 4);
    };
    json measured = measure("depth");
    EXPECT_EQ(measured["pairs"].size() * measured["failed"].size(), 1U);
    expectReport("depth", measured);
    measured = measure("disparity");
    json& result = measured["pairs"][0]["result"];
    result["depth"] = std::exchange(result["disparity"], {});
    result.erase("disparity");
    expectReport("depth", measured);
    measured = measure("rectify")["pairs"][0];
    EXPECT_EQ(keysOf(measured["result"]), keysOf({{"height", 0}, {"width", 0}}));
    EXPECT_EQ(keysOf(measured["madeWith"]),
              keysOf({{"calibrationSha256", 0}, {"command", 0}, {"opencv", 0}, {"program", 0}}));

    const std::string disparity = folder / "out/left01_disparity.tiff";
    expectReport("evaluate", runForJson({"evaluate", "--disparity", disparity, "none",
                                         "--ground-truth", disparity, "none", "--mask",
                                         photograph("left01.jpg"), "none", "--max-bad2", "5"},
                                        4));
}

}  // namespace
}  // namespace tiomipra::test
