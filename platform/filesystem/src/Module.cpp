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
    // Without a "/" the loader would search the system's libraries, and for "" hand out the program itself.
    if (path.find('/') == std::string::npos)
        return nullptr;
    return ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* loadModuleBytes(std::string_view bytes) {
    Descriptor file = opened([] { return ::memfd_create("module", MFD_CLOEXEC); });
    if (!file.isOpen() || writeAt(file.number(), bytes, 0) != bytes.size())
        return nullptr;
    // The loader tells modules apart by their paths, and a module outlives its descriptor, whose number is used
    // again.
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
    // A null module would mean the whole process to the loader, and a NUL would cut the name short.
    if (module == nullptr || symbol.contains(QChar::Null))
        return nullptr;
    return ::dlsym(module, symbol.toUtf8().constData());
}

} // namespace filesystem
