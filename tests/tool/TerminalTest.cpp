// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "Tool.h"

using namespace tool;

namespace {

/** ESC, DEL, a control character outside ASCII, and one that turns the text after it around; and harmless ones. */
std::string const text = "\x1b[31m \x7f \xC2\x9B \xE2\x80\xAE \t\xC3\xA9\\\"\nend";

/** All characters that reorder text, and their neighbours, which do not. */
std::string const directions =
    "\xD8\x9C\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\xAA\xE2\x80\xAB\xE2\x80\xAC\xE2\x80\xAD"
    "\xE2\x80\xAE\xE2\x81\xA6\xE2\x81\xA7\xE2\x81\xA8\xE2\x81\xA9";
std::string const neighbours =
    "\xD8\x9B\xD8\x9D\xE2\x80\x8D\xE2\x80\x90\xE2\x80\xA9\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA";

/** The tool, printing on a terminal. */
class Terminal : public Tool {
protected:
    Terminal() { ::unsetenv("NO_COLOR"); }

    /** What a run on the user directory prints on a terminal. */
    std::string printed(Arguments arguments) {
        arguments.insert(arguments.begin(), {"--user", user});
        int const screen = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_TRUE(::grantpt(screen) == 0 && ::unlockpt(screen) == 0);
        int const line = ::open(::ptsname(screen), O_RDWR | O_NOCTTY);
        termios settings = {};
        EXPECT_EQ(0, ::tcgetattr(line, &settings));
        ::cfmakeraw(&settings); // no line feed becomes two characters
        EXPECT_EQ(0, ::tcsetattr(line, TCSANOW, &settings));
        ::pid_t const child = startOn(line, arguments);
        ::close(line);
        std::string all;
        std::array<char, 4'096> part{};
        for (long got = 0; (got = ::read(screen, part.data(), part.size())) > 0;) // fails after the last byte
            all.append(part.data(), static_cast<std::size_t>(got));
        ::close(screen);
        int status = 0;
        EXPECT_EQ(child, ::waitpid(child, &status, 0));
        return all;
    }
};

} // namespace

TEST_F(Terminal, IsSentNoControlCharactersByGet) {
    answer({"set", "string", "x", text});
    EXPECT_EQ("\\u001b[31m \\u007f \\u009b \\u202e \t\xC3\xA9\\\"\nend\n", printed({"get", "x"}));
    EXPECT_EQ(text + "\n", answer({"get", "x"}));
}

TEST_F(Terminal, IsSentNothingThatReordersText) {
    answer({"set", "string", "x", directions + neighbours});
    EXPECT_EQ("\\u061c\\u200e\\u200f\\u202a\\u202b\\u202c\\u202d\\u202e\\u2066\\u2067\\u2068\\u2069" +
                  neighbours + "\n",
              printed({"get", "x"}));
    EXPECT_EQ(directions + neighbours + "\n", answer({"get", "x"}));
}

TEST_F(Terminal, IsSentNoBytesThatAreNotText) {
    for (std::string const bad :
         {"\x9B", "\xC2", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x80"}) {
        answer({"set", "string", "x", "a" + bad + "b"});
        std::string const shown = printed({"get", "x"});
        EXPECT_EQ(0U, shown.find("a\xEF\xBF\xBD")) << shown;
        EXPECT_EQ(std::string::npos, shown.find(bad)) << shown;
        EXPECT_EQ("a" + bad + "b\n", answer({"get", "x"}));
    }
}

TEST_F(Terminal, IsSentNoControlCharactersByLists) {
    answer({"set", "string", "x\xE2\x80\xAE", text});
    EXPECT_EQ("string    user   x\\u202e: "
              "\"\\u001b[31m \\u007f \\u009b \\u202e \\t\xC3\xA9\\\\\\\"\\nend\"\n",
              printed({"list", "-l"}));
    EXPECT_EQ("string    user   x\xE2\x80\xAE: "
              "\"\\u001b[31m \\u007f \\u009b \xE2\x80\xAE \\t\xC3\xA9\\\\\\\"\\nend\"\n",
              answer({"list", "-l"}));
}

TEST_F(Terminal, IsSentTheSameSettingsInOtherLettersByExport) {
    answer({"set", "strings", "x\x7f\xE2\x80\xAE", text});
    std::string const shown = printed({"export"});
    EXPECT_EQ("{\n  \"x\\u007f\\u202e\": {\"type\": \"strings\", \"value\": "
              "[\"\\u001b[31m \\u007f \\u009b \\u202e \\t\xC3\xA9\\\\\\\"\\nend\"]}\n}\n",
              shown);
    std::string const before = bytesOf(userFile);
    answer({"import", "--replace", "-"}, shown);
    EXPECT_EQ(before, bytesOf(userFile));
    EXPECT_EQ("{\n  \"x\x7f\xE2\x80\xAE\": {\"type\": \"strings\", \"value\": "
              "[\"\\u001b[31m \x7f \xC2\x9B \xE2\x80\xAE \\t\xC3\xA9\\\\\\\"\\nend\"]}\n}\n",
              answer({"export"}));
}

TEST_F(Terminal, HasColours) {
    answer({"set", "integer", "x", "1"});
    answer({"--global", global, "--scope", "global", "set", "integer", "x", "2"});
    ::setenv("TERM", "xterm", 1);
    EXPECT_EQ("\x1b[31m- x: integer 1\x1b[0m\n\x1b[32m+ x: integer 2\x1b[0m\n",
              printed({"diff", user, global}));
    ::setenv("NO_COLOR", "1", 1);
    EXPECT_EQ("- x: integer 1\n+ x: integer 2\n", printed({"diff", user, global}));
}

TEST_F(Terminal, IsSentNoControlCharactersByComplaints) {
    EXPECT_THAT(run({"get", "\x1b \xC2\x9B \xE2\x80\xAE"}),
                Complains(1, "no such property: \\u001b \\u009b \\u202e\n"));
}
