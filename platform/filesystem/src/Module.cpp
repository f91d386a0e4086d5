// SPDX-License-Identifier: Apache-2.0
#include "Module.h"

#include <QString>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>

#include "Descriptor.h"

namespace filesystem {

namespace {

bool isLoaded(std::string const& path) {
    void* const module = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    return unloadModule(module);
}

} // namespace

void* loadModuleFile(std::string const& path) {
    // Without a "/" the loader would search the system's libraries, and "" would give the program itself.
    if (path.find('/') == std::string::npos)
        return nullptr;
    return ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* loadModuleBytes(std::string_view bytes) {
    Descriptor file = opened([] { return ::memfd_create("module", MFD_CLOEXEC); });
    if (!file.isOpen() || writeAt(file.number(), bytes, 0) != bytes.size())
        return nullptr;
    // The loader identifies modules by path. A module stays loaded after its descriptor is closed, and the number of
    // the descriptor is reused, so the path may be that of a loaded module.
    std::string path = "/proc/self/fd/" + std::to_string(file.number());
    while (isLoaded(path)) {
        file = duplicated(file.number(), file.number() + 1);
        if (!file.isOpen())
            return nullptr;
        path = "/proc/self/fd/" + std::to_string(file.number());
    }
    return loadModuleFile(path);
}

bool unloadModule(void* module) {
    return module != nullptr && ::dlclose(module) == 0;
}

void* symbolAddress(void* module, QString const& symbol) {
    // To the loader, a null module is the whole process. A NUL would truncate the name.
    if (module == nullptr || symbol.contains(QChar::Null))
        return nullptr;
    return ::dlsym(module, symbol.toUtf8().constData());
}

} // namespace filesystem
