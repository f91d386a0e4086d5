// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <QCoreApplication>
#include <QObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Preferences.h"

#include "support/Failure.h"

using namespace editor;

namespace {

using Strings = std::vector<std::string>;
using velmorand::Listener;

/** An administrator locks settings, replacing those locked before. */
void lock(Strings const& names) {
    velmorand::write("velmorand/locked", names, velmorand::SCOPE_GLOBAL);
}

/** An open preferences dialog. */
class TextEditorPreferences : public testing::Test {
protected:
    int argc = 1;
    char program[12] = "text-editor";
    char* argv[2] = {program, nullptr};
    QCoreApplication application{argc, argv};
    QObject window;
    int timesShown = 0;
    Preferences dialog{&window, [this] { ++timesShown; }};
};

} // namespace

TEST_F(TextEditorPreferences, ShowTheValuesInForce) {
    settings::fontSize.set(14);
    EXPECT_EQ(14, dialog.fontSize.value());
    EXPECT_EQ(Theme::System, dialog.theme.value());
}

TEST_F(TextEditorPreferences, ShowEditsAndChangeNothingYet) {
    dialog.theme.edit(Theme::Dark);
    EXPECT_EQ(Theme::Dark, dialog.theme.value());
    EXPECT_EQ(Theme::System, settings::theme.get());
}

TEST_F(TextEditorPreferences, ApplyAllEditsTogether) {
    Strings seen;
    Listener const widths{settings::tabWidth, [&](int width) {
                              seen.push_back(std::to_string(width) + ' ' +
                                             std::to_string(static_cast<int>(settings::fontSize.get())));
                          }};
    Listener const sizes{settings::fontSize, [&](double size) {
                             seen.push_back(std::to_string(settings::tabWidth.get()) + ' ' +
                                            std::to_string(static_cast<int>(size)));
                         }};
    dialog.tabWidth.edit(4);
    dialog.fontSize.edit(14);
    dialog.apply();
    EXPECT_EQ((Strings{"4 14", "4 14"}), seen);
}

TEST_F(TextEditorPreferences, LeaveSettingsWithoutAnEditUnset) {
    dialog.tabWidth.edit(4);
    dialog.apply();
    EXPECT_TRUE(settings::tabWidth.isSet());
    EXPECT_FALSE(settings::fontSize.isSet());
}

TEST_F(TextEditorPreferences, ApplyNothingIfOneEditIsNotAllowed) {
    dialog.theme.edit(Theme::Dark);
    dialog.tabWidth.edit(40);
    EXPECT_EQ("cannot set \"edit/tab width\": 40 is not allowed: expected 1 to 16",
              support::failure([this] { dialog.apply(); }));
    EXPECT_EQ(Theme::System, settings::theme.get());
    EXPECT_EQ(Theme::Dark, dialog.theme.value());
}

TEST_F(TextEditorPreferences, ForgetEditsOnceTheyAreApplied) {
    dialog.theme.edit(Theme::Dark);
    dialog.apply();
    settings::theme.set(Theme::Light);
    EXPECT_EQ(Theme::Light, dialog.theme.value());
}

TEST_F(TextEditorPreferences, ForgetEditsOnCancel) {
    dialog.theme.edit(Theme::Dark);
    dialog.cancel();
    dialog.apply();
    EXPECT_EQ(Theme::System, dialog.theme.value());
    EXPECT_FALSE(settings::theme.isSet());
}

TEST_F(TextEditorPreferences, AreRefreshedWhenAValueChanges) {
    settings::theme.set(Theme::Dark);
    EXPECT_EQ(0, timesShown);
    QCoreApplication::processEvents();
    EXPECT_EQ(1, timesShown);
}

TEST_F(TextEditorPreferences, AreRefreshedWhenASettingIsLocked) {
    lock({"view/theme"});
    QCoreApplication::processEvents();
    EXPECT_GT(timesShown, 0);
    EXPECT_TRUE(dialog.theme.isLocked());
    EXPECT_FALSE(dialog.tabWidth.isLocked());
}

TEST_F(TextEditorPreferences, ShowTheAdministratorsValueWhileLocked) {
    dialog.theme.edit(Theme::Dark);
    velmorand::write("view/theme", "light", velmorand::SCOPE_GLOBAL);
    lock({"view"});
    EXPECT_EQ(Theme::Light, dialog.theme.value());
    lock({});
    EXPECT_EQ(Theme::Dark, dialog.theme.value());
}

TEST_F(TextEditorPreferences, LeaveOutSettingsLockedInTheMeantime) {
    dialog.theme.edit(Theme::Dark);
    dialog.tabWidth.edit(4);
    lock({"view/theme"});
    dialog.apply();
    EXPECT_EQ(4, settings::tabWidth.get());
    EXPECT_FALSE(settings::theme.isSet());
}

TEST_F(TextEditorPreferences, AreNotRefreshedAfterTheDialogIsClosed) {
    bool isShown = false;
    {
        Preferences const other{&window, [&] { isShown = true; }};
        settings::theme.set(Theme::Dark);
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(isShown);
}
