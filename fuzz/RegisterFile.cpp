// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>

#include <utils/Exception.h>

#include "Files.h"
#include "Format.h"
#include "support/MemoryPeak.h"
#include "support/MemoryToRead.h"

// Reads any bytes as a register file, into a place where something stands already. What is read, and whether
// anything is, must be what a second reader of the format says, and the memory it takes in proportion to the
// file. The input is the file itself.

using namespace fuzz;

namespace {

constexpr std::size_t nodesLookedUp = 200;

void fill(RAMFileSystem& files) {
    for (char const* const directory : {"/user", "/user/a", "/other"})
        check(files.mkdir(text(directory)), "a directory can be made");
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
        check(files.isDirectory(text(place.path)) == node.directory, "a group that was read is found");
        check(files.isFile(text(place.path)) != node.directory, "a property that was read is found");
        if (!node.directory)
            check(readFile(files, text(place.path)) == node.content, "a value is found as it was read");
        for (auto const& [name, child] : node.children)
            if (places.size() < nodesLookedUp)
                places.push_back({child, place.path + '/' + name});
    }
}

void checkRead(RAMFileSystem& files, format::Decoded const& expected, std::string_view input) {
    std::string const written = image(files, "/user");
    check(written == format::encode(expected.tree), "what was read is written again");
    if (expected.asItIsWritten)
        check(written == input.substr(0, expected.size), "a file comes back byte for byte");
    check(readFile(files, text("/other/x")) == "kept", "reading changes nothing elsewhere");
    lookUp(files, expected.tree);
}

void checkMemory(std::size_t size) {
    check(support::MemoryPeak::bytes() <= support::memoryToRead(size),
          "reading takes memory in proportion to the file", std::to_string(support::MemoryPeak::bytes()));
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
        check(!expected, "a whole, sound file is read");
        check(image(files, "/") == before, "a file that is refused changes nothing");
        check(std::string(refusal.what()).rfind("Can't read a register file into /user: ", 0) == 0,
              "a refusal says so");
        return 0;
    }
    checkMemory(size);
    check(expected.has_value(), "a damaged file is refused");
    check(disk.tell(handle) == static_cast<long>(expected->size), "reading stops at the end of the item");
    checkRead(files, *expected, input);
    return 0;
}
