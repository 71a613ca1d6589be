// The photographs of Debian's package opencv-doc.
#ifndef TIOMIPRA_TESTS_PHOTOGRAPHS_HPP
#define TIOMIPRA_TESTS_PHOTOGRAPHS_HPP

#include <string>

namespace tiomipra::test {

// The path of one of them, as in "left01.jpg".
std::string photograph(const std::string& name);

}  // namespace tiomipra::test

#endif
