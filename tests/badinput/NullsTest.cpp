// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <filesystem/RAMFileSystem.h>
#include <filesystem/RealFileSystem.h>

#include "badinput/Registers.h"
#include "badinput/Table.h"
#include "support/TemporaryDirectory.h"

// Null pointers, and handles of another file system.

namespace {

using badinput::Cell;
using badinput::cells;
using badinput::Subject;
using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::RAMFileSystem;
using filesystem::RealFileSystem;

class NullListener : public testing::TestWithParam<bool> {
protected:
    Subject subject{GetParam()};

    std::string outcome(std::function<void(badinput::_Register&)> const& call) {
        return subject.outcome({"",
                                [&](badinput::_Register& settings, badinput::Arguments const&) {
                                    call(settings);
                                    return std::string();
                                },
                                ""},
                               {"g/x", badinput::SCOPE_USER});
    }
};
INSTANTIATE_TEST_SUITE_P(Register, NullListener, testing::Bool(),
                         [](auto const& one) { return one.param ? "Derived" : "Plain"; });

TEST_P(NullListener, IsRefusedByAddCallback) {
    EXPECT_EQ("threw <Null callback.>",
              outcome([](auto& settings) { settings.addCallback("g/x", nullptr); }));
    EXPECT_EQ("threw <Null callback.>", outcome([](auto& settings) { settings.addCallback("", nullptr); }));
    // A change does not call the null listener.
    EXPECT_EQ("-", outcome([](auto& settings) { settings.markAsChanged(nullptr, "g/x"); }));
}

TEST_P(NullListener, IsIgnoredByRemoveCallback) {
    EXPECT_EQ("-", outcome([](auto& settings) { settings.removeCallback("g/x", nullptr); }));
    EXPECT_EQ("-", outcome([](auto& settings) { settings.removeCallback(nullptr); }));
}

TEST_P(NullListener, RemovesNoOtherListener) {
    notification::Listener listener;
    subject.settings().addCallback("g/x", &listener);
    subject.settings().removeCallback("g/x", nullptr);
    subject.settings().removeCallback(nullptr);
    subject.settings().markAsChanged(nullptr, "g/x");
    subject.settings().removeCallback(&listener);
    EXPECT_EQ(1U, listener.told.size());
}

TEST_P(NullListener, LeavesANullSenderValid) {
    EXPECT_EQ("-", outcome([](auto& settings) { settings.notify(nullptr); }));
}

TEST_P(NullListener, LeavesANullElementTypeValid) {
    subject.settings()._writeIntegers(nullptr, "list", {1}, badinput::SCOPE_USER);
    EXPECT_EQ(utils::properties::TYPE_LIST, subject.settings().readPropertyType("list", nullptr));
    EXPECT_EQ(utils::properties::TYPE_INTEGER, subject.settings().readPropertyType("g/x", nullptr));
}

/** A file system with a file that holds "content", and another with an open file. */
struct Files {
    explicit Files(std::unique_ptr<FileSystem> (*make)(std::string const& directory))
        : own(make((directory / "own").string())), other(make((directory / "other").string())) {
        for (FileSystem* const files : {own.get(), other.get()}) {
            FileHandle* handle = nullptr;
            files->open(QStringLiteral("/file"), &handle, FileSystem::MODE_WRITE);
            files->write(handle, "content", 7);
            files->close(handle);
        }
        other->open(QStringLiteral("/file"), &foreign, FileSystem::MODE_READ);
    }

    support::TemporaryDirectory directory;
    std::unique_ptr<FileSystem> own;
    std::unique_ptr<FileSystem> other;
    FileHandle* foreign = nullptr;
};

std::map<std::string, std::unique_ptr<FileSystem> (*)(std::string const&)> const forms = {
    {"RAM",
     [](std::string const&) -> std::unique_ptr<FileSystem> { return std::make_unique<RAMFileSystem>(); }},
    {"Real", [](std::string const& root) -> std::unique_ptr<FileSystem> {
         std::filesystem::create_directory(root);
         return std::make_unique<RealFileSystem>(QString::fromStdString(root));
     }}};

/** The operations on a handle, and what they return, as text. */
std::map<std::string, std::function<std::string(FileSystem&, FileHandle*)>> const& operations() {
    using badinput::yesNo;
    using Fs = FileSystem;
    using Handle = FileHandle*;
    static char buffer[4] = "abc";
    static std::map<std::string, std::function<std::string(FileSystem&, FileHandle*)>> const all = {
        {"close", [](Fs& f, Handle h) { return yesNo(f.close(h)); }},
        {"read", [](Fs& f, Handle h) { return std::to_string(f.read(h, buffer, 3)) + buffer; }},
        {"write", [](Fs& f, Handle h) { return std::to_string(f.write(h, "xyz", 3)); }},
        {"seek", [](Fs& f, Handle h) { return yesNo(f.seek(h, 0, Fs::ORIGIN_BEGIN)); }},
        {"tell", [](Fs& f, Handle h) { return std::to_string(f.tell(h)); }},
        {"size", [](Fs& f, Handle h) { return std::to_string(f.size(h)); }},
        {"readByte", [](Fs& f, Handle h) { return std::to_string(f.readByte(h)); }},
        {"readShort", [](Fs& f, Handle h) { return std::to_string(f.readShort(h)); }},
        {"readInt", [](Fs& f, Handle h) { return std::to_string(f.readInt(h)); }},
        {"readFloat", [](Fs& f, Handle h) { return std::to_string(int(f.readFloat(h))); }},
        {"readBytes", [](Fs& f, Handle h) { return '"' + f.readBytes(h, 1 << 30) + '"'; }},
        {"skip", [](Fs& f, Handle h) { return f.skip(h, 1), "-"; }},
        {"writeByte", [](Fs& f, Handle h) { return f.writeByte(h, 'x'), "-"; }},
        {"writeShort", [](Fs& f, Handle h) { return f.writeShort(h, 1), "-"; }},
        {"writeInt", [](Fs& f, Handle h) { return f.writeInt(h, 1), "-"; }},
        {"writeFloat", [](Fs& f, Handle h) { return f.writeFloat(h, 1), "-"; }},
    };
    return all;
}

std::vector<Cell> const& contract() {
    static std::vector<Cell> const all = cells(R"(
handle  | close | read | write | seek | tell | size | readByte | readShort | readInt | readFloat | readBytes
Null    | no    | 0abc | 0     | no   | -1   | -1   | 0        | 0         | 0       | 0         | ""
Foreign | no    | 0abc | 0     | no   | -1   | -1   | 0        | 0         | 0       | 0         | ""
)") + cells(R"(
handle  | skip | writeByte | writeShort | writeInt | writeFloat
Null    | -    | -         | -          | -        | -
Foreign | -    | -         | -          | -        | -
)");
    return all;
}

struct Case {
    Cell cell;
    std::string form;

    [[nodiscard]] std::string name() const { return cell.row + '_' + cell.column + '_' + form; }
    friend void PrintTo(Case const& one, std::ostream* out) { *out << one.name(); }
};

std::vector<Case> everyCase() {
    std::vector<Case> result;
    for (Cell const& cell : contract())
        for (auto const& form : forms)
            result.push_back({cell, form.first});
    return result;
}

class BadHandle : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(FileSystems, BadHandle, testing::ValuesIn(everyCase()),
                         [](auto const& one) { return one.param.name(); });

std::string contentOf(FileSystem& files) {
    FileHandle* handle = nullptr;
    files.open(QStringLiteral("/file"), &handle, FileSystem::MODE_READ);
    std::string bytes = files.readBytes(handle, 100);
    files.close(handle);
    return bytes;
}

TEST_P(BadHandle, HasTheOutcomeInTheTable) {
    Cell const& cell = GetParam().cell;
    Files files(forms.at(GetParam().form));
    FileHandle* const handle = cell.row == "Null" ? nullptr : files.foreign;
    EXPECT_EQ(cell.outcome, operations().at(cell.column)(*files.own, handle));
    // The other file system's handle has not moved, and both files are unchanged.
    EXPECT_EQ(0, files.other->tell(files.foreign));
    EXPECT_EQ("content", contentOf(*files.own));
    EXPECT_EQ("content", contentOf(*files.other));
    EXPECT_TRUE(files.other->close(files.foreign));
}

TEST(BadHandles, AreEachTestedWithEveryOperation) {
    EXPECT_EQ(2 * forms.size() * operations().size(), everyCase().size());
}

} // namespace
