// SPDX-License-Identifier: Apache-2.0
//
// usage: program DIRECTORY-5 DIRECTORY-6 [LIBRARY]
//
// A program for QtCore 5 with settings in DIRECTORY-5 that uses library.cpp, whose settings are in DIRECTORY-6. The
// program opens LIBRARY, or without it, is linked with the library.
#include <cstdio>

#include <dlfcn.h>

#include <QtGlobal>

#include <velmorand/Initialize.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>

static_assert(QT_VERSION_MAJOR == 5);

int main(int argc, char** argv) {
    if (argc < 3)
        return 2;
    velmorand::initialize(argv[1], argv[1]);
    velmorand::Property<int> const width{"editor/width", 50};
    int announced = 0;
    velmorand::Listener const listener{width, [&announced](int value) { announced = value; }};
    velmorand::write("program/only", 1);
    width.set(55);

    void* const library = dlopen(argc > 3 ? argv[3] : nullptr, RTLD_NOW);
    void* const function = library != nullptr ? dlsym(library, "useSettings") : nullptr;
    if (function == nullptr) {
        std::fprintf(stderr, "program: %s\n", dlerror());
        return 1;
    }
    int const ofLibrary = reinterpret_cast<int (*)(char const*)>(function)(argv[2]);
    if (ofLibrary != 66 || width.get() != 55 || announced != 55) {
        std::fprintf(stderr, "program: read %d, was notified of %d, and the library returned %d\n",
                     width.get(), announced, ofLibrary);
        return 1;
    }
    return 0;
}
