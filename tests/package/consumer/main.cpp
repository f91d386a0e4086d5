// SPDX-License-Identifier: Apache-2.0
//
// usage: consumer DIRECTORY
//
// An application outside the project: uses each library once, and leaves a register file in DIRECTORY when it exits.

#include <cstdlib>
#include <iostream>
#include <string>

#include <QtGlobal>

#include <filesystem/RAMFileSystem.h>
#include <utils/Exception.h>
#include <utils/properties/Register.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>

static_assert(QT_VERSION_MAJOR == QT_MAJOR, "not built with the library's version of QtCore");

using utils::properties::_Register;

namespace {

void require(bool holds, char const* what) {
    if (holds)
        return;
    std::cerr << "consumer: " << what << '\n';
    std::exit(EXIT_FAILURE);
}

bool missingPropertyIsCaughtByName(_Register& settings) {
    try {
        int value = 0;
        settings._readInteger("not/there", value);
    } catch (utils::properties::PropertyNotFound const&) {
        return true;
    }
    return false;
}

bool badScopeIsAnException(_Register& settings) {
    try {
        settings.addGroup("group", static_cast<utils::properties::RegisterScope>(3));
    } catch (utils::Exception const& failure) {
        return std::string(failure.what()) == "Bad scope value.";
    }
    return false;
}

/** Writes and resets a setting, with both kinds of listeners. */
bool frontEndWorks() {
    velmorand::Property<std::string> const theme{"editor/theme", "light"};
    int calls = 0;
    velmorand::Listener const listener{"editor", [&](std::string const&) { ++calls; }};
    velmorand::QueuedListener changes{"editor"};

    velmorand::write(theme.name(), "dark");
    if (theme.get() != "dark" || velmorand::read<std::string>("editor/theme") != "dark")
        return false;
    theme.reset();
    return theme.get() == "light" && calls == 2 && changes.deliver([](std::string const&) {}) == 1;
}

} // namespace

int main(int argc, char** argv) {
    require(argc == 2, "usage: consumer DIRECTORY");
    std::string const directory = argv[1];

    _Register::initialize(directory, directory);
    _Register& settings = *_Register::getInstance();
    settings._writeInteger(nullptr, "editor/tab width", 4, utils::properties::SCOPE_USER);
    int width = 0;
    settings._readInteger("editor/tab width", width);
    require(width == 4, "read another integer than the one written");

    require(missingPropertyIsCaughtByName(settings), "PropertyNotFound was not caught");
    require(badScopeIsAnException(settings), "utils::Exception was not caught");

    require(frontEndWorks(), "the front end does not work");

    filesystem::RAMFileSystem memory;
    require(memory.mkdir(QStringLiteral("/a")) && memory.isDirectory(QStringLiteral("/a")),
            "mkdir created nothing");
    return EXIT_SUCCESS;
}
