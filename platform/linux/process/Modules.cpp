#include "platform/linux/process/Modules.h"

#include <dlfcn.h>

namespace qf::native {

namespace {

constexpr const char* domain = "QFModuleErrorDomain";

Unexpected<Error> lastError() {
    const char* words = ::dlerror();
    return Unexpected(Error{.domain = domain, .localizedDescription = words ? words : ""});
}

} // namespace

Result<Modules::Function> Modules::function(const std::string& module) {
    if (directory_.empty()) {
        return Unexpected(Error{.domain = domain,
                                .localizedDescription = module + ": the installation is unknown"});
    }
    // A path with a slash: the loader searches nowhere.
    void* loaded = ::dlopen((directory_ + '/' + module + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (loaded == nullptr) {
        return lastError();
    }
    void* symbol = ::dlsym(loaded, "moduleMain");
    if (symbol == nullptr) {
        return lastError();
    }
    return reinterpret_cast<Function>(symbol);
}

} // namespace qf::native
