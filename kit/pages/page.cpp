#include "pages/page.hpp"

#include <string_view>

#include "base/base64.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "files/image_files.hpp"
#include "pages/assets.hpp"
#include "pages/former_page.hpp"

namespace tiomipra {
namespace {

std::vector<std::string> scriptsOf(const Page& page) {
    std::vector<std::string> scripts{"page.js",   "elements.js",    "numbers.js",
                                     "tables.js", "colour_maps.js", "plots.js"};
    if (page.hasScene)
        for (const char* script :
             {"three_licence.js", "three.min.js", "OrbitControls.js", "scene.js"})
            scripts.emplace_back(script);
    scripts.insert(scripts.end(), page.scripts.begin(), page.scripts.end());
    return scripts;
}

// As a policy names what it lets through.
std::string hashSource(const std::string& asset) {
    return fmt::format(" 'sha256-{}'", toBase64(sha256Digest(readAsset(asset))));
}

// Nothing is loaded, nothing is sent, no text becomes markup, and no scripts run but these.
std::string policyFor(const std::vector<std::string>& scripts) {
    std::string policy =
        "default-src 'none'; img-src data:; style-src" + hashSource("page.css") + "; script-src";
    for (const std::string& script : scripts)
        policy += hashSource(script);
    return policy +
           "; base-uri 'none'; form-action 'none'; require-trusted-types-for 'script'; "
           "trusted-types 'none'";
}

std::string escapeMarkup(const std::string& text) {
    std::string escaped;
    for (const char c : printable(text)) {
        if (c == '<' || c == '>' || c == '&' || c == '"')
            escaped += fmt::format("&#{};", static_cast<int>(c));
        else
            escaped += c;
    }
    return escaped;
}

// In ASCII and without '<', so that nothing in it ends the element that holds it.
std::string dumpForMarkup(const nlohmann::ordered_json& data) {
    const std::string text =
        data.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        if (c == '<')
            escaped += "\\u003c";
        else
            escaped += c;
    }
    return escaped;
}

void addHead(std::string& html, const Page& page, const std::vector<std::string>& scripts) {
    html += fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"{}\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "{}{}\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<title>{}</title>\n<style>{}</style>\n</head>\n",
        policyFor(scripts), pageMark, programVersion(), escapeMarkup(page.title),
        readAsset("page.css"));
}

void addBlock(std::string& html, const PageBlock& block) {
    html += fmt::format(R"(<script type="{}" id="block-{}">)", block.type, block.name);
    html += toBase64(block.bytes);
    html += "</script>\n";
}

void addScript(std::string& html, const std::string& asset) {
    html += "<script>";
    html += readAsset(asset);
    html += "</script>\n";
}

}  // namespace

PageBlock jpegBlock(const std::string& name, const cv::Mat& image) {
    return {name, "image/jpeg", encodeImage(name + ".jpg", image)};
}

std::string composePage(const Page& page) {
    const std::vector<std::string> scripts = scriptsOf(page);
    std::string html;
    addHead(html, page, scripts);
    html += fmt::format("<body>\n<h1>{}</h1>\n{}{}", escapeMarkup(page.title),
                        readAsset("page.html"), readAsset(page.body));
    html += R"(<script type="application/json" id="data">)" + dumpForMarkup(page.data);
    html += "</script>\n";
    for (const PageBlock& block : page.blocks)
        addBlock(html, block);
    for (const std::string& script : scripts)
        addScript(html, script);
    return html + "</body>\n</html>\n";
}

}  // namespace tiomipra
