// SPDX-License-Identifier: Apache-2.0

// QtCore 5 hides QString::fromAscii unless all deprecated functions are enabled, so this overrides the command line. In
// QtCore 6 the function is called fromLatin1. Only this file depends on the difference.
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
#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // only the name is deprecated; it still works
    return QString::fromAscii(path);
#pragma GCC diagnostic pop
#else
    return QString::fromLatin1(path);
#endif
}

} // namespace utils::properties
