#include "options/rectify_options.hpp"

namespace tiomipra {

void addRectifyOptions(CLI::App& command, RectifyOptions& options) {
    addRigOptions(command, options.rig);
    addFrameOptions(command, options.frames);
    addBatchOptions(command, options.batch);
}

}  // namespace tiomipra
