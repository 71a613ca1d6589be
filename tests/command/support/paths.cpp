// Where things lie, apart from all that can be compiled without knowing it.
#include "support/run_program.hpp"

namespace tiomipra::test {

std::string programPath() {
    return TIOMIPRA_PROGRAM;
}

std::string samplePath() {
    return TIOMIPRA_SAMPLE;
}

std::string readmePath() {
    return TIOMIPRA_README;
}

}  // namespace tiomipra::test
