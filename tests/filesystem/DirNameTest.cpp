// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "filesystem/Path.h"

namespace {

/** The table's left column has the right one as its directory parts. */
void expectDirectories(std::map<std::string, std::string> const& table) {
    for (auto const& [path, directory] : table)
        EXPECT_EQ(directory, filesystem::dirName(QString::fromStdString(path)).toStdString()) << path;
}

TEST(DirName, IsThePartBeforeTheLastSlash) {
    expectDirectories({{"a/b", "a"}, {"a/b/c", "a/b"}, {"/a/b", "/a"}, {"../b", ".."}});
}

TEST(DirName, IsEmptyWithoutASlash) {
    expectDirectories({{"", ""}, {"a", ""}, {"a.b", ""}, {"..", ""}});
}

TEST(DirName, IsEmptyForAFirstSlashAlone) {
    expectDirectories({{"/", ""}, {"/a", ""}});
}

TEST(DirName, DropsASlashAtTheEndAlone) {
    expectDirectories({{"a/", "a"}, {"/user/", "/user"}, {"a/b/", "a/b"}});
}

TEST(DirName, NormalisesNothing) {
    expectDirectories({{"a//b", "a/"}, {"//", "/"}, {"a/../b", "a/.."}, {"./a", "."}});
}

TEST(DirName, KeepsNamesOfAllScripts) {
    expectDirectories({{"Größe/設定/😀", "Größe/設定"}});
}

TEST(DirName, OfANullStringIsEmpty) {
    EXPECT_TRUE(filesystem::dirName(QString()).isEmpty());
}

} // namespace
