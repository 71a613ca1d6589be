// What each file of the module adds to it.
#ifndef TIOMIPRA_PYTHON_BINDINGS_HPP
#define TIOMIPRA_PYTHON_BINDINGS_HPP

#include <pybind11/pybind11.h>

namespace tiomipra::python {

void bindCalibration(pybind11::module_& module);
void bindStereo(pybind11::module_& module);
void bindImages(pybind11::module_& module);
void bindRigs(pybind11::module_& module);
void bindCalibrating(pybind11::module_& module);
void bindMatching(pybind11::module_& module);

}  // namespace tiomipra::python

#endif
