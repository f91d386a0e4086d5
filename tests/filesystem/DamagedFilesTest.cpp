// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdlib>
#include <ctime>
#include <set>

#include <filesystem/DamagedFiles.h>

#include "DiskSupport.h"

namespace {

using namespace support;
using filesystem::isNameForDamaged;
using filesystem::nameForDamaged;
using filesystem::removeOldestDamaged;

class DamagedFiles : public OnDisk {
protected:
    /** The names of all files in the directory. */
    [[nodiscard]] std::set<std::string> names() const {
        std::set<std::string> all;
        for (auto const& entry : std::filesystem::directory_iterator(directory.path()))
            all.insert(entry.path().filename().string());
        return all;
    }
};

/** The name for a file that is found damaged now. */
std::string nameNow() {
    std::time_t const now = std::time(nullptr);
    std::array<char, 64> text{};
    return {text.data(),
            std::strftime(text.data(), text.size(), "f.damaged-%Y%m%dT%H%M%SZ", std::gmtime(&now))};
}

} // namespace

TEST_F(DamagedFiles, AreNamedByTheTimeInUtc) {
    ::setenv("TZ", "Test-2", 1); // two hours east of Greenwich
    std::string const before = nameNow();
    std::string const name = nameForDamaged(files, "f");
    EXPECT_LE(before, name);
    EXPECT_LE(name, nameNow());
}

TEST_F(DamagedFiles, GetUnusedNames) {
    for (std::size_t made = 0; made < 12; ++made) {
        std::string const name = nameForDamaged(files, "f");
        EXPECT_TRUE(isNameForDamaged(name, "f")) << name;
        putFile(at(name), "");
        EXPECT_EQ(made + 1, names().size());
    }
}

TEST_F(DamagedFiles, GetNoNameIfNoneCanBeExamined) {
    std::filesystem::create_directory(at("closed"));
    std::filesystem::permissions(at("closed"), std::filesystem::perms::none);
    EXPECT_EQ(0, asOrdinaryUser(directory, [this] {
                  RealFileSystem const closed(text(at("closed")));
                  EXPECT_EQ(".", nameForDamaged(closed, "f"));
              }));
    std::filesystem::permissions(at("closed"), std::filesystem::perms::owner_all);
}

TEST_F(DamagedFiles, AreRecognisedByTheirNames) {
    EXPECT_TRUE(isNameForDamaged("f.damaged-20261121T093000Z", "f"));
    EXPECT_TRUE(isNameForDamaged("f.damaged-20261121T093000Z-12", "f"));
    for (char const* const other :
         {"f", "f.damaged", "f.damaged-", "f.damaged-5", "f.previous", "g.damaged-20261121T093000Z",
          "ff.damaged-20261121T093000Z", "f.damaged-20261121T093000Z.txt", "f.damaged-20261121T093000Z-",
          "f.damaged-20261121T093000Z-x", "f.damaged-20261121T09300000", ""})
        EXPECT_FALSE(isNameForDamaged(other, "f")) << other;
}

TEST_F(DamagedFiles, AreKeptIfTheyAreTheNewestInASecond) {
    for (int made = 0; made < 30; ++made) {
        std::string const name = nameForDamaged(files, "f");
        putFile(at(name), "");
        removeOldestDamaged(files, "f");
        EXPECT_EQ(1U, names().count(name)) << name;
    }
    EXPECT_EQ(5U, names().size());
}

TEST_F(DamagedFiles, AreKeptIfTheClockWasSetBack) {
    for (char const* const later : {"1", "2", "3", "4", "5"})
        putFile(at(std::string("f.damaged-99990101T00000") + later + 'Z'), "");
    for (int made = 0; made < 3; ++made) {
        std::string const name = nameForDamaged(files, "f");
        EXPECT_TRUE(isNameForDamaged(name, "f")) << name;
        putFile(at(name), "");
        removeOldestDamaged(files, "f");
        EXPECT_EQ(1U, names().count(name)) << name;
    }
}

TEST_F(DamagedFiles, AreRemovedExceptForTheNewestFive) {
    std::set<std::string> expected{"f", "f.damaged-notes", "f.previous", "g.damaged-20251121T093000Z"};
    for (char const* const newest : {"20261121T093000Z-2", "20261121T093001Z", "20261121T093001Z-2",
                                     "20261122T000000Z", "20270101T000000Z"})
        expected.insert(std::string("f.damaged-") + newest);
    for (std::string const& name : expected)
        putFile(at(name), "");
    putFile(at("f.damaged-20251231T235959Z"), "");
    putFile(at("f.damaged-20261121T093000Z"), "");
    removeOldestDamaged(files, "f");
    EXPECT_EQ(expected, names());
    removeOldestDamaged(files, "f");
    EXPECT_EQ(expected, names());
}
