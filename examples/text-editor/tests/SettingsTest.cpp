// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Catalogue.h>

#include "Session.h"
#include "Settings.h"

#include "support/Failure.h"

namespace {

using namespace editor;
using namespace std::chrono_literals;
using support::failure;
using velmorand::declaredProperties;
using velmorand::write;

} // namespace

TEST(TextEditorSettings, AreAllInTheCatalogue) {
    EXPECT_EQ(33U, declaredProperties().size());
}

TEST(TextEditorSettings, AllowTheirOwnFallbacks) {
    for (velmorand::DeclaredProperty const& property : declaredProperties())
        EXPECT_EQ("", property.problem);
    settings::lineColour.set(settings::lineColour.fallback());
    settings::languages.set(settings::languages.fallback());
    settings::backups.set(settings::backups.fallback());
}

TEST(TextEditorSettings, AreUsableWithInvalidValuesInTheFile) {
    write("view/theme", "purple");
    write("view/font", "\xff");
    write("view/line colour", "orange");
    write("edit/tab width", "eight");
    write("files/autosave", "0s");
    write("updates/last", "yesterday");
    EXPECT_EQ(Theme::System, settings::theme.get());
    EXPECT_EQ("Monospace", settings::font.get());
    EXPECT_EQ("#fff8dc", settings::lineColour.get());
    EXPECT_EQ(8, settings::tabWidth.get());
    EXPECT_EQ(30s, settings::autosave.get());
    EXPECT_TRUE(settings::lastUpdate.get().isNull());
    EXPECT_EQ("edit/tab width: expected an integer, found a string\n"
              "files/autosave: \"0s\" is not allowed: expected at least 1s\n"
              "updates/last: \"yesterday\" is not allowed: expected a date and time such as "
              "2026-03-01T08:30:00.000+01:00 or 2026-03-01T07:30:00.000Z\n"
              "view/font: {\"base64\": \"/w==\"} is not allowed: expected text in UTF-8\n"
              "view/line colour: \"orange\" is not allowed: expected a colour such as #ff8000\n"
              "view/theme: \"purple\" is not allowed: expected one of \"system\", \"light\", \"dark\"",
              problems().join('\n').toStdString());
}

TEST(TextEditorSettings, RefuseInvalidValues) {
    EXPECT_EQ("cannot set \"view/line colour\": \"#FFF\" is not allowed: expected a colour such as #ff8000",
              failure([] { settings::lineColour.set("#FFF"); }));
    EXPECT_EQ(
        R"(cannot set "edit/languages": element 2: "xx" is not allowed: expected one of "de", "en", "fr", "pl")",
        failure([] {
            settings::languages.set({"de", "xx"});
        }));
}

TEST(TextEditorSettings, AreReadUnderOldNames) {
    write("files/line end", "windows");
    EXPECT_EQ(LineEnd::CrLf, settings::lineEnd.get());
    settings::lineEnd.set(LineEnd::CrLf);
    EXPECT_EQ("dos", velmorand::read<std::string>("files/line end"));
}
