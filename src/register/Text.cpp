// SPDX-License-Identifier: Apache-2.0

// QtCore 5 hides QString::fromAscii unless everything that was ever deprecated is let in, whatever the
// command line says; in QtCore 6 it is fromLatin1. This is the only place that sees the difference.
#undef QT_DISABLE_DEPRECATED_BEFORE
#define QT_DISABLE_DEPRECATED_BEFORE 0
#include "register/Text.h"

#include <limits>

#include <utils/Exception.h>

namespace utils::properties {

QString toQString(std::string const& utf8) {
    if (utf8.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw Exception("Name too long.");
    return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

std::string toUtf8(QString const& text) {
    QByteArray const utf8 = text.toUtf8();
    return {utf8.constData(), static_cast<std::size_t>(utf8.size())};
}

QString fromLiteral(char const* path) {
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // deprecated by name only: it does what it did
    return QString::fromAscii(path);
#pragma GCC diagnostic pop
#else
    return QString::fromLatin1(path);
#endif
}

} // namespace utils::properties
