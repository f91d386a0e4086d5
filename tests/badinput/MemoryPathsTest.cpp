// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <filesystem/RAMFileSystem.h>

#include "badinput/Files.h"
#include "badinput/Leaves.h"
#include "support/Failure.h"

// Paths that no program should give to a file system in memory, which contains
//
//     /file        "content"
//     /sub/inner   "inner"
//
// The notation of outcomes is described in `Files.h`; a new directory is listed only if it is empty. The outcome of
// `serialize` lists the files that it writes; `unserialize` reads a tree that contains only the file "n". In addition:
//
//     -            nothing is returned
//     !none        utils::Exception "Can't read a register file into %: invalid path in memory"
//     !nowhere     utils::Exception "Can't read a register file into %: cannot create the directory"
//
// The exception's message ends at the first zero byte. Paths are made readable: a zero byte is "\x00", and long runs
// are abbreviated.

namespace {

using badinput::Cell;
using badinput::cells;
using badinput::FileOperation;
using badinput::PrintableCell;
using badinput::repeated;
using badinput::yesNo;
using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::RAMFileSystem;

std::map<std::string, QString> const& paths() {
    auto const text = [](std::string const& utf8) { return QString::fromStdString(utf8); };
    static std::map<std::string, QString> const all = {
        {"Empty", text("")},
        {"Slashes", text("//")},
        {"Dot", text(".")},
        {"DotDot", text("..")},
        {"OutOfRoot", text("/../file")},
        {"InnerDots", text("/sub/../file")},
        {"InnerDot", text("/./file")},
        {"TrailingDots", text("/sub/..")},
        {"Relative", text("file")},
        {"LeadingSlashes", text("///file")},
        {"DoubledSlash", text("/sub//inner")},
        {"TrailingSlash", text("/file/")},
        {"SlashAfterASub", text("/sub/")},
        {"BelowAFile", text("/file/n")},
        {"NoParent", text("/none/n")},
        {"ZeroByte", text(std::string("/file\0", 6))},
        {"LeadingZeroByte", text(std::string("/\0file", 6))},
        {"NotText", QString(QLatin1Char('/')) + QChar(0xD800)},
        {"OneMebibyte", text('/' + std::string(1 << 20, 'n'))},
        {"ManyLevels", text(repeated("/m", 100'000) + "/n")},
    };
    return all;
}

std::vector<Cell> const& contract() {
    static std::vector<Cell> const all = cells(R"(
path            | exists | isFile | isDirectory | getFileList | size | loadModule
Empty           | yes    | no     | yes         | =file,sub,  | =-1  | null
Slashes         | yes    | no     | yes         | =file,sub,  | =-1  | null
Dot             | no     | no     | no          | =           | =-1  | null
DotDot          | no     | no     | no          | =           | =-1  | null
OutOfRoot       | no     | no     | no          | =           | =-1  | null
InnerDots       | no     | no     | no          | =           | =-1  | null
InnerDot        | no     | no     | no          | =           | =-1  | null
TrailingDots    | no     | no     | no          | =           | =-1  | null
Relative        | yes    | yes    | no          | =           | =7   | null
LeadingSlashes  | yes    | yes    | no          | =           | =7   | null
DoubledSlash    | yes    | yes    | no          | =           | =5   | null
TrailingSlash   | yes    | yes    | no          | =           | =7   | null
SlashAfterASub  | yes    | no     | yes         | =inner,     | =-1  | null
BelowAFile      | no     | no     | no          | =           | =-1  | null
NoParent        | no     | no     | no          | =           | =-1  | null
ZeroByte        | no     | no     | no          | =           | =-1  | null
LeadingZeroByte | no     | no     | no          | =           | =-1  | null
NotText         | no     | no     | no          | =           | =-1  | null
OneMebibyte     | no     | no     | no          | =           | =-1  | null
ManyLevels      | no     | no     | no          | =           | =-1  | null
)") + cells(R"(
path            | read     | write            | mkdir             | remove                 | getUniqueFileName
Empty           | no       | no               | no                | no                     | =%/n0
Slashes         | no       | no               | no                | no                     | =%/n0
Dot             | no       | no               | no                | no                     | =%/n0
DotDot          | no       | no               | no                | no                     | =%/n0
OutOfRoot       | no       | no               | no                | no                     | =%/n0
InnerDots       | no       | no               | no                | no                     | =%/n0
InnerDot        | no       | no               | no                | no                     | =%/n0
TrailingDots    | no       | no               | no                | no                     | =%/n0
Relative        | =content | yes */file       | no                | yes -/file             | =%/n0
LeadingSlashes  | =content | yes */file       | no                | yes -/file             | =%/n0
DoubledSlash    | =inner   | yes */sub/inner  | no                | yes +/sub/ -/sub/inner | =%/n0
TrailingSlash   | =content | yes */file       | no                | yes -/file             | =%/n0
SlashAfterASub  | no       | no               | no                | yes -/sub/inner        | =%/n0
BelowAFile      | no       | no               | no                | no                     | =%/n0
NoParent        | no       | no               | no                | no                     | =%/n0
ZeroByte        | no       | yes +/file\x00   | yes +/file\x00/   | no                     | =%/n0
LeadingZeroByte | no       | yes +/\x00file   | yes +/\x00file/   | no                     | =%/n0
NotText         | no       | no               | no                | no                     | =%/n0
OneMebibyte     | no       | yes +/n{1048576} | yes +/n{1048576}/ | no                     | =%/n0
ManyLevels      | no       | no               | no                | no                     | =%/n0
)") + cells(R"(
path            | serialize              | unserialize
Empty           | yes =/file,/sub/inner, | - +/n -/file -/sub/inner
Slashes         | yes =/file,/sub/inner, | - +/n -/file -/sub/inner
Dot             | yes =                  | !nowhere
DotDot          | yes =                  | !nowhere
OutOfRoot       | yes =                  | !nowhere
InnerDots       | yes =                  | !nowhere
InnerDot        | yes =                  | !nowhere
TrailingDots    | yes =                  | !nowhere
Relative        | yes =                  | - +/file/n -/file
LeadingSlashes  | yes =                  | - +/file/n -/file
DoubledSlash    | yes =                  | - +/sub/inner/n -/sub/inner
TrailingSlash   | yes =                  | - +/file/n -/file
SlashAfterASub  | yes =/inner,           | - +/sub/n -/sub/inner
BelowAFile      | yes =                  | !nowhere
NoParent        | yes =                  | !nowhere
ZeroByte        | yes =                  | - +/file\x00/n
LeadingZeroByte | yes =                  | - +/\x00file/n
NotText         | yes =                  | !none
OneMebibyte     | yes =                  | - +/n{1048576}/n
ManyLevels      | yes =                  | !nowhere
)");
    return all;
}

void put(RAMFileSystem& files, char const* path, char const* content) {
    FileHandle* handle = nullptr;
    files.open(QString::fromLatin1(path), &handle, FileSystem::MODE_WRITE);
    files.write(handle, content, static_cast<long>(std::string(content).size()));
    files.close(handle);
}

/** The file system with which each case starts. */
struct Memory : RAMFileSystem {
    Memory() {
        mkdir(QStringLiteral("/sub"));
        put(*this, "/file", "content");
        put(*this, "/sub/inner", "inner");
    }
};

std::string serialized(FileSystem& files, QString const& path) {
    RAMFileSystem disk;
    FileHandle* handle = nullptr;
    disk.open(QStringLiteral("/tree"), &handle, FileSystem::MODE_WRITE);
    if (!dynamic_cast<RAMFileSystem&>(files).serialize(path, *handle))
        return yesNo(disk.tell(handle) != 0);
    disk.open(QStringLiteral("/tree"), &handle, FileSystem::MODE_READ);
    std::string text = "yes =";
    for (auto const& leaf : badinput::leaves(disk.readBytes(handle, 1'000'000)))
        text += leaf.first + ',';
    return text;
}

std::string unserialized(FileSystem& files, QString const& path) {
    static std::string const bytes = [] {
        RAMFileSystem tree;
        put(tree, "/n", "new");
        return badinput::serialized(tree);
    }();
    RAMFileSystem disk;
    FileHandle* handle = nullptr;
    disk.open(QStringLiteral("/tree"), &handle, FileSystem::MODE_WRITE);
    disk.write(handle, bytes.data(), static_cast<long>(bytes.size()));
    disk.open(QStringLiteral("/tree"), &handle, FileSystem::MODE_READ);
    std::string const failure =
        support::failure([&] { dynamic_cast<RAMFileSystem&>(files).unserialize(path, *handle); });
    std::map<std::string, std::string> const reasons = {{"!none", "invalid path in memory"},
                                                        {"!nowhere", "cannot create the directory"}};
    for (auto const& [word, reason] : reasons) {
        std::string const message = "Can't read a register file into " + path.toStdString() + ": " + reason;
        if (failure == message.substr(0, message.find('\0')))
            return word;
    }
    return failure == "nothing" ? "-" : failure;
}

std::map<std::string, FileOperation> const& operations() {
    static std::map<std::string, FileOperation> const all = [] {
        auto operations = badinput::fileOperations();
        operations["serialize"] = serialized;
        operations["unserialize"] = unserialized;
        return operations;
    }();
    return all;
}

class BadMemoryPath : public testing::TestWithParam<PrintableCell> {};
INSTANTIATE_TEST_SUITE_P(Memory, BadMemoryPath, testing::ValuesIn(badinput::printable(contract())),
                         [](auto const& one) { return one.param.row + '_' + one.param.column; });

TEST_P(BadMemoryPath, HasTheOutcomeInTheTable) {
    Memory files;
    auto const before = badinput::leaves(badinput::serialized(files));
    QString const& path = paths().at(GetParam().row);
    std::string outcome = operations().at(GetParam().column)(files, path);
    outcome += badinput::changes(before, badinput::leaves(badinput::serialized(files)));
    EXPECT_EQ(GetParam().outcome, badinput::readable(outcome));
}

TEST(BadMemoryPaths, AreEachTestedWithEveryOperation) {
    EXPECT_EQ(paths().size() * operations().size(), contract().size());
}

} // namespace
