// SPDX-License-Identifier: Apache-2.0
//
// The register writes and reads the example in docs/file-format.md.

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "register/RegisterFile.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"

using support::RegisterProbe;
using support::TemporaryDirectory;
using ::testing::ElementsAre;
using utils::properties::SCOPE_USER;

namespace {

/** The first consecutive lines that start with `start`, after the line `behind` of the document. */
std::vector<std::string> linesBehind(std::string const& behind, std::string const& start) {
    std::istringstream document(fileBytes(FILE_FORMAT_DOCUMENT));
    std::string line;
    while (line != behind && std::getline(document, line)) {
    }
    std::vector<std::string> lines;
    while (std::getline(document, line)) {
        if (line.rfind(start, 0) == 0)
            lines.push_back(line);
        else if (!lines.empty())
            break;
    }
    return lines;
}

/** The bytes given as two-digit hexadecimal numbers. */
std::string bytesOf(std::string const& numbers) {
    std::istringstream stream(numbers);
    std::string bytes;
    for (std::string number; stream >> number;)
        bytes += static_cast<char>(std::stoi(number, nullptr, 16));
    return bytes;
}

/** The bytes of the dump: 16 in a line, between their offset and the same bytes as text. */
std::string dump() {
    std::string bytes;
    for (std::string const& line : linesBehind("## A file, byte for byte", "    000000"))
        bytes += bytesOf(line.substr(14, 48));
    return bytes;
}

/** The bytes in the first column of the table: numbers in `...`, text in "...". */
std::string explained() {
    std::string bytes;
    for (std::string const& row : linesBehind("| bytes | meaning |", "| `")) {
        std::string const cell = row.substr(0, row.find(" |", 1));
        for (std::size_t begin = cell.find_first_of("`\""); begin != std::string::npos;) {
            std::size_t const end = cell.find(cell[begin], begin + 1);
            std::string const part = cell.substr(begin + 1, end - begin - 1);
            bytes += cell[begin] == '"' ? part : bytesOf(part);
            begin = cell.find_first_of("`\"", end + 1);
        }
    }
    return bytes;
}

} // namespace

TEST(FileFormat, ExampleHasTheBytesThatTheRegisterWrites) {
    TemporaryDirectory const directory;

    saveRegisterFile(directory.string(), [](RegisterProbe& settings) {
        settings._writeBooleans(nullptr, "editor/flags", {true, false}, SCOPE_USER);
        settings._writeInteger(nullptr, "editor/tab width", 4, SCOPE_USER);
        settings._writeString(nullptr, "name", "Ada", SCOPE_USER);
    });

    EXPECT_EQ(dump(), fileBytes(directory / registerFileName));
}

TEST(FileFormat, ExampleIsReadAsDescribed) {
    TemporaryDirectory const directory;
    writeFile(directory / registerFileName, dump());

    auto const settings = loadedFrom(directory.string());

    std::vector<bool> flags;
    settings->_readBooleans("editor/flags", flags);
    EXPECT_THAT(flags, ElementsAre(true, false));
    EXPECT_EQ(integer(*settings, "editor/tab width"), 4);
    std::string name;
    settings->_readString("name", name);
    EXPECT_EQ(name, "Ada");
}

TEST(FileFormat, EveryByteOfTheExampleIsExplained) {
    EXPECT_EQ(explained(), dump());
}
