// SPDX-License-Identifier: Apache-2.0
#include "velmorand/QtTypes.h"

#include <limits>

#include <utils/Exception.h>

namespace velmorand {

namespace {

/** The largest size, in bytes, of a string or a byte array in QtCore 5. */
constexpr std::size_t mostBytes = std::numeric_limits<int>::max() - 64;
constexpr std::size_t mostText = mostBytes / sizeof(QChar);

/** Decodes a whole text. Without the prefix, QtCore would drop a byte order mark at the start. */
QString decoded(std::string const& bytes) {
    return QString::fromUtf8(("." + bytes).c_str(), static_cast<int>(bytes.size() + 1)).mid(1);
}

QString ascii(std::string const& text) {
    return QString::fromLatin1(text.data(), static_cast<int>(text.size()));
}

/** The canonical text for a time. */
std::string isoText(QDateTime const& time) {
    constexpr int minute = 60;
    // ISO 8601 offsets have no seconds, but the offsets of 19th-century local times do.
    QDateTime const inMinutes = time.toOffsetFromUtc(time.offsetFromUtc() / minute * minute);
    return inMinutes.toString(Qt::ISODateWithMs).toStdString();
}

} // namespace

std::string Stored<QString>::store(QString const& text) {
    std::string bytes = text.toStdString();
    if (decoded(bytes) != text)
        throw utils::Exception("text with an unpaired surrogate cannot be stored");
    return bytes;
}

std::optional<QString> Stored<QString>::load(std::string const& bytes) {
    if (bytes.size() > mostText)
        return std::nullopt;
    QString text = decoded(bytes);
    return text.toStdString() == bytes ? std::optional(std::move(text)) : std::nullopt;
}

std::string Stored<QString>::expected() {
    return "text in UTF-8";
}

std::string Stored<QByteArray>::store(QByteArray const& bytes) {
    return bytes.toStdString();
}

std::optional<QByteArray> Stored<QByteArray>::load(std::string const& bytes) {
    if (bytes.size() > mostBytes)
        return std::nullopt;
    return QByteArray(bytes.data(), static_cast<int>(bytes.size()));
}

std::string Stored<QUrl>::store(QUrl const& url) {
    std::string text = url.toEncoded().toStdString();
    if (load(text) != url)
        throw utils::Exception("an invalid URL cannot be stored");
    return text;
}

std::optional<QUrl> Stored<QUrl>::load(std::string const& text) {
    std::optional<QString> const decodedText = Stored<QString>::load(text);
    if (!decodedText)
        return std::nullopt;
    QUrl url(*decodedText, QUrl::StrictMode);
    return url.isValid() || text.empty() ? std::optional(std::move(url)) : std::nullopt;
}

std::string Stored<QUrl>::expected() {
    return "a URL such as https://example.org/a%20name";
}

std::string Stored<QDateTime>::store(QDateTime const& time) {
    if (time.isNull())
        return {};
    std::string text = isoText(time);
    if (text.empty() || load(text) != time)
        throw utils::Exception("an invalid time, or one outside the years 1 to 9999, cannot be stored");
    return text;
}

std::optional<QDateTime> Stored<QDateTime>::load(std::string const& text) {
    if (text.empty())
        return QDateTime();
    QDateTime const time = QDateTime::fromString(ascii(text), Qt::ISODateWithMs);
    if (!time.isValid())
        return std::nullopt;
    // QtCore also accepts other forms, and local times; only the canonical text is valid.
    std::string whole = text;
    constexpr std::size_t upToSeconds = std::string_view("2026-03-01T08:30:00").size();
    if (whole.size() > upToSeconds && whole[upToSeconds] != '.')
        whole.insert(upToSeconds, ".000");
    return isoText(time) == whole ? std::optional(time) : std::nullopt;
}

std::string Stored<QDateTime>::expected() {
    return "a date and time such as 2026-03-01T08:30:00.000+01:00 or 2026-03-01T07:30:00.000Z";
}

} // namespace velmorand
