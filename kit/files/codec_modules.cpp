#include "files/codec_modules.hpp"

#include <dlfcn.h>

#include "base/errors.hpp"

namespace tiomipra {

void* findInModule(const std::string& name, const char* symbol) {
    // The path of the program's modules is in its RPATH.
    void* module = dlopen(("libtiomipra-" + name + ".so").c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* address = module == nullptr ? nullptr : dlsym(module, symbol);
    if (address == nullptr)
        throw InputError(std::string("the installation is incomplete: ") + dlerror());
    return address;
}

}  // namespace tiomipra
