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
 * or, if the whole store cannot be read, {"error": REASON}. The texts are the elements of the value; a single value has
 * one. If the object also has "isBase64": true, they are in base64. If the store can read a text as a list as well,
 * "list" has the elements of that list.
 */
namespace reader {

/** Thrown if the whole store cannot be read. */
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
