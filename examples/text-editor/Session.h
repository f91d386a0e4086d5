// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

namespace editor {

/** What the editor remembers from one start to the next. */
class Session {
public:
    /** Puts a file at the head of the recent files, which are as many as the user wants. */
    void open(QString const& file) const;

    /** Puts a text at the head of the search history. */
    void search(QString const& text) const;

    /** Keeps the window's geometry, as the window system gives it. */
    void close(QByteArray const& geometry) const;

    /** Whether it is time to look for an update. */
    [[nodiscard]] bool isUpdateDue(QDateTime const& now) const;
};

/** What is wrong with the settings in the files: one line each. */
[[nodiscard]] QStringList problems();

} // namespace editor
