// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <QString>

#include "Tool.h"

using namespace tool;

namespace {

std::string utf8(int character) {
    return QString(QChar(static_cast<char16_t>(character))).toStdString();
}

/** The right-to-left override character, after which text is displayed backwards. */
std::string const backwards = utf8(0x202E);

/** ESC, DEL, a non-ASCII control character, the right-to-left override, and harmless characters. */
std::string const text = "\x1b[31m \x7f \xC2\x9B " + backwards + " \t\xC3\xA9\\\"\nend";

/** The tool with a terminal as its standard output. */
class Terminal : public Tool {
protected:
    Terminal() { ::unsetenv("NO_COLOR"); }

    /** The output that a run on the user directory sends to a terminal. */
    std::string printed(Arguments arguments) {
        arguments.insert(arguments.begin(), {"--user", user});
        int const screen = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_TRUE(::grantpt(screen) == 0 && ::unlockpt(screen) == 0);
        int const line = ::open(::ptsname(screen), O_RDWR | O_NOCTTY);
        termios settings = {};
        EXPECT_EQ(0, ::tcgetattr(line, &settings));
        ::cfmakeraw(&settings); // line feeds are not translated
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
    std::string bytes;
    std::string shown;
    for (int const character :
         {0x061C, 0x200E, 0x200F, 0x202A, 0x202B, 0x202C, 0x202D, 0x202E, 0x2066, 0x2067, 0x2068, 0x2069}) {
        bytes += utf8(character);
        shown += QString("\\u%1").arg(character, 4, 16, QChar('0')).toStdString();
    }
    for (int const neighbour : {0x061B, 0x061D, 0x200D, 0x2010, 0x2029, 0x202F, 0x2065, 0x206A}) {
        bytes += utf8(neighbour);
        shown += utf8(neighbour);
    }
    answer({"set", "string", "x", bytes});
    EXPECT_EQ(shown + "\n", printed({"get", "x"}));
    EXPECT_EQ(bytes + "\n", answer({"get", "x"}));
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
    answer({"set", "string", "x" + backwards, text});
    EXPECT_EQ("string    user   x\\u202e: "
              "\"\\u001b[31m \\u007f \\u009b \\u202e \\t\xC3\xA9\\\\\\\"\\nend\"\n",
              printed({"list", "-l"}));
    EXPECT_EQ("string    user   x" + backwards +
                  ": "
                  "\"\\u001b[31m \\u007f \\u009b " +
                  backwards + " \\t\xC3\xA9\\\\\\\"\\nend\"\n",
              answer({"list", "-l"}));
}

TEST_F(Terminal, IsSentEscapedSettingsByExport) {
    answer({"set", "strings", "x\x7f" + backwards, text});
    std::string const shown = printed({"export"});
    EXPECT_EQ("{\n  \"x\\u007f\\u202e\": {\"type\": \"strings\", \"value\": "
              "[\"\\u001b[31m \\u007f \\u009b \\u202e \\t\xC3\xA9\\\\\\\"\\nend\"]}\n}\n",
              shown);
    std::string const before = bytesOf(userFile);
    answer({"import", "--replace", "-"}, shown);
    EXPECT_EQ(before, bytesOf(userFile));
    EXPECT_EQ("{\n  \"x\x7f" + backwards +
                  "\": {\"type\": \"strings\", \"value\": "
                  "[\"\\u001b[31m \x7f \xC2\x9B " +
                  backwards + " \\t\xC3\xA9\\\\\\\"\\nend\"]}\n}\n",
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

TEST_F(Terminal, IsSentNoControlCharactersByErrorMessages) {
    EXPECT_THAT(run({"get", "\x1b \xC2\x9B " + backwards}),
                Complains(1, "no such property: \\u001b \\u009b \\u202e\n"));
}
