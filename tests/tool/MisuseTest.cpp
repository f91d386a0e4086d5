// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "Tool.h"

using namespace tool;

namespace {

struct Case {
    std::string name;
    Arguments arguments;
    std::string complaint;
};

void PrintTo(Case const& test, std::ostream* out) {
    *out << test.name;
}

class Misuse : public Tool, public testing::WithParamInterface<Case> {};

std::vector<Case> everyCase() {
    std::string const kinds =
        "(there are string, number, integer, boolean, strings, numbers, integers, booleans)";
    return {
        {"NoCommand", {}, "a command is missing"},
        {"NoSuchCommand",
         {"frob"},
         "no such command: frob (there are list, get, set, delete, export, import, diff, check, watch)"},
        {"NoSuchOption", {"list", "--frob"}, "no such option: --frob"},
        {"OptionWithoutDirectory", {"list", "--global"}, "--global"},
        {"NoSuchScope",
         {"--scope", "local", "list"},
         "no such scope: local (there are user, global, temporary)"},
        {"GlobalScopeWithoutDirectory", {"--scope", "global", "list"}, "--scope global needs --global DIR"},
        {"NoSuchDirectory", {"--global", "/nowhere", "list"}, "/nowhere: No such file or directory"},
        {"EmptyDirectory", {"--global", "", "list"}, "\"\": No such file or directory"},
        {"PathOfNoText", {"check", "a\xFF"}, "a path is UTF-8 text"},
        {"FileAsDirectory", {"--global", "/dev/null", "list"}, "/dev/null: Not a directory"},
        {"GetWithoutName", {"get"}, "NAME is required"},
        {"GetOfTwoNames", {"get", "a", "b", "c"}, "one argument too many: b"},
        {"GetOfTheEmptyName", {"get", ""}, "the name is empty"},
        {"GetOfSlashes", {"get", "//"}, "the name is empty"},
        {"GetOfDots", {"get", "a/../b"}, R"(a name has no "." and ".." levels: a/../b)"},
        {"GetOfNoText", {"get", "\xFF"}, "a name is UTF-8 text"},
        {"ListOfTwoGroups", {"list", "a", "b"}, "b"},
        {"ListOfDots", {"list", "."}, "levels"},
        {"SetWithoutKind", {"set"}, "KIND is required"},
        {"SetWithoutName", {"set", "integer"}, "NAME is required"},
        {"SetWithoutValue", {"set", "integer", "x"}, "a value is missing"},
        {"SetOfTwoValues", {"set", "integer", "x", "1", "2"}, "more than one value"},
        {"SetOfNoSuchKind", {"set", "int", "x", "1"}, "no such kind: int " + kinds},
        {"SetOfNoInteger", {"set", "integer", "x", "1.5"}, "\"1.5\" is no integer"},
        {"SetOfNothing", {"set", "integer", "x", ""}, "\"\" is no integer"},
        {"SetOfALargeInteger", {"set", "integer", "x", "2147483648"}, "out of the range of integers"},
        {"SetOfNoNumber", {"set", "number", "x", "1,5"}, "\"1,5\" is no number"},
        {"SetOfALargeNumber", {"set", "number", "x", "1e999"}, "out of the range of numbers"},
        {"SetOfNoBoolean", {"set", "boolean", "x", "yes"}, "\"yes\" is no boolean: true or false"},
        {"SetOfABadElement", {"set", "integers", "x", "1", "two"}, "\"two\" is no integer"},
        {"SetOfTheEmptyName", {"set", "integer", "", "1"}, "the name is empty"},
        {"SetOfAGroup", {"set", "integer", "group", "1"}, "group is a group"},
        {"SetInAProperty", {"set", "integer", "group/x/y", "1"}, "group/x cannot be a group"},
        {"SetOfAnOption", {"set", "string", "x", "--frob"}, "(put -- before a value that begins with \"-\")"},
        {"SetInTheTemporaryScope", {"--scope", "temporary", "set", "integer", "x", "1"}, "--scope temporary"},
        {"DeleteInTheTemporaryScope", {"--scope", "temporary", "delete", "x"}, "--scope temporary"},
        {"ExportOfTheTemporaryScope", {"--scope", "temporary", "export"}, "--scope temporary"},
        {"ImportIntoTheTemporaryScope", {"--scope", "temporary", "import", "-"}, "--scope temporary"},
        {"WatchOfTheTemporaryScope", {"--scope", "temporary", "watch"}, "--scope temporary"},
        {"CheckOfTheTemporaryScope", {"--scope", "temporary", "check"}, "--scope temporary"},
        {"DeleteWithoutName", {"delete"}, "NAME is required"},
        {"DeleteOfTheEmptyName", {"delete", ""}, "the name is empty"},
        {"ImportWithoutFile", {"import"}, "FILE is required"},
        {"ImportOfNoSuchFile", {"import", "/nowhere"}, "/nowhere: No such file or directory"},
        {"ImportOfADirectory", {"import", "/"}, "/: Is a directory"},
        {"DiffOfOneFile", {"diff", "a"}, "OTHER is required"},
        {"DiffOfThreeFiles", {"diff", "a", "b", "c"}, "c"},
        {"CheckOfTwoFiles", {"check", "a", "b"}, "b"},
        {"WatchOfAFile", {"watch", "a"}, "a"},
    };
}

} // namespace

TEST_P(Misuse, IsOneLineAndStatus2AndChangesNothing) {
    answer({"set", "integer", "group/x", "1"});
    std::string const before = bytesOf(userFile);
    EXPECT_THAT(run(GetParam().arguments), Complains(2, GetParam().complaint));
    EXPECT_EQ(before, bytesOf(userFile));
}

INSTANTIATE_TEST_SUITE_P(Each, Misuse, testing::ValuesIn(everyCase()),
                         [](auto const& test) { return test.param.name; });
