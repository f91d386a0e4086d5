// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Profiles.h"

#include "support/Failure.h"

using namespace editor;

namespace {

/** A user with the profile "Night / 100 %". */
class TextEditorProfiles : public testing::Test {
protected:
    TextEditorProfiles() {
        profiles::profile(night).theme.set(Theme::Dark);
        profiles::profile(night).files.set(QStringList{"letter.txt", "ü"});
    }

    QString const night = "Night / 100 %";
};

} // namespace

TEST_F(TextEditorProfiles, AreListedByTheirTitles) {
    profiles::profile("").wrap.set(Wrap::Off);
    profiles::profile("Day").wrap.set(Wrap::Off);
    EXPECT_EQ(QStringList({"", "Day", night}), profiles::titles());
}

TEST_F(TextEditorProfiles, FallBackToTheEditorsSettings) {
    settings::wrap.set(Wrap::Column);
    EXPECT_EQ(Wrap::Column, profiles::profile(night).wrap.get());
    EXPECT_EQ(Theme::Dark, profiles::profile(night).theme.get());
}

TEST_F(TextEditorProfiles, LeaveTheEditorsSettingsAlone) {
    EXPECT_EQ(Theme::System, settings::theme.get());
}

TEST_F(TextEditorProfiles, AreUsableWithInvalidValuesInTheFile) {
    velmorand::write(profiles::profile(night).theme.name(), 7);
    EXPECT_EQ(Theme::System, profiles::profile(night).theme.get());
}

TEST_F(TextEditorProfiles, AreClonedWithAllTheirSettings) {
    profiles::clone(night, "Copy");
    EXPECT_EQ(QStringList({"Copy", night}), profiles::titles());
    EXPECT_EQ(Theme::Dark, profiles::profile("Copy").theme.get());
    EXPECT_EQ(QStringList({"letter.txt", "ü"}), profiles::profile("Copy").files.get());
}

TEST_F(TextEditorProfiles, AreNotClonedOverExistingProfiles) {
    profiles::clone(night, "Copy");
    profiles::profile("Copy").theme.set(Theme::Light);
    EXPECT_NE("nothing", support::failure([&] { profiles::clone(night, "Copy"); }));
    EXPECT_EQ(Theme::Light, profiles::profile("Copy").theme.get());
}

TEST_F(TextEditorProfiles, AreRenamed) {
    profiles::rename(night, "Day");
    EXPECT_EQ(QStringList{"Day"}, profiles::titles());
    EXPECT_EQ(Theme::Dark, profiles::profile("Day").theme.get());
}

TEST_F(TextEditorProfiles, AreDeleted) {
    profiles::clone(night, "Copy");
    profiles::remove(night);
    EXPECT_EQ(QStringList{"Copy"}, profiles::titles());
}

TEST_F(TextEditorProfiles, BecomeTheDefault) {
    profiles::makeDefault(night);
    EXPECT_EQ(Theme::Dark, settings::theme.get());
}
