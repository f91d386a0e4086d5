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

class WrongCall : public Tool, public testing::WithParamInterface<Case> {};
class Misuse : public Tool, public testing::WithParamInterface<Case> {};

std::vector<Case> wrongCalls() {
    std::string const kinds =
        "(kinds: string, number, integer, boolean, strings, numbers, integers, booleans)";
    return {
        {"NoCommand", {}, "no command given (commands: list, get, "},
        {"NoSuchCommand",
         {"frob"},
         "no such command: frob (commands: list, get, set, lock, unlock, delete, export, import, diff, "
         "check, "
         "restore, watch)"},
        {"NoSuchOption", {"list", "--frob"}, "no such option: --frob\n"},
        {"NoSuchOptionWithoutCommand", {"--frob"}, "no such option: --frob\n"},
        {"NoSuchOptionAfterGet", {"get", "x", "--frob"}, "no such option: --frob\n"},
        {"OptionWithoutArgument", {"list", "--global"}, "velmorand-register: --global needs an argument\n"},
        {"OptionGivenTwice",
         {"--user", "a", "list", "-r", "-r", "--user", "b"},
         "velmorand-register: --user can be given only once\n"},
        {"OptionOfACommandGivenTwice",
         {"import", "--from", "ini", "--from", "json", "x"},
         "velmorand-register: --from can be given only once\n"},
        {"OptionWithAnUnexpectedValue",
         {"list", "--recursive=yes"},
         "velmorand-register: --recursive: does not take a value: yes\n"},
        {"OptionWithAnUnexpectedValueAfterOneWithout",
         {"list", "-r", "--recursive=false"},
         "velmorand-register: --recursive: does not take a value: false\n"},
        {"NoSuchScope",
         {"--scope", "local", "list"},
         "no such scope: local (scopes: user, global, temporary)"},
        {"WaitForAnInvalidTime",
         {"--wait", "a while", "list"},
         "--wait: not a whole number of seconds: a while"},
        {"WaitForANegativeTime", {"--wait=-1", "list"}, "--wait: not a whole number of seconds: -1"},
        {"WaitForTooLong", {"--wait", "9999999999", "list"}, "--wait: not a whole number of seconds"},
        {"GlobalScopeWithoutDirectory", {"--scope", "global", "list"}, "--scope global needs --global DIR"},
        {"GetWithoutName", {"get"}, "NAME is required"},
        {"GetOfTwoNames", {"get", "a", "b", "c"}, "unexpected argument: b"},
        {"GetOfTheEmptyName", {"get", ""}, "the name is empty"},
        {"GetOfSlashes", {"get", "//"}, "the name is empty"},
        {"ListOfTwoGroups", {"list", "a", "b"}, "unexpected argument: b"},
        {"SetWithoutKind", {"set"}, "KIND is required"},
        {"SetWithoutName", {"set", "integer"}, "NAME is required"},
        {"SetWithoutValue", {"set", "integer", "x"}, "VALUE is required"},
        {"SetOfTwoValues",
         {"set", "integer", "x", "1", "2"},
         "too many values: only a list takes more than one"},
        {"SetOfAnUnknownKind", {"set", "int", "x", "1"}, "no such kind: int " + kinds},
        {"SetOfTheEmptyName", {"set", "integer", "", "1"}, "the name is empty"},
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
        {"DiffOfOneFile", {"diff", "a"}, "OTHER is required"},
        {"DiffOfThreeFiles", {"diff", "a", "b", "c"}, "unexpected argument: c"},
        {"DiffOfStandardInputWithItself",
         {"diff", "-", "-"},
         "only one of FILE and OTHER can be standard input\n"},
        {"CheckOfTwoFiles", {"check", "a", "b"}, "unexpected argument: b"},
        {"WatchOfAFile", {"watch", "a"}, "unexpected argument: a"},
    };
}

std::vector<Case> misuses() {
    return {
        {"NoSuchDirectory",
         {"--global", "/nowhere", "list"},
         "/nowhere: No such file or directory (create it first: mkdir -p \"/nowhere\")\n"},
        {"EmptyDirectory", {"--global", "", "list"}, "\"\": No such file or directory\n"},
        {"PathThatIsNotText", {"check", "a\xFF"}, "invalid path: \"a\xEF\xBF\xBD\": not UTF-8 text"},
        {"FileAsDirectory", {"--global", "/dev/null", "list"}, "/dev/null: Not a directory"},
        {"GetOfDots", {"get", "a/../b"}, R"(invalid name: "a/../b": a level cannot be "." or "..")"},
        {"GetOfANameThatIsNotText", {"get", "\xFF"}, "invalid name: \"\xEF\xBF\xBD\": not UTF-8 text"},
        {"ListOfDots", {"list", "."}, R"(invalid name: ".")"},
        {"SetOfAFraction", {"set", "integer", "x", "1.5"}, "\"1.5\" is not an integer"},
        {"SetOfAnEmptyValue", {"set", "integer", "x", ""}, "\"\" is not an integer"},
        {"SetOfALargeInteger",
         {"set", "integer", "x", "2147483648"},
         "2147483648 is out of range for an integer (-2147483648 to 2147483647)"},
        {"SetOfADecimalComma", {"set", "number", "x", "1,5"}, "\"1,5\" is not a number"},
        {"SetOfALargeNumber", {"set", "number", "x", "1e999"}, "1e999 is out of range for a number"},
        {"SetOfYes", {"set", "boolean", "x", "yes"}, "\"yes\" is not a boolean (use true or false)"},
        {"SetOfABadElement", {"set", "integers", "x", "1", "two"}, "element 2: \"two\" is not an integer"},
        {"SetOfAGroup", {"set", "integer", "group", "1"}, "cannot set \"group\": it is a group"},
        {"SetInAProperty",
         {"set", "integer", "group/x/y", "1"},
         "cannot set \"group/x/y\": \"group/x\" is a property\n"},
        {"SetFarInAProperty",
         {"set", "integer", "group/x/y/z", "1"},
         "cannot set \"group/x/y/z\": \"group/x\" is a property\n"},
        {"ImportOfAMissingFile", {"import", "/nowhere"}, "/nowhere: No such file or directory"},
        {"ImportOfADirectory", {"import", "/"}, "/: Is a directory"},
    };
}

} // namespace

TEST_P(WrongCall, ShowsTheUsageAndChangesNothing) {
    answer({"set", "integer", "group/x", "1"});
    std::string const before = bytesOf(userFile);
    EXPECT_THAT(run(GetParam().arguments), ShowsUsage(GetParam().complaint));
    EXPECT_EQ(before, bytesOf(userFile));
}

INSTANTIATE_TEST_SUITE_P(Each, WrongCall, testing::ValuesIn(wrongCalls()),
                         [](auto const& test) { return test.param.name; });

TEST_P(Misuse, IsReportedInOneLineWithStatus2AndChangesNothing) {
    answer({"set", "integer", "group/x", "1"});
    std::string const before = bytesOf(userFile);
    EXPECT_THAT(run(GetParam().arguments), Complains(2, GetParam().complaint));
    EXPECT_EQ(before, bytesOf(userFile));
}

INSTANTIATE_TEST_SUITE_P(Each, Misuse, testing::ValuesIn(misuses()),
                         [](auto const& test) { return test.param.name; });

using WrongCalls = Tool;

TEST_F(WrongCalls, ShowTheUsageOfTheirCommand) {
    EXPECT_EQ("velmorand-register: NAME is required\n"
              "Usage: velmorand-register get [OPTIONS] NAME\n"
              "Try 'velmorand-register get --help' for more.\n",
              run({"get"}).err);
}
