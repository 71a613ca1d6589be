// Bytes as text.
#ifndef TIOMIPRA_BASE_BASE64_HPP
#define TIOMIPRA_BASE_BASE64_HPP

#include <string>
#include <string_view>

namespace tiomipra {

// As RFC 4648 has it: with '+' and '/', filled up with '=', in one line.
std::string toBase64(std::string_view bytes);

}  // namespace tiomipra

#endif
