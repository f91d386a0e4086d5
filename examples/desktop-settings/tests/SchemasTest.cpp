// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Schemas.h"
#include "support/TemporaryDirectory.h"

using desktop::readSchemas;
using desktop::Schemas;
using desktop::Value;

namespace {

void writeFile(support::TemporaryDirectory const& directory, std::string const& name,
               std::string const& content) {
    std::ofstream(directory / name) << content;
}

std::string schema(std::string const& id, std::string const& keys) {
    return "<schemalist><enum id='e'><value nick='n' value='0'/></enum><schema id='" + id + "' path='/p/'>" +
           keys + "</schema></schemalist>";
}

} // namespace

TEST(ReadSchemas, NamesEachKeyAfterItsSchema) {
    support::TemporaryDirectory const directory;
    writeFile(directory, "org.gnome.desktop.clock.gschema.xml",
              schema("org.gnome.desktop.clock", "<key name='show-seconds' type='b'><summary>S</summary>"
                                                "<default>true</default></key>"));
    Schemas const schemas = readSchemas(directory.string());
    ASSERT_EQ(schemas.settings.size(), 1U);
    EXPECT_EQ(schemas.settings.begin()->first, "org/gnome/desktop/clock/show-seconds");
    EXPECT_EQ(schemas.settings.begin()->second, Value(true));
}

TEST(ReadSchemas, ReadsEnumerationsAsStringsAndFlagsAsLists) {
    support::TemporaryDirectory const directory;
    writeFile(directory, "org.gnome.desktop.x.gschema.xml",
              schema("x", "<key name='format' enum='e'><default>'24h'</default></key>"
                          "<key name='marks' flags='f'><default>['a','b']</default></key>"));
    Schemas const schemas = readSchemas(directory.string());
    EXPECT_EQ(schemas.settings.at("x/format"), Value(std::string("24h")));
    EXPECT_EQ(schemas.settings.at("x/marks"), Value(std::vector<std::string>{"a", "b"}));
}

TEST(ReadSchemas, ReadsDefaultsFromCharacterData) {
    support::TemporaryDirectory const directory;
    writeFile(directory, "org.gnome.desktop.x.gschema.xml",
              schema("x", "<key name='k' type='as'><default><![CDATA[['<Super>a']]]></default></key>"));
    EXPECT_EQ(readSchemas(directory.string()).settings.at("x/k"),
              Value(std::vector<std::string>{"<Super>a"}));
}

TEST(ReadSchemas, CountsUnsupportedTypes) {
    support::TemporaryDirectory const directory;
    writeFile(directory, "org.gnome.desktop.x.gschema.xml",
              schema("x", "<key name='a' type='a(ss)'><default>[]</default></key>"
                          "<key name='b' type='a(ss)'><default>[]</default></key>"
                          "<key name='c' type='u'><default>4294967295</default></key>"
                          "<key name='d' type='i'><default>1</default></key>"));
    Schemas const schemas = readSchemas(directory.string());
    EXPECT_EQ(schemas.settings.size(), 1U);
    EXPECT_EQ(schemas.leftOut, (std::map<std::string, int>{{"a(ss)", 2}, {"u", 1}}));
}

TEST(ReadSchemas, IgnoresOtherSoftware) {
    support::TemporaryDirectory const directory;
    writeFile(directory, "org.gnome.system.x.gschema.xml",
              schema("x", "<key name='k' type='i'><default>1</default></key>"));
    writeFile(directory, "org.example.gschema.xml",
              schema("y", "<key name='k' type='i'><default>1</default></key>"));
    EXPECT_EQ(readSchemas(directory.string()).settings.size(), 1U);
}

TEST(ReadSchemas, RefusesADamagedFile) {
    support::TemporaryDirectory const directory;
    writeFile(directory, "org.gnome.desktop.x.gschema.xml",
              "<schemalist><schema id='x'><key name='k' type='i'><default>1</default></key>");
    EXPECT_THROW(readSchemas(directory.string()), std::runtime_error);
}

TEST(ReadSchemas, RefusesADuplicateName) {
    support::TemporaryDirectory const directory;
    std::string const key = "<key name='k' type='i'><default>1</default></key>";
    writeFile(directory, "org.gnome.desktop.x.gschema.xml", schema("x", key + key));
    EXPECT_THROW(readSchemas(directory.string()), std::runtime_error);
}

TEST(ReadSchemas, RefusesADirectoryWithoutSettings) {
    support::TemporaryDirectory const directory;
    EXPECT_THROW(readSchemas(directory.string()), std::runtime_error);
}
