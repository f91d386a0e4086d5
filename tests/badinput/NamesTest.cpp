// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "badinput/Registers.h"
#include "support/ChildProcess.h"

// Names that no program should give to the register, in the user scope, which contains the integers "g/x" and "g/y".
//
// The notation of an outcome:
//
//     -            nothing is returned, nothing has changed
//     yes, no      the result
//     =text        the text, number or list returned
//     other        the value of "g/x" was read
//     handle       an open file
//     +p  +p/      an empty property or a group was created
//     *p           the content of a property was removed
//     :value       after +p or *p: the property has the record of the value to be written instead
//     -p           a property was removed
//     told         the listener under this name was notified of it once
//     !missing     PropertyNotFound
//     !type        PropertyBadType
//     !list        utils::Exception "% does not exist or is not a group."
//     !group       utils::Exception "Group (the part of % before the last "/") does not exist !"
//     !open        utils::Exception "Cannot open property named % !"
//     !write       utils::Exception "% no such property."
//     !writePath   utils::Exception "/user/% no such property"
//
// where % is the name as given, and @ is the name as stored in the tree. The exception's message ends at the first zero
// byte. A call has no other effects: every other property and group, in this scope and in the others, is unchanged; no
// change is pending; and the lock is free.

namespace {

using badinput::Case;
using badinput::Cell;
using badinput::cells;
using badinput::repeated;
using badinput::SCOPE_USER;
using badinput::Subject;

struct Name {
    std::string given;
    std::string derived; ///< used instead for a derived register, which looks up every level by its path
};

std::map<std::string, Name> const& names() {
    auto const name = [](std::string const& given) { return Name{given, given}; };
    static std::map<std::string, Name> const all = {
        // names of missing properties
        {"Valid", name("n")},
        {"LeadingSlash", name("/n")},
        {"LeadingSlashes", name("///n")},
        {"DoubledSlash", name("m//n")},
        {"TrailingSlash", name("n/")},
        {"TrailingSlashes", name("m/n//")},
        {"ZeroByte", name(std::string("n\0/x", 4))},
        {"NotUtf8", name("\xff")},
        {"Truncated", name("m/\xc3")},
        {"OverlongSlash", name("m\xc0\xafn")},
        {"Surrogate", name("\xed\xa0\x80")},
        {"ByteOrderMark", name("\xef\xbb\xbfn")},
        {"OneMebibyte", name(std::string(1 << 20, 'n'))},
        {"ManyLevels", {repeated("m/", 100'000) + "n", repeated("m/", 1'000) + "n"}},
        // names that cannot exist
        {"Dot", name(".")},
        {"DotDot", name("..")},
        {"DotLevel", name("./n")},
        {"DotDotLevel", name("../n")},
        {"OutOfScope", name("../global/p")},
        {"OutOfRoot", name("../../../n")},
        {"InnerDots", name("g/../g/x")},
        {"TrailingDots", name("g/..")},
        {"BelowAProperty", name("g/x/n")},
        // other spellings of the name of an existing property
        {"KnownLeadingSlash", name("/g/x")},
        {"KnownDoubledSlash", name("g//x")},
        {"KnownTrailingSlash", name("g/x/")},
        // names of the scope itself
        {"Empty", name("")},
        {"Slash", name("/")},
        {"Slashes", name("///")},
    };
    return all;
}

std::vector<Cell> const& contract() {
    static std::vector<Cell> const all = cells(R"(
                   | nameToPath | locateProperty | addGroup        | addProperty   | delProperty
Valid              | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
LeadingSlash       | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
LeadingSlashes     | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
DoubledSlash       | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
TrailingSlash      | =/user/%   | !missing       | +/user/@/       | +/user/@/     | -
TrailingSlashes    | =/user/%   | !missing       | +/user/@/       | +/user/@/     | -
ZeroByte           | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
NotUtf8            | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
Truncated          | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
OverlongSlash      | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
Surrogate          | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
ByteOrderMark      | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
OneMebibyte        | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
ManyLevels         | =/user/%   | !missing       | +/user/@/       | +/user/@      | -
Dot                | =/user/%   | !missing       | -               | -             | -
DotDot             | =/user/%   | !missing       | -               | -             | -
DotLevel           | =/user/%   | !missing       | -               | -             | -
DotDotLevel        | =/user/%   | !missing       | -               | -             | -
OutOfScope         | =/user/%   | !missing       | -               | -             | -
OutOfRoot          | =/user/%   | !missing       | -               | -             | -
InnerDots          | =/user/%   | !missing       | -               | -             | -
TrailingDots       | =/user/%   | !missing       | -               | -             | -
BelowAProperty     | =/user/%   | !missing       | -               | -             | -
KnownLeadingSlash  | =/user/%   | =/user/%       | -               | -             | -/user/g/x
KnownDoubledSlash  | =/user/%   | =/user/%       | -               | -             | -/user/g/x
KnownTrailingSlash | =/user/%   | =/user/%       | -               | -             | -/user/g/x
Empty              | =/user/%   | =/user/%       | -               | -             | -/user/g/x -/user/g/y
Slash              | =/user/%   | =/user/%       | -               | -             | -/user/g/x -/user/g/y
Slashes            | =/user/%   | =/user/%       | -               | -             | -/user/g/x -/user/g/y
)") + cells(R"(
                   | groupExists | groupExistsAny | propExists | propExistsAny | propertyList
Valid              | no          | no             | no         | no            | !list
LeadingSlash       | no          | no             | no         | no            | !list
LeadingSlashes     | no          | no             | no         | no            | !list
DoubledSlash       | no          | no             | no         | no            | !list
TrailingSlash      | no          | no             | no         | no            | !list
TrailingSlashes    | no          | no             | no         | no            | !list
ZeroByte           | no          | no             | no         | no            | !list
NotUtf8            | no          | no             | no         | no            | !list
Truncated          | no          | no             | no         | no            | !list
OverlongSlash      | no          | no             | no         | no            | !list
Surrogate          | no          | no             | no         | no            | !list
ByteOrderMark      | no          | no             | no         | no            | !list
OneMebibyte        | no          | no             | no         | no            | !list
ManyLevels         | no          | no             | no         | no            | !list
Dot                | no          | no             | no         | no            | !list
DotDot             | no          | no             | no         | no            | !list
DotLevel           | no          | no             | no         | no            | !list
DotDotLevel        | no          | no             | no         | no            | !list
OutOfScope         | no          | no             | no         | no            | !list
OutOfRoot          | no          | no             | no         | no            | !list
InnerDots          | no          | no             | no         | no            | !list
TrailingDots       | no          | no             | no         | no            | !list
BelowAProperty     | no          | no             | no         | no            | !list
KnownLeadingSlash  | no          | no             | yes        | yes           | !list
KnownDoubledSlash  | no          | no             | yes        | yes           | !list
KnownTrailingSlash | no          | no             | yes        | yes           | !list
Empty              | yes         | yes            | yes        | yes           | =g,
Slash              | yes         | yes            | yes        | yes           | =g,
Slashes            | yes         | yes            | yes        | yes           | =g,
)") + cells(R"(
                   | openToRead | openToWrite        | writeString         | writeTheRest
Valid              | !open      | handle +/user/@    | +/user/@:value told | +/user/@:value told
LeadingSlash       | !open      | handle +/user/@    | +/user/@:value told | +/user/@:value told
LeadingSlashes     | !open      | handle +/user/@    | +/user/@:value told | +/user/@:value told
DoubledSlash       | !group     | !group             | +/user/@:value told | +/user/@:value told
TrailingSlash      | !group     | !group             | +/user/@:value told | +/user/@:value told
TrailingSlashes    | !group     | !group             | !writePath +/user/@/ | !write +/user/@/
ZeroByte           | !group     | !group             | +/user/@:value told | +/user/@:value told
NotUtf8            | !open      | handle +/user/@    | +/user/@:value told | +/user/@:value told
Truncated          | !group     | !group             | +/user/@:value told | +/user/@:value told
OverlongSlash      | !open      | handle +/user/@    | +/user/@:value told | +/user/@:value told
Surrogate          | !open      | handle +/user/@    | +/user/@:value told | +/user/@:value told
ByteOrderMark      | !open      | handle +/user/@    | +/user/@:value told | +/user/@:value told
OneMebibyte        | !open      | handle +/user/@    | +/user/@:value told | +/user/@:value told
ManyLevels         | !group     | !group             | +/user/@:value told | +/user/@:value told
Dot                | !open      | !open              | !writePath          | !write
DotDot             | !open      | !open              | !writePath          | !write
DotLevel           | !group     | !group             | !writePath          | !write
DotDotLevel        | !group     | !group             | !writePath          | !write
OutOfScope         | !group     | !group             | !writePath          | !write
OutOfRoot          | !group     | !group             | !writePath          | !write
InnerDots          | !group     | !group             | !writePath          | !write
TrailingDots       | !open      | !open              | !writePath          | !write
BelowAProperty     | !group     | !group             | !writePath          | !write
KnownLeadingSlash  | handle     | handle */user/@    | */user/@:value told | */user/@:value told
KnownDoubledSlash  | handle     | handle */user/@    | */user/@:value told | */user/@:value told
KnownTrailingSlash | !group     | !group             | */user/@:value told | */user/@:value told
Empty              | !open      | !open              | !writePath          | !write
Slash              | !open      | !open              | !writePath          | !write
Slashes            | !open      | !open              | !writePath          | !write
)") + cells(R"(
                   | readType | readString | readInteger | readTheRest | markAsChanged | removeCallback
Valid              | !missing | !missing   | !missing    | !missing    | told          | -
LeadingSlash       | !missing | !missing   | !missing    | !missing    | told          | -
LeadingSlashes     | !missing | !missing   | !missing    | !missing    | told          | -
DoubledSlash       | !missing | !missing   | !missing    | !missing    | told          | -
TrailingSlash      | !missing | !missing   | !missing    | !missing    | told          | -
TrailingSlashes    | !missing | !missing   | !missing    | !missing    | told          | -
ZeroByte           | !missing | !missing   | !missing    | !missing    | told          | -
NotUtf8            | !missing | !missing   | !missing    | !missing    | told          | -
Truncated          | !missing | !missing   | !missing    | !missing    | told          | -
OverlongSlash      | !missing | !missing   | !missing    | !missing    | told          | -
Surrogate          | !missing | !missing   | !missing    | !missing    | told          | -
ByteOrderMark      | !missing | !missing   | !missing    | !missing    | told          | -
OneMebibyte        | !missing | !missing   | !missing    | !missing    | told          | -
ManyLevels         | !missing | !missing   | !missing    | !missing    | told          | -
Dot                | !missing | !missing   | !missing    | !missing    | told          | -
DotDot             | !missing | !missing   | !missing    | !missing    | told          | -
DotLevel           | !missing | !missing   | !missing    | !missing    | told          | -
DotDotLevel        | !missing | !missing   | !missing    | !missing    | told          | -
OutOfScope         | !missing | !missing   | !missing    | !missing    | told          | -
OutOfRoot          | !missing | !missing   | !missing    | !missing    | told          | -
InnerDots          | !missing | !missing   | !missing    | !missing    | told          | -
TrailingDots       | !missing | !missing   | !missing    | !missing    | told          | -
BelowAProperty     | !missing | !missing   | !missing    | !missing    | told          | -
KnownLeadingSlash  | =73      | !type      | other       | !type       | told          | -
KnownDoubledSlash  | =73      | !type      | other       | !type       | told          | -
KnownTrailingSlash | =73      | !type      | other       | !type       | told          | -
Empty              | =0       | !missing   | !type       | !type       | -             | -
Slash              | =0       | !missing   | !type       | !type       | told          | -
Slashes            | =0       | !missing   | !type       | !type       | told          | -
)");
    return all;
}

/** A name as stored in the tree: valid UTF-8 without empty levels. */
std::string inTree(std::string const& given) {
    QString const text = QString::fromStdString('/' + given);
    std::string result;
    std::istringstream levels(text.toStdString());
    for (std::string level; std::getline(levels, level, '/');)
        if (!level.empty())
            result += (result.empty() ? "" : "/") + level;
    return result;
}

std::string groupOf(std::string const& given) {
    std::string const text = QString::fromStdString('/' + given).toStdString();
    std::size_t const slash = text.rfind('/');
    return slash == 0 ? "" : text.substr(1, slash - 1);
}

/** Expands the notation of a cell. */
std::string spelled(std::string const& cell, std::string const& given) {
    auto const message = [](std::string const& text) {
        return "threw <" + text.substr(0, text.find('\0')) + '>';
    };
    std::map<std::string, std::string> const failures = {
        {"!missing", "threw <PropertyNotFound>"},
        {"!type", "threw <PropertyBadType>"},
        {"!list", message(given + " does not exist or is not a group.")},
        {"!group", message("Group " + groupOf(given) + " does not exist !")},
        {"!open", message("Cannot open property named " + given + " !")},
        {"!write", message(given + " no such property.")},
        {"!writePath", message("/user/" + given + " no such property")},
    };
    std::string text;
    std::istringstream words(cell);
    for (std::string word; words >> word;) {
        if (!text.empty())
            text += ' ';
        if (auto const failure = failures.find(word); failure != failures.end()) {
            text += failure->second;
            continue;
        }
        for (char const letter : word)
            text += letter == '%' ? given : letter == '@' ? inTree(given) : std::string(1, letter);
    }
    return text;
}

class BadName : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(Register, BadName, testing::ValuesIn(badinput::everyCase(contract())),
                         [](auto const& one) { return one.param.name(); });

TEST_P(BadName, HasTheOutcomeInTheTable) {
    EXPECT_EQ(
        0,
        support::inChild(
            [] {
                Case const& one = GetParam();
                Name const& name = names().at(one.row);
                std::string const& given = one.derived ? name.derived : name.given;
                std::string const outcome = Subject(one.derived).outcome(one.operation, {given, SCOPE_USER});
                if (outcome != spelled(one.outcome, given))
                    FAIL() << "expected: " << badinput::readable(spelled(one.outcome, given)) << '\n'
                           << "     got: " << badinput::readable(outcome);
            },
            support::Leave::atOnce));
}

TEST(BadNames, AreEachTestedWithEveryOperation) {
    std::size_t operations = 0;
    for (auto const& column : badinput::columns())
        operations += column.second.size();
    EXPECT_EQ(2 * operations * names().size(), badinput::everyCase(contract()).size());
}

} // namespace
