// SPDX-License-Identifier: Apache-2.0
#include "Answer.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <QJsonDocument>
#include <QJsonObject>

namespace reader {

namespace {

bool isPrinted(QJsonObject const& object) {
    QByteArray const text = QJsonDocument(object).toJson(QJsonDocument::Compact);
    auto const size = static_cast<std::size_t>(text.size());
    return std::fwrite(text.constData(), 1, size, stdout) == size && std::fflush(stdout) == 0;
}

} // namespace

void Answer::add(QStringList const& path, char const* kind, QStringList const& value) {
    _settings.append(QJsonObject{{"path", QJsonArray::fromStringList(path)},
                                 {"kind", kind},
                                 {"value", QJsonArray::fromStringList(value)}});
}

void Answer::addBytes(QStringList const& path, QByteArray const& bytes) {
    _settings.append(QJsonObject{{"path", QJsonArray::fromStringList(path)},
                                 {"kind", "string"},
                                 {"isBase64", true},
                                 {"value", QJsonArray{QString::fromLatin1(bytes.toBase64())}}});
}

void Answer::addText(QStringList const& path, QString const& text, QStringList const& list) {
    _settings.append(QJsonObject{{"path", QJsonArray::fromStringList(path)},
                                 {"kind", "string"},
                                 {"value", QJsonArray{text}},
                                 {"list", QJsonArray::fromStringList(list)}});
}

void Answer::addProblem(QStringList const& path, QString const& reason) {
    _settings.append(QJsonObject{{"path", QJsonArray::fromStringList(path)}, {"problem", reason}});
}

int answer(int argc, char** argv, std::function<void(QString const& path, Answer& answer)> const& read) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " PATH\n";
        return EXIT_FAILURE;
    }
    QJsonObject object;
    try {
        Answer answer;
        read(QString::fromUtf8(argv[1]), answer);
        object["settings"] = answer.settings();
    } catch (Error const& error) {
        object["error"] = error.reason;
    }
    return isPrinted(object) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace reader
