// SPDX-License-Identifier: Apache-2.0
//
// A shared library for QtCore 6 that stores its own settings. A program for QtCore 5 uses it.
#include <QtGlobal>

#include <velmorand/Initialize.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>

static_assert(QT_VERSION_MAJOR == 6);

namespace {

velmorand::Property<int> const width{"editor/width", 60};

} // namespace

/**
 * Opens the library's settings in a directory, checks that the library reads the value that it has written and is
 * notified of it, and returns that value; -1 if a check fails.
 */
extern "C" [[gnu::visibility("default")]] int useSettings(char const* directory) {
    velmorand::initialize(directory, directory);
    int announced = 0;
    velmorand::Listener const listener{width, [&announced](int value) { announced = value; }};
    if (width.get() != 60)
        return -1;
    width.set(66);
    try {
        static_cast<void>(velmorand::read<int>("program/only"));
        return -1;
    } catch (velmorand::PropertyNotFound const&) {
        return announced == 66 ? width.get() : -1;
    }
}
