#include "runs/publish.hpp"

#include "runs/interruption.hpp"

namespace tiomipra {

void publishTogether(const std::vector<NewFile>& files) {
    const InterruptionWatch watch;
    writeTogether(files);
    if (watch.isInterrupted())
        throw Interrupted("interrupted when the results had been written");
}

}  // namespace tiomipra
