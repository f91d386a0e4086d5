// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <filesystem/FileSystem.h>

#include "badinput/Table.h"

// The tables of file names: the operations of a file system that take a path, and the notation of their outcomes:
//
//     yes, no      the result
//     =text        the text, number or listing returned
//     null         no module
//     +p +p/       a file with the content "new" or a directory was created
//     *p -p        a file's content was replaced by "new", an entry was removed
//
// where % is the path as given.

namespace badinput {

/** Contents by path; empty for a directory, whose path ends in "/". */
using Contents = std::map<std::string, std::string>;

inline std::string changes(Contents const& before, Contents const& after) {
    std::string text;
    for (auto const& [path, bytes] : after)
        if (auto const was = before.find(path); was == before.end() || was->second != bytes)
            text += (was == before.end() ? " +" : " *") + path +
                    (bytes == "new" || path.back() == '/' ? "" : ':' + bytes);
    for (auto const& was : before)
        if (after.count(was.first) == 0)
            text += " -" + was.first;
    return text;
}

inline std::string content(filesystem::FileSystem& files, QString const& path) {
    filesystem::FileHandle* handle = nullptr;
    if (!files.open(path, &handle, filesystem::FileSystem::MODE_READ))
        return handle == nullptr ? "no" : "no, but a handle";
    std::string bytes = '=' + files.readBytes(handle, 1'000'000);
    files.close(handle);
    return bytes;
}

inline std::string replaced(filesystem::FileSystem& files, QString const& path) {
    filesystem::FileHandle* handle = nullptr;
    if (!files.open(path, &handle, filesystem::FileSystem::MODE_WRITE))
        return handle == nullptr ? "no" : "no, but a handle";
    return yesNo(files.write(handle, "new", 3) == 3 && files.close(handle));
}

using FileOperation = std::function<std::string(filesystem::FileSystem&, QString const&)>;

inline std::map<std::string, FileOperation> const& fileOperations() {
    using Fs = filesystem::FileSystem;
    using Path = QString const&;
    static std::map<std::string, FileOperation> const all = {
        {"exists", [](Fs& f, Path p) { return yesNo(f.exists(p)); }},
        {"isFile", [](Fs& f, Path p) { return yesNo(f.isFile(p)); }},
        {"isDirectory", [](Fs& f, Path p) { return yesNo(f.isDirectory(p)); }},
        {"getFileList", [](Fs& f, Path p) { return listed(f.getFileList(p)); }},
        {"size", [](Fs& f, Path p) { return '=' + std::to_string(f.size(p)); }},
        {"loadModule", [](Fs& f, Path p) { return f.loadModule(p) == nullptr ? "null" : "a module"; }},
        {"remove", [](Fs& f, Path p) { return yesNo(f.remove(p)); }},
        {"read", content},
        {"write", replaced},
        {"mkdir", [](Fs& f, Path p) { return yesNo(f.mkdir(p)); }},
        {"getUniqueFileName",
         [](Fs& f, Path p) {
             QString const unique = f.getUniqueFileName(p, QStringLiteral("n"), QString());
             return unique == p + QStringLiteral("/n0") ? "=%/n0" : "=" + unique.toStdString();
         }},
    };
    return all;
}

/** A cell as a test's parameter. */
struct PrintableCell : Cell {
    explicit PrintableCell(Cell cell) : Cell(std::move(cell)) {}
    friend void PrintTo(PrintableCell const& one, std::ostream* out) { *out << one.row << '_' << one.column; }
};

inline std::vector<PrintableCell> printable(std::vector<Cell> const& cells) {
    return {cells.begin(), cells.end()};
}

} // namespace badinput
