// SPDX-License-Identifier: Apache-2.0
//
// A register file without the register: load it into memory, list a group, and write a copy.
#include <iostream>
#include <string>

#include <QString>

#include <filesystem/Direct.h>
#include <filesystem/RAMFileSystem.h>
#include <filesystem/RealFileSystem.h>

using namespace filesystem;

int main() {
    //! [read]
    RealFileSystem disk{QStringLiteral("user")};
    RAMFileSystem memory;
    memory.mkdir(QStringLiteral("/user"));
    FileHandle* file = nullptr;
    if (disk.open(QStringLiteral("Velmorand.dat"), &file, FileSystem::MODE_READ)) {
        memory.unserialize(QStringLiteral("/user"), *file); // throws if the file is damaged
        disk.close(file);
    }
    //! [read]

    //! [walk]
    for (direct::Walk walk{memory, "user", "sidebar"}; walk.next();)
        if (walk.kind() == direct::Kind::file)
            std::cout << walk.path() << ": " << walk.content().size() << " bytes\n";
    //! [walk]

    //! [replace]
    if (disk.open(QStringLiteral("Copy.dat"), &file, FileSystem::MODE_WRITE)) {
        memory.serialize(QStringLiteral("/user"), *file);
        if (!disk.close(file)) // closing the file puts the new content in place, durably
            std::cerr << "not written\n";
    }
    //! [replace]
    std::cout << disk.exists(QStringLiteral("Copy.dat")) << '\n';
}
