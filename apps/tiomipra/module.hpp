// Modules: the program's own shared libraries that are loaded when they are needed.
#ifndef TIOMIPRA_MODULE_HPP
#define TIOMIPRA_MODULE_HPP

#include <string>

// Marks what a module offers.
#define TIOMIPRA_MODULE_EXPORT extern "C" __attribute__((visibility("default")))

namespace tiomipra {

// The address of `symbol` in the module `name`, as in "images". The module is looked for beside the
// program and stays loaded. Throws `InputError` when the installation lacks it.
void* findInModule(const std::string& name, const char* symbol);

}  // namespace tiomipra

#endif
