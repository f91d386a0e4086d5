// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Session.h"
#include "Settings.h"

using namespace editor;

TEST(TextEditorSession, KeepsTheRecentFilesInOrder) {
    Session const session;
    for (char const* const file : {"a", "ü", "c", "a"})
        session.open(file);
    EXPECT_EQ(QStringList({"a", "c", "ü"}), settings::recent.get());
    settings::recentCount.set(2);
    session.open("d");
    EXPECT_EQ(QStringList({"d", "a"}), settings::recent.get());
}

TEST(TextEditorSession, KeepsTheSearchHistory) {
    Session const session;
    for (int i = 0; i < 30; ++i)
        session.search(QString::number(i));
    EXPECT_EQ(20, settings::searched.get().size());
    EXPECT_EQ("29", settings::searched.get().first());
}

TEST(TextEditorSession, KeepsTheGeometry) {
    QByteArray const geometry("\x01\xd9\x00\xff", 4);
    Session().close(geometry);
    EXPECT_EQ(geometry, settings::geometry.get());
}

TEST(TextEditorSession, LooksForAnUpdateEveryWeek) {
    QDateTime const now(QDate(2026, 3, 1), QTime(8, 30), Qt::UTC);
    EXPECT_TRUE(Session().isUpdateDue(now));
    settings::lastUpdate.set(now);
    EXPECT_FALSE(Session().isUpdateDue(now.addDays(7).addSecs(-1)));
    EXPECT_TRUE(Session().isUpdateDue(now.addDays(7)));
}
