// XML as OpenCV writes it.
#ifndef TIOMIPRA_FORMATS_XML_DOCUMENT_HPP
#define TIOMIPRA_FORMATS_XML_DOCUMENT_HPP

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace tiomipra {

// Throws `InputError` that names the file when OpenCV can't read it.
nlohmann::json readXml(const std::string& path);

}  // namespace tiomipra

#endif
