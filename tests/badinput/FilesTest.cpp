// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <filesystem/RealFileSystem.h>

#include "badinput/Files.h"
#include "support/TemporaryDirectory.h"

// File names, good and bad, in a file system rooted at the directory "root", which contains
//
//     file               "content"
//     sub/inner          "inner"
//     link        ->     ../outside, a file
//     linkedDirectory -> ../elsewhere, a directory with the file "x"
//     dangling    ->     ../nowhere
//     loop        ->     loop
//
// The notation of outcomes is described in `Files.h`; paths start at the directory around the root. The unique name
// below the loop is empty: a path that cannot be examined counts as existing.
//
// Symbolic links below the root belong to the administrator: they are followed, even out of the root. The text of a
// path cannot lead out of it.

namespace {

namespace fs = std::filesystem;
using badinput::Cell;
using badinput::cells;
using badinput::Contents;
using badinput::PrintableCell;
using badinput::repeated;
using filesystem::RealFileSystem;

std::map<std::string, QString> const& names() {
    auto const text = [](std::string const& utf8) { return QString::fromStdString(utf8); };
    static std::map<std::string, QString> const all = {
        {"Empty", text("")},
        {"Slashes", text("//")},
        {"Dot", text(".")},
        {"DotDot", text("..")},
        {"OutOfRoot", text("../outside")},
        {"OutOfRootAgain", text("/../../outside")},
        {"OutAndIn", text("../root/file")},
        {"InnerDots", text("sub/../file")},
        {"InnerDot", text("./file")},
        {"TrailingDots", text("sub/..")},
        {"Absolute", text("/etc/passwd")},
        {"LeadingSlashes", text("///file")},
        {"DoubledSlash", text("sub//inner")},
        {"TrailingSlash", text("file/")},
        {"BelowAFile", text("file/x")},
        {"ZeroByte", text(std::string("file\0", 5))},
        {"LeadingZeroByte", text(std::string("\0file", 5))},
        {"NotText", QString(QChar(0xD800))},
        {"TooLong", text(std::string(256, 'n'))},
        {"OneMebibyte", text(std::string(1 << 20, 'n'))},
        {"ManyLevels", text(repeated("m/", 100'000) + "n")},
        {"Link", text("link")},
        {"BelowALink", text("linkedDirectory/x")},
        {"DotsBelowALink", text("linkedDirectory/../outside")},
        {"Dangling", text("dangling")},
        {"Loop", text("loop")},
    };
    return all;
}

std::vector<Cell> const& contract() {
    static std::vector<Cell> const all = cells(R"(
                | exists | isFile | isDirectory | getFileList | size | loadModule | remove
Empty           | yes    | no     | yes         | =dangling,file,link,linkedDirectory,loop,sub, | =-1 | null | no
Slashes         | yes    | no     | yes         | =dangling,file,link,linkedDirectory,loop,sub, | =-1 | null | no
Dot             | no     | no     | no          | =           | =-1  | null       | no
DotDot          | no     | no     | no          | =           | =-1  | null       | no
OutOfRoot       | no     | no     | no          | =           | =-1  | null       | no
OutOfRootAgain  | no     | no     | no          | =           | =-1  | null       | no
OutAndIn        | no     | no     | no          | =           | =-1  | null       | no
InnerDots       | no     | no     | no          | =           | =-1  | null       | no
InnerDot        | no     | no     | no          | =           | =-1  | null       | no
TrailingDots    | no     | no     | no          | =           | =-1  | null       | no
Absolute        | no     | no     | no          | =           | =-1  | null       | no
LeadingSlashes  | yes    | yes    | no          | =           | =7   | null       | yes -root/file
DoubledSlash    | yes    | yes    | no          | =           | =5   | null       | yes -root/sub/inner
TrailingSlash   | yes    | yes    | no          | =           | =7   | null       | yes -root/file
BelowAFile      | no     | no     | no          | =           | =-1  | null       | no
ZeroByte        | no     | no     | no          | =           | =-1  | null       | no
LeadingZeroByte | no     | no     | no          | =           | =-1  | null       | no
NotText         | no     | no     | no          | =           | =-1  | null       | no
TooLong         | no     | no     | no          | =           | =-1  | null       | no
OneMebibyte     | no     | no     | no          | =           | =-1  | null       | no
ManyLevels      | no     | no     | no          | =           | =-1  | null       | no
Link            | yes    | yes    | no          | =           | =7   | null       | yes -root/link
BelowALink      | yes    | yes    | no          | =           | =1   | null       | yes -elsewhere/x
DotsBelowALink  | no     | no     | no          | =           | =-1  | null       | no
Dangling        | no     | no     | no          | =           | =-1  | null       | yes -root/dangling
Loop            | yes    | no     | no          | =           | =-1  | null       | yes -root/loop
)") + cells(R"(
                | read     | write               | mkdir | getUniqueFileName
Empty           | no       | no                  | no    | =%/n0
Slashes         | no       | no                  | no    | =%/n0
Dot             | no       | no                  | no    | =%/n0
DotDot          | no       | no                  | no    | =%/n0
OutOfRoot       | no       | no                  | no    | =%/n0
OutOfRootAgain  | no       | no                  | no    | =%/n0
OutAndIn        | no       | no                  | no    | =%/n0
InnerDots       | no       | no                  | no    | =%/n0
InnerDot        | no       | no                  | no    | =%/n0
TrailingDots    | no       | no                  | no    | =%/n0
Absolute        | no       | no                  | no    | =%/n0
LeadingSlashes  | =content | yes *root/file      | no    | =%/n0
DoubledSlash    | =inner   | yes *root/sub/inner | no    | =%/n0
TrailingSlash   | =content | yes *root/file      | no    | =%/n0
BelowAFile      | no       | no                  | no    | =%/n0
ZeroByte        | no       | no                  | no    | =%/n0
LeadingZeroByte | no       | no                  | no    | =%/n0
NotText         | no       | no                  | no    | =%/n0
TooLong         | no       | no                  | no    | =%/n0
OneMebibyte     | no       | no                  | no    | =%/n0
ManyLevels      | no       | no                  | no    | =%/n0
Link            | =outside | yes *outside        | no    | =%/n0
BelowALink      | =x       | yes *elsewhere/x    | no    | =%/n0
DotsBelowALink  | no       | no                  | no    | =%/n0
Dangling        | no       | yes +nowhere        | no    | =%/n0
Loop            | no       | no                  | no    | =
)");
    return all;
}

/** Every entry around the root, with the targets of links and the contents of files. */
Contents everything(fs::path const& top) {
    Contents result;
    for (fs::directory_entry const& entry : fs::recursive_directory_iterator(top)) {
        std::string const path = entry.path().lexically_relative(top).string();
        if (entry.is_symlink()) {
            result[path] = "-> " + fs::read_symlink(entry.path()).string();
        } else if (entry.is_regular_file()) {
            std::ostringstream content;
            content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            result[path] = content.str();
        } else {
            result[path + '/'] = "";
        }
    }
    return result;
}

void fill(fs::path const& top) {
    auto const file = [&](char const* path, char const* content) { std::ofstream(top / path) << content; };
    for (char const* const directory : {"root", "root/sub", "elsewhere"})
        fs::create_directory(top / directory);
    file("root/file", "content");
    file("root/sub/inner", "inner");
    file("outside", "outside");
    file("elsewhere/x", "x");
    fs::create_symlink("../outside", top / "root/link");
    fs::create_symlink("../elsewhere", top / "root/linkedDirectory");
    fs::create_symlink("../nowhere", top / "root/dangling");
    fs::create_symlink("loop", top / "root/loop");
}

class BadFileName : public testing::TestWithParam<PrintableCell> {};
INSTANTIATE_TEST_SUITE_P(Disk, BadFileName, testing::ValuesIn(badinput::printable(contract())),
                         [](auto const& one) { return one.param.row + '_' + one.param.column; });

TEST_P(BadFileName, HasTheOutcomeInTheTable) {
    support::TemporaryDirectory const top;
    fill(top.path());
    auto const before = everything(top.path());
    std::string outcome;
    {
        RealFileSystem files(QString::fromStdString((top / "root").string()));
        outcome = badinput::fileOperations().at(GetParam().column)(files, names().at(GetParam().row));
    }
    EXPECT_EQ(GetParam().outcome, outcome + badinput::changes(before, everything(top.path())));
}

TEST(BadFileNames, AreEachTestedWithEveryOperation) {
    EXPECT_EQ(names().size() * badinput::fileOperations().size(), contract().size());
}

} // namespace
