// The module `_tiomipra`, of which the package `tiomipra` is made.
#include "base/provenance.hpp"
#include "bindings.hpp"
#include "errors.hpp"
#include "interpreter.hpp"
#include "logging.hpp"
#include "shared/matching_kernels.hpp"

PYBIND11_MODULE(_tiomipra, module) {
    using namespace tiomipra::python;
    // The docstrings begin with signatures of Python's own grammar.
    pybind11::options options;
    options.disable_function_signatures();
    module.attr("__version__") = tiomipra::programVersion();
    module.def(
        "matching_kernels", [] { return vision::describeMatchingKernels(); },
        "matching_kernels()\n--\n\nWhat matches on this machine, in words.");
    keepRecords();
    waitForWorkAtExit();
    bindErrors(module);
    bindCalibration(module);
    bindStereo(module);
    bindImages(module);
    bindRigs(module);
    bindCalibrating(module);
    bindMatching(module);
}
