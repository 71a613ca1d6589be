// The modules with the codecs of images and videos and with the filter along edges: shared
// libraries of our own that are loaded when they are needed, as they take longer to load than many
// commands run.
#ifndef TIOMIPRA_FILES_MODULES_HPP
#define TIOMIPRA_FILES_MODULES_HPP

#include <string>

// Marks what a module offers.
#define TIOMIPRA_MODULE_EXPORT extern "C" __attribute__((visibility("default")))

namespace tiomipra {

// The address of `symbol` in the module `name`, as in "images". The module is looked for where the
// program's RPATH says and, as packages have none, where it was to be installed; it stays loaded.
// Throws `InputError` when the installation lacks it.
void* findInModule(const std::string& name, const char* symbol);

}  // namespace tiomipra

#endif
