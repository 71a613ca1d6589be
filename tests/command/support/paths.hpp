// Where things lie.
#ifndef TIOMIPRA_TESTS_PATHS_HPP
#define TIOMIPRA_TESTS_PATHS_HPP

#include <string>

namespace tiomipra::test {

// The built program, README.md, and the program that is its sample ("" where it is not built).
std::string programPath();
std::string samplePath();
std::string readmePath();

}  // namespace tiomipra::test

#endif
