// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <QJsonArray>
#include <QString>
#include <QStringList>

/**
 * The output of a reader on standard output: a JSON object with "settings", a list of objects
 *
 *     {"path": [LEVEL, ...], "kind": KIND, "value": [TEXT, ...]}
 *     {"path": [LEVEL, ...], "problem": REASON}
 *
 * or, if the store cannot be read as a whole, with "error" alone. The texts are the elements of the value; a single
 * value has one. If "isBase64" is true, they are in base64. "list" has the elements if the store can read the text as a
 * list.
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

    /** A text, and its elements if it is read as a list. */
    void addText(QStringList const& path, QString const& text, QStringList const& list);
    void addProblem(QStringList const& path, QString const& reason);

    [[nodiscard]] QJsonArray const& settings() const { return _settings; }

private:
    QJsonArray _settings;
};

/** Reads the store that the first argument names, and prints the answer. Result: the exit status. */
int answer(int argc, char** argv, std::function<void(QString const& path, Answer& answer)> const& read);

} // namespace reader
