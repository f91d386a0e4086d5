// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Options.h"
#include "Settings.h"

#include "support/Failure.h"

using namespace editor;
using support::failure;

TEST(TextEditorOptions, AreTakenFromTheCommandLine) {
    Options const options = optionsOf({"text-editor", "--theme", "dark", "--profile", "Night", "a", "b"});
    EXPECT_EQ("dark", options.theme);
    EXPECT_EQ("Night", options.profile);
    EXPECT_EQ(QStringList({"a", "b"}), options.files);
    EXPECT_FALSE(options.wantsCatalogue);
}

TEST(TextEditorOptions, ThatAreUnknownAreRefused) {
    EXPECT_EQ("Unknown option 'them'.", failure([] {
                  static_cast<void>(optionsOf({"text-editor", "--them=dark"}));
              }));
}

TEST(TextEditorTheme, FromTheCommandLineIsInForceButNotStored) {
    settings::theme.set(Theme::Light);
    overrideTheme("dark");
    EXPECT_EQ(Theme::Dark, settings::theme.get());
    settings::theme.clearOverride();
    EXPECT_EQ(Theme::Light, settings::theme.get());
}

TEST(TextEditorTheme, ThatDoesNotExistIsRefused) {
    EXPECT_EQ("no such theme: purple", failure([] { overrideTheme("purple"); }));
    EXPECT_FALSE(settings::theme.isOverridden());
}
