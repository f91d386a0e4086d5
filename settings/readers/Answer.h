// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <QJsonArray>
#include <QString>
#include <QStringList>

/**
 * What a reader writes to standard output: a JSON object with "settings", a list of objects
 *
 *     {"path": [LEVEL, ...], "kind": KIND, "value": [TEXT, ...]}
 *     {"path": [LEVEL, ...], "problem": REASON}
 *
 * or with "error" alone if the store cannot be read as a whole. The texts are the elements of the value, one if it is
 * not a list. "isBase64" says that they are in base64; "list" are the elements if the store can read the text as a list.
 */
namespace reader {

/** The store cannot be read as a whole. */
struct Error {
    QString reason;
};

class Answer {
public:
    void add(QStringList const& path, char const* kind, QStringList const& value);
    void addBytes(QStringList const& path, QByteArray const& bytes);

    /** A text, and what it is as a list. */
    void addText(QStringList const& path, QString const& text, QStringList const& list);
    void addProblem(QStringList const& path, QString const& reason);

    [[nodiscard]] QJsonArray const& settings() const { return _settings; }

private:
    QJsonArray _settings;
};

/** Reads what the first argument names, and prints the answer. Result: for `main`. */
int answer(int argc, char** argv, std::function<void(QString const& path, Answer& answer)> const& read);

} // namespace reader
