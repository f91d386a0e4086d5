// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Group.h>

#include "OldSettings.h"
#include "Settings.h"

#include "support/TemporaryDirectory.h"

using namespace editor;

namespace {

/** The first start of the editor by a user of version 1. */
class TextEditorOldSettings : public testing::Test {
protected:
    TextEditorOldSettings() {
        put("[General]\n"
            "theme=dark\n"
            "recentFiles=todo.txt\n"
            "[font]\n"
            "size=12\n"
            "[window]\n"
            "geometry=@ByteArray(\\x1\\xd9\\0\\xff)\n"
            "[cache]\n"
            "size=1000\n");
    }

    void put(std::string const& content) const { std::ofstream(file) << content; }

    QStringList import() { return importOldSettings(live, QString::fromStdString(file)); }

    support::TemporaryDirectory const directory;
    std::string const file = directory / "Editor.conf";
    velmorand::LiveSettings live{{directory / "user", directory / "global"}};
};

} // namespace

TEST_F(TextEditorOldSettings, AreImported) {
    EXPECT_EQ(QStringList(), import());
    EXPECT_EQ(Theme::Dark, settings::theme.get());
    EXPECT_EQ(QStringList("todo.txt"), settings::recent.get());
    EXPECT_EQ(12, settings::fontSize.get());
    EXPECT_EQ(QByteArray("\x01\xd9\x00\xff", 4), settings::geometry.get());
}

TEST_F(TextEditorOldSettings, ThatNoLongerExistAreDropped) {
    EXPECT_EQ(QStringList(), import());
    EXPECT_THAT(velmorand::Group().groups(), testing::ElementsAre("files", "velmorand", "view", "window"));
}

TEST_F(TextEditorOldSettings, AreImportedOnce) {
    EXPECT_EQ(QStringList(), import());
    settings::theme.reset();
    EXPECT_EQ(QStringList(), import());
    EXPECT_EQ(Theme::System, settings::theme.get());
}

TEST_F(TextEditorOldSettings, DoNotReplaceTheUsersSettings) {
    settings::theme.set(Theme::Light);
    EXPECT_EQ(QStringList(), import());
    EXPECT_EQ(Theme::Light, settings::theme.get());
    EXPECT_EQ(12, settings::fontSize.get());
}

TEST_F(TextEditorOldSettings, ThatCannotBeImportedAreReported) {
    put("[font]\nsize=large\n");
    QStringList const problems = import();
    ASSERT_EQ(1, problems.size());
    EXPECT_TRUE(problems[0].startsWith("font/size: ")) << problems[0].toStdString();
}

TEST_F(TextEditorOldSettings, MayBeMissing) {
    put("");
    std::filesystem::remove(file);
    EXPECT_EQ(QStringList(), import());
}
