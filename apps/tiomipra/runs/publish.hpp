// Results that belong together, written whole although a signal may come.
#ifndef TIOMIPRA_RUNS_PUBLISH_HPP
#define TIOMIPRA_RUNS_PUBLISH_HPP

#include <vector>

#include "files/output_files.hpp"

namespace tiomipra {

// As `writeTogether`. Throws `Interrupted` when a signal to end came meanwhile and all is
// written.
void publishTogether(const std::vector<NewFile>& files);

}  // namespace tiomipra

#endif
