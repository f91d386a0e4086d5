// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <tuple>

#include <sys/stat.h>
#include <sys/wait.h>

#include <utils/properties/Register.h>
#include <velmorand/Property.h>

#include "Tool.h"

using namespace tool;
using testing::ElementsAre;
using testing::IsEmpty;
using velmorand::read;

namespace {

class Writing : public Tool {
protected:
    /** Loads the files that the tool has saved, as an application does. */
    void load() const { utils::properties::_Register::initialize(global, user); }

    /** Identifies a version of a file: differs after the file has been replaced or written to. */
    static std::tuple<ino_t, time_t, long> stateOf(std::string const& path) {
        struct stat status = {};
        EXPECT_EQ(0, ::stat(path.c_str(), &status));
        return {status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
    }
};

} // namespace

TEST_F(Writing, SetsEachKindAsApplicationsReadIt) {
    answer({"set", "string", "s", "two words"});
    answer({"set", "number", "n", "-0.5"});
    answer({"set", "integer", "i", "-2147483648"});
    answer({"set", "boolean", "b", "true"});
    answer({"set", "strings", "ss", "a", "", "[x,y]", "{}", "%%"});
    answer({"set", "numbers", "ns", "1e300", "nan", "inf", "--", "-inf"});
    answer({"set", "integers", "is", "-1", "0", "2147483647"});
    answer({"set", "booleans", "bs", "true", "false"});
    load();
    EXPECT_EQ("two words", read<std::string>("s"));
    EXPECT_EQ(-0.5, read<double>("n"));
    EXPECT_EQ(std::numeric_limits<int>::min(), read<int>("i"));
    EXPECT_TRUE(read<bool>("b"));
    EXPECT_THAT(read<std::vector<std::string>>("ss"), ElementsAre("a", "", "[x,y]", "{}", "%%"));
    double const infinity = std::numeric_limits<double>::infinity();
    EXPECT_THAT(read<std::vector<double>>("ns"),
                ElementsAre(1e300, testing::NanSensitiveDoubleEq(std::numeric_limits<double>::quiet_NaN()),
                            infinity, -infinity));
    EXPECT_THAT(read<std::vector<int>>("is"), ElementsAre(-1, 0, 2147483647));
    EXPECT_THAT(read<std::vector<bool>>("bs"), ElementsAre(true, false));
}

TEST_F(Writing, SetsTheSameBytesAsApplications) {
    load();
    using namespace utils::properties;
    _Register& settings = *_Register::getInstance();
    settings._writeString(nullptr, "s", "text", SCOPE_USER);
    settings._writeNumber(nullptr, "n", -0.5, SCOPE_USER);
    settings._writeInteger(nullptr, "i", -7, SCOPE_USER);
    settings._writeBoolean(nullptr, "b", true, SCOPE_USER);
    settings._writeStrings(nullptr, "ss", {"a", ""}, SCOPE_USER);
    settings._writeNumbers(nullptr, "ns", {1e300, std::numeric_limits<double>::infinity()}, SCOPE_USER);
    settings._writeIntegers(nullptr, "is", {-1, 2147483647}, SCOPE_USER);
    settings._writeBooleans(nullptr, "bs", {true, false}, SCOPE_USER);
    settings._writeIntegers(nullptr, "g/none", {}, SCOPE_USER);
    settings.save();
    Arguments const onGlobal{"--global", global, "--scope", "global", "set"};
    for (Arguments const& setting : {Arguments{"string", "s", "text"},
                                     {"number", "n", "-0.5"},
                                     {"integer", "i", "-7"},
                                     {"boolean", "b", "true"},
                                     {"strings", "ss", "a", ""},
                                     {"numbers", "ns", "1e300", "inf"},
                                     {"integers", "is", "-1", "2147483647"},
                                     {"booleans", "bs", "true", "false"},
                                     {"integers", "g/none"}}) {
        Arguments arguments = onGlobal;
        arguments.insert(arguments.end(), setting.begin(), setting.end());
        answer(arguments);
    }
    EXPECT_EQ(bytesOf(userFile), bytesOf(globalFile));
}

TEST_F(Writing, SetsAListWithoutElements) {
    answer({"set", "strings", "none"});
    load();
    EXPECT_THAT(read<std::vector<std::string>>("none"), IsEmpty());
}

TEST_F(Writing, SetsAnyText) {
    for (std::string const text : {"", "[a,b]", "{}", "%%", "=", "-", "a\nb", "\xFF"}) {
        answer({"set", "string", "text", text});
        EXPECT_EQ(text + "\n", answer({"get", "text"}));
        answer({"set", "strings", "text", text});
        EXPECT_EQ(text + "\n", answer({"get", "text"}));
    }
    answer({"set", "string", "text", "--", "--user"});
    EXPECT_EQ("--user\n", answer({"get", "text"}));
}

TEST_F(Writing, ReplacesAnotherKind) {
    answer({"set", "string", "x", "text"});
    answer({"set", "integers", "x", "4", "5"});
    EXPECT_EQ("4\n5\n", answer({"get", "x"}));
}

TEST_F(Writing, KeepsTheOtherSettings) {
    answer({"set", "integer", "a/x", "1"});
    answer({"set", "integer", "b", "2"});
    answer({"delete", "b"});
    EXPECT_EQ("1\n", answer({"get", "a/x"}));
}

TEST_F(Writing, AcceptsNamesWithExtraSlashes) {
    answer({"set", "integer", "//a///x/", "1"});
    EXPECT_EQ("integer   user   a/x\n", answer({"list", "-r"}));
    EXPECT_EQ("1\n", answer({"get", "/a/x"}));
}

TEST_F(Writing, AcceptsNamesAndValuesThatAreAlsoCommands) {
    answer({"set", "string", "list", "delete"});
    answer({"set", "integer", "get/set", "1"});
    EXPECT_EQ("delete\n", answer({"get", "list"}));
    EXPECT_EQ("integer   user   get/set\n", answer({"list", "get"}));
    answer({"delete", "list"});
    EXPECT_EQ("group     user   get\n", answer({"list"}));
}

TEST_F(Writing, ChangesTheGlobalFileOnRequest) {
    answer({"--global", global, "--scope", "global", "set", "integer", "x", "1"});
    EXPECT_EQ("no file", bytesOf(userFile));
    load();
    EXPECT_EQ(1, read<int>("x"));
    EXPECT_TRUE(
        utils::properties::_Register::getInstance()->propertyExists("x", utils::properties::SCOPE_GLOBAL));
}

TEST_F(Writing, OfTheUsersFileWithAGlobalDirectoryPrintsANote) {
    std::string const settings = R"({"x": {"type": "integer", "value": 2}})";
    for (Arguments const& change : {Arguments{"set", "integer", "x", "1"},
                                    {"import", "--dry-run", "-"},
                                    {"import", "-"},
                                    {"restore", "previous"},
                                    {"delete", "x"},
                                    {"import", "--dry-run", "--from", "json", "-"},
                                    {"import", "--from", "json", "-"}}) {
        Arguments all = change;
        all.insert(all.begin(), {"--global", global});
        Outcome const outcome =
            run(all, change.back() == "-" && change.size() > 3 ? R"({"x": 3})" : settings);
        EXPECT_EQ(0, outcome.status) << change.front();
        EXPECT_EQ(
            "velmorand-register: note: these are your own settings, not the administrator's (use --scope "
            "global "
            "for those)\n",
            outcome.err)
            << change.front();
    }
    EXPECT_EQ("3\n", answer({"get", "x"}));
    EXPECT_EQ("no file", bytesOf(globalFile));
}

TEST_F(Writing, InAGivenScopePrintsNoNote) {
    for (char const* const scope : {"user", "global"})
        for (Arguments const& change : {Arguments{"set", "integer", "x", "1"},
                                        {"import", "-"},
                                        {"restore", "previous"},
                                        {"delete", "x"}}) {
            Arguments all = change;
            all.insert(all.begin(), {"--global", global, "--scope", scope});
            answer(all, R"({"x": {"type": "integer", "value": 2}})");
        }
}

TEST_F(Writing, ThatChangesNothingOrFailsPrintsNoNote) {
    answer({"set", "integer", "x", "1"});
    EXPECT_EQ("nothing changed\n", answer({"--global", global, "set", "integer", "x", "1"}));
    EXPECT_EQ("nothing changed\n", answer({"--global", global, "import", "--dry-run", "-"},
                                          R"({"x": {"type": "integer", "value": 1}})"));
    EXPECT_THAT(run({"--global", global, "delete", "y"}), Complains(1, "no such property or group: y\n"));
    putBytes(userFile + ".previous", bytesOf(userFile));
    EXPECT_EQ("nothing changed\n", answer({"--global", global, "restore", "previous"}));
}

TEST_F(Writing, DeletesAProperty) {
    answer({"set", "integer", "a/x", "1"});
    answer({"delete", "a/x"});
    EXPECT_THAT(run({"get", "a/x"}), Complains(1, "no such property: a/x"));
    EXPECT_EQ("group     user   a\n", answer({"list"}));
}

TEST_F(Writing, DeletesAGroupWithEverythingInIt) {
    answer({"set", "integer", "a/b/x", "1"});
    answer({"delete", "a"});
    EXPECT_EQ("", answer({"list", "-r"}));
}

TEST_F(Writing, ReportsADeletionOfAMissingName) {
    answer({"set", "integer", "x", "1"});
    std::string const before = bytesOf(userFile);
    EXPECT_THAT(run({"delete", "y"}), Complains(1, "no such property or group: y"));
    EXPECT_EQ(before, bytesOf(userFile));
}

TEST_F(Writing, OfAnEqualValueDoesNotReplaceTheFile) {
    answer({"import", "-"}, R"({"a/x": {"type": "integer", "value": 1}, "a/g": {"type": "group"}})");
    auto const isTouched = [this, before = stateOf(userFile)] { return stateOf(userFile) != before; };
    answer({"set", "integer", "a/x", "1"});
    answer({"import", "-"}, R"({"a/x": {"type": "integer", "value": 1}})");
    answer({"import", "--replace", "-"}, answer({"export"}));
    EXPECT_FALSE(isTouched());
    answer({"set", "boolean", "a/x", "true"});
    EXPECT_TRUE(isTouched());
}

TEST_F(Writing, OfAnEqualValuePrintsThatNothingChanged) {
    answer({"set", "integer", "x", "1"});
    EXPECT_EQ("nothing changed\n", answer({"set", "integer", "x", "1"}));
}

TEST_F(Writing, OfAnotherValuePrintsNothing) {
    EXPECT_EQ("", answer({"set", "integer", "x", "1"}));
    EXPECT_EQ("", answer({"set", "integer", "x", "2"}));
    EXPECT_EQ("", answer({"set", "number", "x", "2"}));
    EXPECT_EQ("", answer({"delete", "x"}));
}

TEST_F(Writing, OfANewGroupReplacesTheFile) {
    answer({"import", "-"}, R"({"a": {"type": "group"}})");
    auto const before = stateOf(userFile);
    answer({"import", "-"}, R"({"b": {"type": "group"}})");
    EXPECT_NE(before, stateOf(userFile));
}

TEST_F(Writing, OfAnEmptyImportCreatesAFile) {
    answer({"import", "-"}, "{}");
    EXPECT_EQ(userFile + ": sound, 0 properties\n", answer({"check"}));
}

TEST_F(Writing, KeepsTheFilesPermissions) {
    answer({"set", "integer", "x", "1"});
    ASSERT_EQ(0, ::chmod(userFile.c_str(), 0640));
    answer({"set", "integer", "x", "2"});
    struct stat status = {};
    ASSERT_EQ(0, ::stat(userFile.c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST_F(Writing, LosesNothingIfManyInstancesWriteAtOnce) {
    constexpr int writers = 20;
    std::vector<pid_t> children;
    children.reserve(writers);
    for (int i = 0; i < writers; ++i)
        children.push_back(
            start({"--user", user, "--wait", "100", "set", "integer", "x" + std::to_string(i), "1"}));
    for (pid_t const child : children) {
        int status = 0;
        ASSERT_EQ(child, ::waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
    EXPECT_EQ(userFile + ": sound, 20 properties\n", answer({"check"}));
}

TEST_F(Writing, KeepsThePreviousFile) {
    std::string before;
    for (Arguments const& change :
         {Arguments{"set", "integer", "x", "1"}, {"delete", "x"}, {"import", "--replace", "-"}}) {
        before = bytesOf(userFile);
        answer(change, R"({"y": {"type": "integer", "value": 3}})");
        EXPECT_EQ(before, bytesOf(userFile + ".previous")) << change.front();
        EXPECT_NE(before, bytesOf(userFile)) << change.front();
    }
}

TEST_F(Writing, OfAnEqualValueKeepsThePreviousFile) {
    answer({"set", "integer", "x", "1"});
    answer({"set", "integer", "x", "2"});
    std::string const before = bytesOf(userFile + ".previous");
    answer({"set", "integer", "x", "2"});
    EXPECT_EQ(before, bytesOf(userFile + ".previous"));
    EXPECT_NE(before, bytesOf(userFile));
}
