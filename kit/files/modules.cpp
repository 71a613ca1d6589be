#include "files/modules.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

#include "base/errors.hpp"

namespace tiomipra {

void* findInModule(const std::string& name, const char* symbol) {
    const std::string file = fmt::format("libtiomipra-{}.so", name);
    std::string reasons;
    for (const std::string& path : {file, TIOMIPRA_MODULES "/" + file}) {
        void* module = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
        if (void* address = module == nullptr ? nullptr : dlsym(module, symbol))
            return address;
        reasons += fmt::format("\n  {}", dlerror());
    }
    throw InputError("the installation is incomplete:" + reasons);
}

}  // namespace tiomipra
