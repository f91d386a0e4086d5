// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

namespace editor {

/** The state that the editor keeps between runs. */
class Session {
public:
    /** Puts a file at the head of the list of recent files, whose length the user chooses. */
    void open(QString const& file) const;

    /** Puts a text at the head of the search history. */
    void search(QString const& text) const;

    /** Stores the window's geometry. */
    void close(QByteArray const& geometry) const;

    /** Whether it is time to look for an update. */
    [[nodiscard]] bool isUpdateDue(QDateTime const& now) const;
};

/** A line for each setting whose value in the files is invalid. */
[[nodiscard]] QStringList problems();

} // namespace editor
