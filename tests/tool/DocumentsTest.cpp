// SPDX-License-Identifier: Apache-2.0
#include <regex>
#include <set>

#include "Tool.h"

using namespace tool;

namespace {

class Documents : public Tool {
protected:
    /** All matches of the first group of a pattern. */
    static std::set<std::string> found(std::string const& text, std::string const& pattern) {
        std::regex const expression(pattern);
        std::set<std::string> all;
        for (std::sregex_iterator it(text.begin(), text.end(), expression); it != std::sregex_iterator();
             ++it)
            all.insert((*it)[1]);
        return all;
    }

    std::set<std::string> commands() {
        std::string const help = answer({"--help"});
        return found(help.substr(help.find("Commands:")), "\n  ([a-z]+) ");
    }

    std::set<std::string> options() {
        std::set<std::string> all = found(answer({"--help"}), "--([a-z]+)");
        for (std::string const& command : commands())
            all.merge(found(answer({command, "--help"}), "--([a-z]+)"));
        return all;
    }

    std::string manual = bytesOf(VELMORAND_TOOL_SOURCES "/velmorand-register.1");
    std::string completion = bytesOf(VELMORAND_TOOL_SOURCES "/completion.bash");
};

} // namespace

TEST_F(Documents, NameEachCommand) {
    EXPECT_EQ(12U, commands().size());
    auto const begin = completion.find("'list get ");
    ASSERT_NE(std::string::npos, begin);
    std::string const offered =
        ' ' + completion.substr(begin + 1, completion.find('\'', begin + 1) - begin - 1) + ' ';
    for (std::string const& command : commands()) {
        EXPECT_NE(std::string::npos, manual.find(".It Cm " + command)) << command;
        EXPECT_NE(std::string::npos, offered.find(' ' + command + ' ')) << command;
    }
}

TEST_F(Documents, NameEachOption) {
    EXPECT_LT(5U, options().size());
    for (std::string const& option : options()) {
        EXPECT_NE(std::string::npos, manual.find("Fl -" + option)) << option;
        EXPECT_NE(std::string::npos, completion.find("--" + option)) << option;
    }
}

TEST_F(Documents, ShowACatalogueAndItsList) {
    std::string text = std::regex_replace(bytesOf(VELMORAND_CATALOGUE_DOCUMENT), std::regex("\n    "), "\n");
    text.erase(0, text.find("\n{\n") + 1);
    std::string const end = "\n}\n";
    auto const listing = text.find("\n$ velmorand-register list --declared -r\n");
    ASSERT_GT(listing, text.find(end));
    putBytes(at("editor.json"), text.substr(0, text.find(end) + end.size()));
    answer({"--catalogue", at("editor.json"), "set", "number", "editor/size", "12.5"});
    auto const lines = text.find('\n', listing + 1) + 1;
    EXPECT_EQ(text.substr(lines, text.find("$ ", lines) - lines),
              answer({"--catalogue", at("editor.json"), "list", "--declared", "-r"}));
    EXPECT_THAT(text, testing::HasSubstr(
                          run({"--catalogue", at("editor.json"), "set", "number", "editor/size", "99"}).err));
}

TEST_F(Documents, HelpGoesToStandardOutput) {
    for (std::string const& command : commands())
        EXPECT_NE("", answer({command, "--help"})) << command;
}

TEST_F(Documents, VersionIsOneLine) {
    EXPECT_TRUE(
        std::regex_match(answer({"--version"}), std::regex("velmorand-register \\d+\\.\\d+\\.\\d+\n")));
}
