// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <system_error>

#include <sys/stat.h>

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QString>
#include <utils/Exception.h>

#include "Readers.h"
#include "Variants.h"

namespace velmorand::import {

namespace {

using utils::Exception;

Exception systemError() {
    return Exception(std::generic_category().message(errno));
}

QByteArray rawBytes(std::string const& text) {
    return QByteArray::fromRawData(text.data(), static_cast<int>(text.size()));
}

bool hasByteOrderMark(std::string const& text) {
    return text.compare(0, 3, "\xEF\xBB\xBF") == 0;
}

bool isUtf8(std::string const& text) {
    QByteArray const bytes = rawBytes(text);
    return QString::fromUtf8(bytes).toUtf8() ==
           (hasByteOrderMark(text) ? bytes.mid(3) : bytes); // QtCore drops the mark
}

} // namespace

std::string readText(std::string const& path) {
    constexpr std::size_t most = std::numeric_limits<int>::max() / 4; // limit of text in QtCore 5
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        throw systemError();
    if (!S_ISREG(status.st_mode)) // opening a pipe would wait for a writer
        throw Exception("not a regular file");
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (file == nullptr)
        throw systemError();
    std::string text;
    std::array<char, 65'536> part{};
    while (std::size_t const got = std::fread(part.data(), 1, part.size(), file.get())) {
        text.append(part.data(), got);
        if (text.size() > most)
            throw Exception("file too large");
    }
    if (std::ferror(file.get()) != 0)
        throw systemError();
    if (text.find('\0') != std::string::npos || !isUtf8(text))
        throw Exception("not UTF-8 text");
    return text;
}

std::string readUnmarkedText(std::string const& path) {
    std::string text = readText(path);
    if (hasByteOrderMark(text))
        throw Exception("begins with a byte order mark: save it as UTF-8 without one");
    return text;
}

std::vector<Found> readIni(std::string const& path) {
    static_cast<void>(readUnmarkedText(path)); // only to refuse files that are not text
    QSettings settings(QString::fromUtf8(path.c_str()), QSettings::IniFormat);
#if QT_VERSION_MAJOR == 5
    settings.setIniCodec("UTF-8"); // the only one in QtCore 6
#endif
    QStringList const keys = settings.allKeys();
    if (settings.status() != QSettings::NoError)
        throw Exception("not a QSettings INI file: a line is neither a [section] nor \"key=value\"");
    std::vector<Found> all;
    for (QString const& key : keys) {
        std::vector<std::string> levels;
        QStringList const texts = key.split('/');
        std::transform(texts.begin(), texts.end(), std::back_inserter(levels),
                       std::mem_fn(&QString::toStdString));
        addSettings(all, levels, settings.value(key), Whole::typed);
    }
    return all;
}

std::vector<Found> readJson(std::string const& path) {
    std::string const text = readText(path);
    QJsonParseError error{};
    QJsonDocument const document = QJsonDocument::fromJson(rawBytes(text), &error);
    if (error.error != QJsonParseError::NoError)
        throw Exception("line " +
                        std::to_string(1 + std::count(text.begin(), text.begin() + error.offset, '\n')) +
                        ": not valid JSON: " + error.errorString().toStdString());
    if (!document.isObject())
        throw Exception("not a JSON object");
    std::vector<Found> all;
    addSettings(all, {}, document.object().toVariantMap(), Whole::untyped);
    return all;
}

} // namespace velmorand::import
