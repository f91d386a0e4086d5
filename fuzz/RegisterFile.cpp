// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>

#include <utils/Exception.h>

#include "Files.h"
#include "Format.h"
#include "support/MemoryPeak.h"
#include "support/MemoryToRead.h"

// Reads any bytes as a register file, replacing an existing tree. A second implementation of the format must agree on
// whether the file is valid and what it contains, and the memory used must be in proportion to the file. The input is
// the file.

using namespace fuzz;

namespace {

constexpr std::size_t nodesLookedUp = 200;

void fill(RAMFileSystem& files) {
    for (char const* const directory : {"/user", "/user/a", "/other"})
        check(files.mkdir(text(directory)), "a directory can be created");
    writeFile(files, text("/user/a/x"), "I*");
    writeFile(files, text("/user/gone"), std::string(100, 'g'));
    writeFile(files, text("/other/x"), "kept");
}

/** The first nodes of a tree must be found by their paths. */
void lookUp(RAMFileSystem& files, Tree const& tree) {
    struct Place {
        std::size_t id;
        std::string path;
    };
    std::vector<Place> places{{Tree::root, "/user"}};
    for (std::size_t i = 0; i < places.size() && i < nodesLookedUp; ++i) {
        Place const place = places[i];
        Tree::Node const& node = tree[place.id];
        check(files.isDirectory(text(place.path)) == node.directory, "a loaded group is found");
        check(files.isFile(text(place.path)) != node.directory, "a loaded property is found");
        if (!node.directory)
            check(readFile(files, text(place.path)) == node.content, "a loaded value is found");
        for (auto const& [name, child] : node.children)
            if (places.size() < nodesLookedUp)
                places.push_back({child, place.path + '/' + name});
    }
}

void checkRead(RAMFileSystem& files, format::Decoded const& expected, std::string_view input) {
    std::string const written = image(files, "/user");
    check(written == format::encode(expected.tree), "a loaded tree is written again");
    if (expected.asItIsWritten)
        check(written == input.substr(0, expected.size), "a file is written again byte for byte");
    check(readFile(files, text("/other/x")) == "kept", "loading changes nothing elsewhere");
    lookUp(files, expected.tree);
}

void checkMemory(std::size_t size) {
    check(support::MemoryPeak::bytes() <= support::memoryToRead(size),
          "loading uses memory in proportion to the file", std::to_string(support::MemoryPeak::bytes()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const input(reinterpret_cast<char const*>(data), size);
    auto const expected = format::decode(input);

    RAMFileSystem disk;
    writeFile(disk, text("/file"), input);
    FileHandle* handle = nullptr;
    disk.open(text("/file"), &handle, FileSystem::MODE_READ);

    RAMFileSystem files;
    fill(files);
    std::string const before = image(files, "/");
    try {
        support::MemoryPeak const counting;
        files.unserialize(text("/user"), *handle);
    } catch (utils::Exception const& refusal) {
        checkMemory(size);
        check(!expected, "a valid file is loaded");
        check(image(files, "/") == before, "a refused file changes nothing");
        check(std::string(refusal.what()).rfind("Can't read a register file into /user: ", 0) == 0,
              "a refusal names the place and the reason");
        return 0;
    }
    checkMemory(size);
    check(expected.has_value(), "a damaged file is refused");
    check(disk.tell(handle) == static_cast<long>(expected->size), "reading stops at the end of the item");
    checkRead(files, *expected, input);
    return 0;
}
