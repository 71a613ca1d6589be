#include "support/photographs.hpp"

namespace tiomipra::test {

std::string photograph(const std::string& name) {
    return TIOMIPRA_PHOTOGRAPHS "/" + name;
}

}  // namespace tiomipra::test
