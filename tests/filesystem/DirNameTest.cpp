// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "filesystem/Path.h"

namespace {

/** Expects the directory part of the first path of each pair to be the second. */
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

TEST(DirName, IsEmptyForALeadingSlashAlone) {
    expectDirectories({{"/", ""}, {"/a", ""}});
}

TEST(DirName, DropsOnlyATrailingSlash) {
    expectDirectories({{"a/", "a"}, {"/user/", "/user"}, {"a/b/", "a/b"}});
}

TEST(DirName, DoesNotNormaliseThePath) {
    expectDirectories({{"a//b", "a/"}, {"//", "/"}, {"a/../b", "a/.."}, {"./a", "."}});
}

TEST(DirName, KeepsNamesOfAllScripts) {
    expectDirectories({{"Größe/設定/😀", "Größe/設定"}});
}

TEST(DirName, OfANullStringIsEmpty) {
    EXPECT_TRUE(filesystem::dirName(QString()).isEmpty());
}

} // namespace
