// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <thread>

#include <filesystem/TreeImage.h>

#include "FileSystemSupport.h"
#include "RegisterFileBytes.h"
#include "support/MemoryPeak.h"
#include "support/MemoryToRead.h"
#include "utils/Exception.h"

namespace {

using namespace support;
using namespace std::string_literals;
using filesystem::TreeImage;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class RegisterFile : public ::testing::Test {
protected:
    // The destructor of a file system may throw; the destructor of a test must not.
    ~RegisterFile() noexcept override = default;

    /** The register file that is saved from the tree at `path`. */
    std::string saved(std::string const& path) { return savedTo(disk, path); }

    std::string savedTo(FileSystem& target, std::string const& path) const {
        FileHandle* const handle = openedForWriting(target, "/saved");
        EXPECT_TRUE(files.serialize(text(path), *handle));
        EXPECT_TRUE(target.close(handle));
        return readFile(target, "/saved").value_or("unreadable");
    }

    void load(std::string const& path, std::string const& bytes) {
        ASSERT_TRUE(writeFile(disk, "/load", bytes));
        FileHandle* const handle = openedForReading(disk, "/load");
        files.unserialize(text(path), *handle);
        disk.close(handle);
    }

    /** The reason why loading some bytes is refused; if they are accepted, the test fails. */
    std::string refusal(std::string const& path, std::string const& bytes) {
        std::string const before = saved("/");
        try {
            load(path, bytes);
        } catch (utils::Exception const& failure) {
            EXPECT_EQ(before, saved("/"));
            return failure.what();
        }
        ADD_FAILURE() << "accepted";
        return {};
    }

    std::string refusal(std::string const& bytes) { return refusal("/user", bytes); }

    /** Creates "/user": the directory "a" with "x" (1 byte) and "ö" (empty), the empty "b", the file "z" (3 bytes). */
    void fill() {
        ASSERT_TRUE(files.mkdir(text("/user")));
        ASSERT_TRUE(files.mkdir(text("/user/a")));
        ASSERT_TRUE(files.mkdir(text("/user/b")));
        ASSERT_TRUE(writeFile(files, "/user/a/x", "1"));
        ASSERT_TRUE(writeFile(files, "/user/a/ö", ""));
        ASSERT_TRUE(writeFile(files, "/user/z", "\0\xFF\n"s));
    }

    RAMFileSystem files;
    RAMFileSystem disk; // another file system, to read from and write to
};

using Serialize = RegisterFile;

TEST_F(Serialize, WritesTheDescribedBytes) {
    fill();
    std::string const payload = "\xA3"
                                "\x61"
                                "a"
                                "\xA2"
                                "\x61"
                                "x"
                                "\x41"
                                "1"
                                "\x62"
                                "\xC3\xB6"
                                "\x40"
                                "\x61"
                                "b"
                                "\xA0"
                                "\x61"
                                "z"
                                "\x43"
                                "\x00\xFF\x0A"s;
    EXPECT_EQ("\xD9\xD9\xF7\x83\x01\x1A"
              "\xF6\x8C\x5E\xA6"
              "\xD8\x18"
              "\x55" +
                  payload,
              saved("/user"));
}

TEST_F(Serialize, WritesEqualBytesForEqualTrees) {
    fill();
    for (char const* const path : {"/other", "/other/b", "/other/a", "/other/c"})
        ASSERT_TRUE(files.mkdir(text(path)));
    ASSERT_TRUE(writeFile(files, "/other/z", "longer content"));
    ASSERT_TRUE(writeFile(files, "/other/z", "\0\xFF\n"s));
    ASSERT_TRUE(writeFile(files, "/other/a/ö", ""));
    ASSERT_TRUE(writeFile(files, "/other/a/y", ""));
    ASSERT_TRUE(writeFile(files, "/other/a/x", "1"));
    ASSERT_TRUE(files.remove(text("/other/c")));
    ASSERT_TRUE(files.remove(text("/other/a/y")));
    EXPECT_EQ(saved("/user"), saved("/other"));
}

TEST_F(Serialize, OrdersNamesByTheirBytes) {
    ASSERT_TRUE(files.mkdir(text("/user")));
    for (char const* const file : {"b", "a", "ab", "B", "\xEF\xBD\x81", "😀", "é"})
        ASSERT_TRUE(writeFile(files, "/user/"s + file, ""));
    EXPECT_EQ(registerFile("\xA7" + name("B") + '\x40' + name("a") + '\x40' + name("ab") + '\x40' +
                           name("b") + '\x40' + name("é") + '\x40' + name("\xEF\xBD\x81") + '\x40' +
                           name("😀") + '\x40'),
              saved("/user"));
}

TEST_F(Serialize, OrdersNamesWithTheSameBeginning) {
    ASSERT_TRUE(files.mkdir(text("/user")));
    for (char const* const file : {"settings_b", "settings", "settings_a1", "settings_a"})
        ASSERT_TRUE(writeFile(files, "/user/"s + file, ""));
    EXPECT_EQ(registerFile("\xA4" + name("settings") + '\x40' + name("settings_a") + '\x40' +
                           name("settings_a1") + '\x40' + name("settings_b") + '\x40'),
              saved("/user"));
}

TEST_F(Serialize, KeepsTheOrderWhenMostNamesHaveBeenRemoved) {
    auto const fill = [this](std::string const& directory, int first, int step) {
        ASSERT_TRUE(files.mkdir(text(directory)));
        for (int i = first; i < 1'000; i += step)
            ASSERT_TRUE(writeFile(files, directory + '/' + std::to_string(i), std::to_string(i)));
    };
    fill("/user", 0, 1);
    for (int i = 0; i < 1'000; ++i) {
        if (i % 50 != 7) {
            ASSERT_TRUE(files.remove(text("/user/" + std::to_string(i))));
        }
    }
    fill("/other", 7, 50);
    EXPECT_EQ(saved("/other"), saved("/user"));
}

TEST_F(Serialize, MayRunInSeveralThreadsAtOnce) {
    ASSERT_TRUE(files.mkdir(text("/user")));
    for (int i = 0; i < 200; ++i)
        ASSERT_TRUE(writeFile(files, "/user/" + std::to_string(i * 7 % 200), ""));
    std::vector<std::string> results(4);
    std::vector<std::thread> threads;
    for (std::string& result : results)
        threads.emplace_back([&] {
            RAMFileSystem target;
            static_cast<void>(files.getFileList(text("/user")));
            result = savedTo(target, "/user");
        });
    for (std::thread& thread : threads)
        thread.join();
    for (std::string const& result : results)
        EXPECT_EQ(saved("/user"), result);
}

TEST_F(Serialize, WritesAnEmptyDirectoryForAMissingPath) {
    ASSERT_TRUE(files.mkdir(text("/empty")));
    std::string const empty = saved("/empty");
    EXPECT_EQ('\xA0', empty.back());
    EXPECT_EQ(empty, saved("/missing"));
    EXPECT_EQ(empty, saved("/missing/too"));
    EXPECT_EQ(empty, saved("/.."));
    FileHandle* const handle = openedForWriting(disk, "/f");
    EXPECT_TRUE(files.serialize(unpairedSurrogate(), *handle));
    EXPECT_EQ(empty, readFile(disk, "/f"));
}

TEST_F(Serialize, WritesAnEmptyDirectoryForAFile) {
    fill();
    ASSERT_TRUE(files.isFile(text("/user/z")));
    EXPECT_EQ(saved("/missing"), saved("/user/z"));
}

TEST_F(Serialize, IsFalseIfTheHandleCannotBeWritten) {
    fill();
    ASSERT_TRUE(writeFile(disk, "/f", "kept"));
    FileHandle* const handle = openedForReading(disk, "/f");
    EXPECT_FALSE(files.serialize(text("/user"), *handle));
    EXPECT_EQ("kept", readFile(disk, "/f"));
}

TEST_F(Serialize, WritesAtTheHandlesPosition) {
    fill();
    FileHandle* const handle = openedForWriting(disk, "/f");
    ASSERT_TRUE(write(disk, handle, "before"));
    EXPECT_TRUE(files.serialize(text("/user"), *handle));
    EXPECT_EQ("before" + saved("/user"), readFile(disk, "/f"));
}

TEST_F(Serialize, WritesToAHandleOfTheSameFileSystem) {
    fill();
    std::string const before = saved("/user");
    FileHandle* const handle = openedForWriting(files, "/user/inside");
    ASSERT_TRUE(files.remove(text("/user/inside")));
    EXPECT_FALSE(files.serialize(text("/user"), *handle));
    FileHandle* const beside = openedForWriting(files, "/beside");
    EXPECT_TRUE(files.serialize(text("/user"), *beside));
    EXPECT_EQ(before, readFile(files, "/beside"));
}

TEST_F(Serialize, WithoutAPathWritesTheWholeTree) {
    fill();
    FileHandle* const handle = openedForWriting(disk, "/f");
    EXPECT_TRUE(files.serialize(*handle));
    EXPECT_EQ(saved("/"), readFile(disk, "/f"));
}

using Unserialize = RegisterFile;

TEST_F(Unserialize, RestoresTheTreeAtAnotherPath) {
    fill();
    load("/global/", saved("/user"));
    EXPECT_THAT(listing(files, "/global"), ElementsAre("a", "b", "z"));
    EXPECT_THAT(listing(files, "/global/a"), ElementsAre("x", "ö"));
    EXPECT_TRUE(files.isDirectory(text("/global/b")));
    EXPECT_EQ("1", readFile(files, "/global/a/x"));
    EXPECT_EQ("", readFile(files, "/global/a/ö"));
    EXPECT_EQ("\0\xFF\n"s, readFile(files, "/global/z"));
    EXPECT_EQ(saved("/user"), saved("/global"));
}

TEST_F(Unserialize, RestoresTheTreeSomeLevelsDown) {
    fill();
    ASSERT_TRUE(files.mkdir(text("/deep")));
    ASSERT_TRUE(files.mkdir(text("/deep/er")));
    load("/deep/er/tree", saved("/user"));
    EXPECT_EQ("1", readFile(files, "/deep/er/tree/a/x"));
    EXPECT_EQ(saved("/user"), saved("/deep/er/tree"));
}

TEST_F(Unserialize, WithoutAPathReplacesTheWholeTree) {
    fill();
    std::string const bytes = saved("/user");
    ASSERT_TRUE(writeFile(disk, "/f", bytes));
    files.unserialize(*openedForReading(disk, "/f"));
    EXPECT_THAT(listing(files, "/"), ElementsAre("a", "b", "z"));
    EXPECT_EQ("1", readFile(files, "/a/x"));
    EXPECT_EQ(bytes, saved("/"));
}

TEST_F(Unserialize, ReplacesTheOldDirectory) {
    fill();
    std::string const bytes = saved("/user");
    ASSERT_TRUE(files.mkdir(text("/user/new")));
    ASSERT_TRUE(writeFile(files, "/user/new/f", "gone"));
    ASSERT_TRUE(writeFile(files, "/user/z", "gone"));
    ASSERT_TRUE(files.remove(text("/user/b")));
    load("/user", bytes);
    EXPECT_THAT(listing(files, "/user"), ElementsAre("a", "b", "z"));
    EXPECT_FALSE(files.exists(text("/user/new/f")));
    EXPECT_EQ(bytes, saved("/user"));
}

TEST_F(Unserialize, ReplacesAFileWithADirectory) {
    fill();
    std::string const bytes = saved("/user/a");
    load("/user/z", bytes);
    EXPECT_TRUE(files.isDirectory(text("/user/z")));
    EXPECT_EQ("1", readFile(files, "/user/z/x"));
}

TEST_F(Unserialize, GivesATreeThatCanBeChanged) {
    fill();
    load("/copy", saved("/user"));
    EXPECT_TRUE(writeFile(files, "/copy/a/x", "changed"));
    EXPECT_TRUE(files.mkdir(text("/copy/b/c")));
    EXPECT_TRUE(files.remove(text("/copy/z")));
    EXPECT_EQ("1", readFile(files, "/user/a/x"));
    EXPECT_THAT(listing(files, "/copy"), ElementsAre("a", "b"));
    EXPECT_TRUE(files.remove(text("/copy")));
    EXPECT_FALSE(files.exists(text("/copy/a/x")));
}

TEST_F(Unserialize, StopsExactlyAfterTheTree) {
    fill();
    std::string const first = saved("/user/a");
    std::string const second = saved("/user");
    ASSERT_TRUE(writeFile(disk, "/f", "x" + first + second + "rest"));
    FileHandle* const handle = openedForReading(disk, "/f");
    disk.skip(handle, 1);
    files.unserialize(text("/1"), *handle);
    EXPECT_EQ(static_cast<long>(1 + first.size()), disk.tell(handle));
    files.unserialize(text("/2"), *handle);
    EXPECT_EQ("rest", disk.readBytes(handle, 100));
    EXPECT_EQ(first, saved("/1"));
    EXPECT_EQ(second, saved("/2"));
}

TEST_F(Unserialize, ReadsAndWritesFilesOnDisk) {
    fill();
    TemporaryDirectory directory;
    RealFileSystem real(text(directory.string()));
    FileHandle* const writing = openedForWriting(real, "Größe.dat");
    ASSERT_TRUE(files.serialize(text("/user"), *writing));
    ASSERT_TRUE(real.close(writing));
    FileHandle* const reading = openedForReading(real, "Größe.dat");
    files.unserialize(text("/copy"), *reading);
    EXPECT_EQ(saved("/user"), saved("/copy"));
}

TEST_F(Unserialize, NeedsTheParent) {
    fill();
    std::string const bytes = saved("/user");
    EXPECT_THAT(refusal("/x/y", bytes), HasSubstr("/x/y"));
    EXPECT_THAT(refusal("/user/z/y", bytes), HasSubstr("/user/z/y"));
    EXPECT_THAT(refusal("/user/..", bytes), HasSubstr("/user/.."));
}

TEST_F(Unserialize, RefusesAHandleThatCannotBeRead) {
    fill();
    FileHandle* const handle = openedForWriting(disk, "/f");
    EXPECT_THROW(files.unserialize(text("/user"), *handle), utils::Exception);
    EXPECT_EQ("1", readFile(files, "/user/a/x"));
}

using Damaged = RegisterFile;

TEST_F(Damaged, ByAnyFlippedBitIsRefused) {
    fill();
    std::string const bytes = saved("/user");
    for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
        std::string turned = bytes;
        turned[bit / 8] = static_cast<char>(turned[bit / 8] ^ (1 << (bit % 8)));
        EXPECT_THAT(refusal(turned), HasSubstr("/user: ")) << bit;
    }
}

TEST_F(Damaged, ByTruncationIsRefused) {
    fill();
    std::string const bytes = saved("/user");
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_THAT(refusal(bytes.substr(0, length)), HasSubstr("damaged: truncated")) << length;
}

TEST_F(Damaged, ByAFlippedBitWithACorrectChecksumIsLoadedOrRefusedCompletely) {
    fill();
    std::string const payload = saved("/user").substr(13);
    for (std::size_t bit = 0; bit < 8 * payload.size(); ++bit) {
        std::string turned = payload;
        turned[bit / 8] = static_cast<char>(turned[bit / 8] ^ (1 << (bit % 8)));
        std::string const before = saved("/user");
        try {
            load("/user", registerFile(turned));
        } catch (utils::Exception const&) {
            EXPECT_EQ(before, saved("/user")) << bit;
        }
        load("/user", registerFile(payload));
        ASSERT_EQ(before, saved("/user")) << bit;
    }
}

TEST_F(Unserialize, AcceptsAFileThatTheseTestsBuild) {
    load("/user", registerFile("\xA1" + name("f") + content("x")));
    EXPECT_EQ("x", readFile(files, "/user/f"));
}

TEST_F(Damaged, ByAnUnknownVersionIsRefused) {
    for (char const version : {'\x00', '\x02', '\x17'})
        EXPECT_THAT(refusal(registerFile("\xA0", version)),
                    HasSubstr("format version " + std::to_string(version) +
                              " is not supported; this library reads version 1"));
    // Another version may change everything else.
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x85\x02\x61xyz"s), HasSubstr("format version 2 is not supported"));
}

TEST_F(Unserialize, RefusesAFileOfAnotherKind) {
    for (std::string const& bytes :
         {name("x"), "\xD9\xD9\xF6\x83\x01"s, "\xD9\xD9\xF7\xA0"s, "\xD9\xD9\xF7\x84\x01"s,
          "\xD9\xD9\xF7\x80\x02"s, "\xD9\xD9\xF7\x9F\x01"s, "\x83\x01\x00"s, "\xA0"s, "\x00"s})
        EXPECT_THAT(refusal(bytes), HasSubstr("not a register file"));
}

TEST_F(Damaged, ByFieldsOfOtherTypesIsRefused) {
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x61"
                        "1\x00\xD8\x18\x41\xA0"s),
                HasSubstr("damaged: its format version is not a number"));
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x20\x00\xD8\x18\x41\xA0"s),
                HasSubstr("damaged: its format version is not a number"));
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x01\x40\xD8\x18\x41\xA0"s),
                HasSubstr("damaged: its checksum is not a number"));
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x01\x00\xD8\x19\x41\xA0"s),
                HasSubstr("damaged: it has no payload"));
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x01\x00\x41\xA0"s), HasSubstr("damaged: it has no payload"));
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x01\x00\xD8\x18\xA0"s), HasSubstr("damaged: it has no payload"));
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x01\x00\xD8\x18\x5F\x41\xA0\xFF"s),
                HasSubstr("damaged: it has no payload"));
}

TEST_F(Damaged, ByAWrongChecksumIsRefused) {
    EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x01\x00\xD8\x18\x41\xA0"s),
                HasSubstr("damaged: its checksum does not match"));
    // A 64-bit number with the correct low half.
    std::string wide = registerFile("\xA0");
    wide.replace(5, 1, "\x1B\0\0\0\x01"s);
    EXPECT_THAT(refusal(wide), HasSubstr("damaged: its checksum does not match"));
}

TEST_F(Damaged, ByANameGivenTwiceIsRefused) {
    EXPECT_THAT(refusal(registerFile("\xA2" + name("f") + '\x40' + name("f") + '\x40')),
                HasSubstr("damaged: duplicate name: \"f\""));
    EXPECT_THAT(refusal(registerFile("\xA3" + name("f") + '\x40' + name("e") + '\x40' + name("f") + '\xA0')),
                HasSubstr("damaged: duplicate name: \"f\""));
    EXPECT_THAT(refusal(registerFile("\xA1" + name("d") + '\xA3' + name("f") + '\xA0' + name("g") + '\x40' +
                                     name("f") + '\xA0')),
                HasSubstr("damaged: duplicate name: \"f\""));
}

TEST_F(Damaged, ByANameThatNoPathCanExpressIsRefused) {
    for (std::string const& unreached : {""s, "."s, ".."s, "/"s, "a/b"s, "/a"s, "a/"s, "\xFF"s, "a\xC3"s,
                                         "\xC0\xAF"s, "\xED\xA0\x80"s, "\xF4\x90\x80\x80"s}) {
        EXPECT_THAT(refusal(registerFile("\xA1" + name(unreached) + '\x40')),
                    HasSubstr("damaged: invalid name: "));
        EXPECT_THAT(refusal(registerFile("\xA1" + name("d") + '\xA1' + name(unreached) + '\xA0')),
                    HasSubstr("damaged: invalid name: "));
    }
}

TEST_F(Damaged, ByANameThatIsNotTextIsRefused) {
    for (std::string const& key : {"\x41"
                                   "f"s,
                                   "\x01"s, "\xA0"s, "\xF6"s,
                                   "\x7F\x61"
                                   "f\xFF"s})
        EXPECT_THAT(refusal(registerFile("\xA1" + key + '\x40')), HasSubstr("damaged: a name is not text"));
}

TEST_F(Damaged, ByARootThatIsNotADirectoryIsRefused) {
    for (std::string const& root :
         {content("x"), "\x80"s, name("x"), "\x01"s, "\xF6"s, "\xC1\xA0"s, "\xBF\xFF"s})
        EXPECT_THAT(refusal(registerFile(root)), HasSubstr("damaged: its payload is not a directory"));
}

TEST_F(Damaged, ByAValueThatIsNeitherDirectoryNorFileIsRefused) {
    for (std::string const& value :
         {"\x01"s, head(0x20, 0), name("x"), "\x80"s, "\xF5"s, "\xF6"s, "\xF9\x3C\x00"s,
          "\xFB\0\0\0\0\0\0\0\0"s, "\xC1\x40"s, "\x5F\x41x\xFF"s, "\xBF\xFF"s, "\x9F\xFF"s, "\xFF"s})
        EXPECT_THAT(refusal(registerFile("\xA1" + name("f") + value)),
                    HasSubstr("damaged: neither a directory nor a file: \"f\""));
}

TEST_F(Damaged, ByReservedHeadsIsRefused) {
    for (char const head : {'\x1C', '\x5D', '\x7E', '\xBC', '\xFC'})
        EXPECT_THAT(refusal(registerFile("\xA1" + name("f") + head)), HasSubstr("/user: "));
}

TEST_F(Damaged, ByBytesAfterTheTreeInThePayloadIsRefused) {
    EXPECT_THAT(refusal(registerFile("\xA0\xA0")),
                HasSubstr("damaged: its payload has bytes after the tree"));
    EXPECT_THAT(refusal(registerFile("\xA1" + name("f") + "\x40\x00"s)),
                HasSubstr("damaged: its payload has bytes after the tree"));
}

TEST_F(Damaged, ByLengthsLargerThanTheFileIsRefused) {
    std::string const lengths[] = {bigEndian(100, 8), bigEndian(0x7FFF'FFFF'FFFF'FFFFU, 8),
                                   bigEndian(~0ULL, 8), bigEndian(1ULL << 62, 8)};
    for (std::string const& length : lengths) {
        EXPECT_THAT(refusal("\xD9\xD9\xF7\x83\x01\x00\xD8\x18\x5B"s + length + '\xA0'),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xBB" + length + name("f") + '\x40')),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1\x7B" + length + "f\x40")), HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1" + name("f") + '\x5B' + length + 'x')),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1" + name("d") + '\xBB' + length)),
                    HasSubstr("damaged: truncated"));
    }
    EXPECT_THAT(refusal(registerFile("\xA2" + name("f") + '\x40')), HasSubstr("damaged: truncated"));
}

TEST_F(Damaged, ByLengthsThatAreCorrectOnlyInTheirLow32BitsIsRefused) {
    for (std::uint64_t const upper : {1ULL << 32, 1ULL << 62}) {
        auto const tooLong = [upper](std::uint64_t length) { return bigEndian(upper + length, 8); };
        std::string const file = registerFile("\xA0");
        EXPECT_THAT(refusal(file.substr(0, file.size() - 2) + '\x5B' + tooLong(1) + '\xA0'),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal("\xD9\xD9\xF7\x9B" + tooLong(3) + file.substr(4)),
                    HasSubstr("not a register file"));
        EXPECT_THAT(refusal(registerFile("\xBB" + tooLong(1) + name("f") + content("x"))),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1\x7B" + tooLong(1) + "f" + content("x"))),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1" + name("f") + '\x5B' + tooLong(1) + 'x')),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1" + name("d") + '\xBB' + tooLong(0))),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1\x5B" + tooLong(1) + "f" + content("x"))),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1\xBB" + tooLong(0) + content("x"))),
                    HasSubstr("damaged: a name is not text"));
        EXPECT_THAT(refusal(registerFile("\xA1" + name("f") + '\x7B' + tooLong(1) + 'x')),
                    HasSubstr("damaged: truncated"));
        EXPECT_THAT(refusal(registerFile("\xA1" + name("f") + '\x9B' + tooLong(0))),
                    HasSubstr("damaged: neither a directory nor a file: \"f\""));
    }
}

using DeepRegisterFile = RegisterFile;

TEST_F(DeepRegisterFile, IsReadWrittenAndRemovedWithoutOverflow) {
    constexpr int levels = 100'000;
    std::string payload;
    std::string path = "/user";
    for (int level = 0; level < levels; ++level) {
        payload += "\xA1\x61"
                   "d";
        path += "/d";
    }
    payload += "\xA1" + name("f") +
               "\x44"
               "deep";
    load("/user", registerFile(payload));
    EXPECT_TRUE(files.isDirectory(text(path)));
    EXPECT_EQ("deep", readFile(files, path + "/f"));
    EXPECT_THAT(listing(files, path), ElementsAre("f"));
    EXPECT_TRUE(files.mkdir(text(path + "/e")));
    EXPECT_TRUE(files.remove(text(path + "/e")));
    EXPECT_EQ(registerFile(payload), saved("/user"));
    EXPECT_TRUE(files.remove(text("/user/d")));
    EXPECT_THAT(listing(files, "/user"), IsEmpty());
}

TEST_F(DeepRegisterFile, ThatIsDamagedAtTheBottomIsRefusedWithoutOverflow) {
    std::string payload;
    for (int level = 0; level < 100'000; ++level)
        payload += "\xA1\x61"
                   "d";
    EXPECT_THAT(refusal(registerFile(payload + "\x01")), HasSubstr("neither a directory nor a file"));
}

TEST_F(DeepRegisterFile, IsReleasedWithoutOverflow) {
    std::string payload;
    for (int level = 0; level < 100'000; ++level)
        payload += "\xA1\x61"
                   "d";
    RAMFileSystem deep;
    ASSERT_TRUE(writeFile(disk, "/f", registerFile(payload + "\xA0")));
    deep.unserialize(*openedForReading(disk, "/f"));
    EXPECT_TRUE(deep.isDirectory(text("/d/d/d")));
}

class MemoryOfARegisterFile : public RegisterFile {
protected:
    /** Reads `bytes` in each way, successfully or not, and expects memory use in proportion to their number. */
    void expectProportion(std::string const& bytes) {
        ASSERT_TRUE(writeFile(disk, "/load", bytes));
        FileHandle* const handle = openedForReading(disk, "/load");
        expectProportion(bytes.size(), [&] {
            RAMFileSystem fresh;
            fresh.unserialize(text("/user"), *handle);
        });
        expectProportion(bytes.size(), [&] { TreeImage{std::string(bytes)}; });
        TreeImage const similar = TreeImage::of(files, "/");
        expectProportion(bytes.size(), [&] { TreeImage(std::string(bytes), similar); });
    }

    template <class Read>
    static void expectProportion(std::size_t size, Read const& read) {
        MemoryPeak const counting;
        try {
            read();
        } catch (utils::Exception const&) {
            // Refused files must not use more memory than others.
        }
        EXPECT_LE(MemoryPeak::bytes(), memoryToRead(size)) << size;
    }

    static constexpr int many = (1 << 17) + 1; // where containers that grow by doubling are largest
};

TEST_F(MemoryOfARegisterFile, IsCounted) {
    ASSERT_TRUE(writeFile(disk, "/load", registerFile("\xA1" + name("f") + content(std::string(many, 'x')))));
    FileHandle* const handle = openedForReading(disk, "/load");
    RAMFileSystem fresh;
    MemoryPeak const counting;
    fresh.unserialize(text("/user"), *handle);
    EXPECT_GE(MemoryPeak::bytes(), 2 * many); // the bytes of the file, and their copy in the tree
}

TEST_F(MemoryOfARegisterFile, IsSmallForALargeFileOfAnotherKind) {
    std::string const large(10'000'000, 'x');
    for (std::string const& bytes :
         {large, registerFile("\xA0") + large, "\xD9\xD9\xF7\x83\x02"s + large,
          "\xD9\xD9\xF7\x83\x01\x00\xD8\x18\x5B"s + bigEndian(large.size() + 1, 8) + large}) {
        ASSERT_TRUE(writeFile(disk, "/load", bytes));
        FileHandle* const handle = openedForReading(disk, "/load");
        RAMFileSystem fresh;
        MemoryPeak const counting;
        try {
            fresh.unserialize(text("/user"), *handle);
        } catch (utils::Exception const&) {
            // Only the second file is valid.
        }
        EXPECT_LE(MemoryPeak::bytes(), memoryToRead(0));
    }
}

TEST_F(MemoryOfARegisterFile, IsInProportionForLengthsAndCountsThatAreTooLarge) {
    std::string const filler(many, '\x40');
    for (std::uint64_t const number : {std::uint64_t{many} / 2, std::uint64_t{1} << 32, ~std::uint64_t{0}}) {
        std::string const length = bigEndian(number, 8);
        for (std::string const& content : {""s, filler}) {
            expectProportion("\xD9\xD9\xF7\x83\x01\x00\xD8\x18\x5B"s + length + content);
            for (char const* const start : {"\xBB", "\xA1\x7B", "\xA1\x61n\x5B", "\xA1\x61n\xBB"})
                expectProportion(registerFile(start + length + content));
        }
    }
}

TEST_F(MemoryOfARegisterFile, IsInProportionForManyTinyEntries) {
    for (std::string const& value : {"\x40"s, "\xA0"s, "\x41x"s}) {
        std::string same = head(0xA0, many);
        std::string numbered = same;
        for (int i = 0; i < many; ++i) {
            same += name("n") + value;
            numbered += name(std::to_string(i * 7919 % many)) + value;
        }
        expectProportion(registerFile(same));
        expectProportion(registerFile(numbered));
    }
}

TEST_F(MemoryOfARegisterFile, IsInProportionForManyLevels) {
    std::string once;
    for (int level = 0; level < many; ++level)
        once += "\xA1\x61"
                "d";
    expectProportion(registerFile(once + '\xA0'));
    // Each level claims as many entries as there are levels left.
    std::string all;
    for (int left = many; left > 0; --left)
        all += head(0xA0, static_cast<std::uint64_t>(left)) + name("d");
    expectProportion(registerFile(all + '\xA0'));
}

TEST_F(MemoryOfARegisterFile, IsInProportionForLargeContents) {
    std::string const large(1 << 20, 'x');
    expectProportion(registerFile("\xA1" + name("f") + content(large)));
    expectProportion(registerFile("\xA1" + name(large) + '\x40'));
    expectProportion(registerFile("\xA1" + name(large) + '\x01')); // the message contains the name
    expectProportion(large);
}

} // namespace
