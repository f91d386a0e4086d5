// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <utils/properties/Register.h>

#include "badinput/Files.h"
#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/TemporaryDirectory.h"

// Directories that no program should use, passed as
//
//     asGlobal      the register's global directory
//     asUser        the register's user directory
//     testFile      the root of `_test_register_path`, with the bare name of a register file
//     testDeep      the same, with a name in a subdirectory
//     testAsFile    the name of the register file in `_test_register_path`
//
// The directory around the working directory contains
//
//     file          "content"
//     sub/inner     "inner"
//     here/         the working directory of each case
//
// The notation of an outcome:
//
//     yes, no       the result
//     ready         the register exists, and its temporary scope has both directories as given
//     +p +p/        a register file or directory was created
//
// The register starts with every one of these directories. If it cannot save, it does not report that.

namespace {

namespace fs = std::filesystem;
using badinput::Cell;
using badinput::cells;
using badinput::PrintableCell;
using badinput::repeated;
using utils::properties::_Register;

/** The directory of each row. Relative ones start at "here". */
std::map<std::string, std::string> const& directories() {
    static std::map<std::string, std::string> const all = {
        {"Empty", ""},
        {"Dot", "."},
        {"DotDot", ".."},
        {"DotDotSub", "../sub"},
        {"Missing", "missing"},
        {"AFile", "../file"},
        {"BelowAFile", "../file/x"},
        {"ZeroByte", std::string("../sub\0/x", 9)},
        {"LeadingZeroByte", std::string("\0../sub", 7)},
        {"NotUtf8", "\xff"},
        {"Truncated", "../sub/\xc3"},
        {"OneMebibyte", std::string(1 << 20, 'n')},
        {"ManyLevels", repeated("m/", 100'000) + "n"},
        {"TrailingSlashes", "../sub///"},
    };
    return all;
}

std::vector<Cell> const& contract() {
    static std::vector<Cell> const all = cells(R"(
directory       | asGlobal                 | asUser                    | testFile | testDeep        | testAsFile
Empty           | ready +sub/Velmorand.dat | ready                     | yes      | no              | yes
Dot             | ready +sub/Velmorand.dat | ready +here/Velmorand.dat | yes      | yes +here/deep/ | yes
DotDot          | ready +sub/Velmorand.dat | ready +Velmorand.dat      | yes      | yes +deep/      | yes
DotDotSub       | ready +sub/Velmorand.dat | ready +sub/Velmorand.dat  | yes      | yes +sub/deep/  | no
Missing         | ready +sub/Velmorand.dat | ready                     | yes      | no              | yes
AFile           | ready +sub/Velmorand.dat | ready                     | yes      | no              | no
BelowAFile      | ready +sub/Velmorand.dat | ready                     | yes      | no              | no
ZeroByte        | ready +sub/Velmorand.dat | ready                     | yes      | no              | no
LeadingZeroByte | ready +sub/Velmorand.dat | ready                     | yes      | no              | no
NotUtf8         | ready +sub/Velmorand.dat | ready                     | yes      | no              | yes
Truncated       | ready +sub/Velmorand.dat | ready                     | yes      | no              | no
OneMebibyte     | ready +sub/Velmorand.dat | ready                     | yes      | no              | yes
ManyLevels      | ready +sub/Velmorand.dat | ready                     | yes      | no              | no
TrailingSlashes | ready +sub/Velmorand.dat | ready +sub/Velmorand.dat  | yes      | yes +sub/deep/  | no
)");
    return all;
}

std::string initialized(std::string const& global, std::string const& user) {
    std::string const failure = support::failure([&] { _Register::initialize(global, user); });
    if (failure != "nothing")
        return "threw <" + failure + '>';
    std::string globalThere;
    std::string userThere;
    _Register::getInstance()->_readString("GlobalDataPath", globalThere);
    _Register::getInstance()->_readString("UserDataPath", userThere);
    return globalThere == global && userThere == user ? "ready" : "another directory";
}

using Operation = std::function<std::string(std::string const&)>;

std::map<std::string, Operation> const& operations() {
    using Path = std::string const&;
    static std::map<std::string, Operation> const all = {
        {"asGlobal", [](Path p) { return initialized(p, "../sub"); }},
        {"asUser", [](Path p) { return initialized("../sub", p); }},
        {"testFile", [](Path p) { return badinput::yesNo(_test_register_path(p, "file")); }},
        {"testDeep", [](Path p) { return badinput::yesNo(_test_register_path(p, "deep/file")); }},
        {"testAsFile", [](Path p) { return badinput::yesNo(_test_register_path("../sub", p)); }},
    };
    return all;
}

/** Every entry, with the contents of files; a register file's content is only marked as new. */
badinput::Contents everything(fs::path const& top) {
    badinput::Contents result;
    for (fs::directory_entry const& entry : fs::recursive_directory_iterator(top)) {
        std::string const path = entry.path().lexically_relative(top).string();
        std::ostringstream content;
        if (entry.path().filename() == "Velmorand.dat")
            content << "new";
        else if (entry.is_regular_file())
            content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        result[entry.is_directory() ? path + '/' : path] = content.str();
    }
    return result;
}

class BadDirectory : public testing::TestWithParam<PrintableCell> {};
INSTANTIATE_TEST_SUITE_P(Register, BadDirectory, testing::ValuesIn(badinput::printable(contract())),
                         [](auto const& one) { return one.param.row + '_' + one.param.column; });

TEST_P(BadDirectory, HasTheOutcomeInTheTable) {
    EXPECT_EQ(0, support::inChild(
                     [] {
                         support::TemporaryDirectory const top;
                         fs::create_directory(top / "here");
                         fs::create_directory(top / "sub");
                         std::ofstream(top / "file") << "content";
                         std::ofstream(top / "sub/inner") << "inner";
                         fs::current_path(top / "here");
                         auto const before = everything(top.path());
                         std::string const outcome =
                             operations().at(GetParam().column)(directories().at(GetParam().row));
                         EXPECT_EQ(GetParam().outcome,
                                   outcome + badinput::changes(before, everything(top.path())));
                     },
                     support::Leave::atOnce));
}

TEST(BadDirectories, AreEachTestedWithEveryOperation) {
    EXPECT_EQ(directories().size() * operations().size(), contract().size());
}

} // namespace
