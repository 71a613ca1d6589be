// Where things lie.
#ifndef TIOMIPRA_TESTS_PATHS_HPP
#define TIOMIPRA_TESTS_PATHS_HPP

#include <string>

namespace tiomipra::test {

// The built program, and README.md.
std::string programPath();
std::string readmePath();

}  // namespace tiomipra::test

#endif
