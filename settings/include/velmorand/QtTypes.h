// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <QByteArray>
#include <QDateTime>
#include <QMetaEnum>
#include <QString>
#include <QStringList>
#include <QUrl>

#include "velmorand/Enum.h"
#include "velmorand/Export.h"
#include "velmorand/Stored.h"

/**
 * Types of QtCore as settings.
 *
 * | type                                          | stored as                                                        |
 * |-----------------------------------------------|------------------------------------------------------------------|
 * | `QString`                                     | a string, in UTF-8                                               |
 * | `QStringList`                                 | a list of such strings                                           |
 * | `QByteArray`                                  | a string of any bytes                                            |
 * | `QUrl`                                        | a string, percent-encoded where necessary                        |
 * | `QDateTime`                                   | a string in ISO 8601: "2026-03-01T08:30:00.000+01:00"            |
 * | an enum with `Q_ENUM` or `Q_ENUM_NS`          | a string, the name of the enumerator                             |
 *
 * For an enum, `VELMORAND_ENUM` takes precedence: with it, enumerators can be renamed without changing the stored
 * names.
 *
 * Null and empty values are stored alike: they are read back as an empty `QString`, `QByteArray` or `QUrl`, or as a
 * null `QDateTime`.
 *
 * Guide: docs/types.md#types-of-qt.
 */
namespace velmorand {

template <>
struct VELMORAND_SETTINGS_EXPORT Stored<QString> {
    using Type = std::string;

    /** Errors: `utils::Exception` for text that UTF-8 cannot represent because of an unpaired surrogate. */
    static std::string store(QString const& text);
    static std::optional<QString> load(std::string const& bytes);
    static std::string expected();
};

template <>
struct Stored<QStringList> {
    using Type = std::vector<std::string>;

    /** Errors: as for `QString`. */
    static Type store(QStringList const& texts) {
        Type stored;
        stored.reserve(static_cast<std::size_t>(texts.size()));
        for (QString const& text : texts)
            stored.push_back(Stored<QString>::store(text));
        return stored;
    }
    static std::optional<QStringList> load(Type const& stored) {
        QStringList texts;
        for (std::string const& bytes : stored) {
            std::optional<QString> text = Stored<QString>::load(bytes);
            if (!text)
                return std::nullopt;
            texts.append(*std::move(text));
        }
        return texts;
    }
};

template <>
struct VELMORAND_SETTINGS_EXPORT Stored<QByteArray> {
    using Type = std::string;
    static std::string store(QByteArray const& bytes);
    static std::optional<QByteArray> load(std::string const& bytes);
};

template <>
struct VELMORAND_SETTINGS_EXPORT Stored<QUrl> {
    using Type = std::string;

    /** Errors: `utils::Exception` for an invalid URL that is not empty. */
    static std::string store(QUrl const& url);
    static std::optional<QUrl> load(std::string const& text);
    static std::string expected();
};

/**
 * Keeps the point in time to the millisecond and its offset from UTC to the minute, but not the name of the time zone.
 * Text without an offset is invalid, because its meaning would depend on the machine. In stored text, the milliseconds
 * are optional.
 */
template <>
struct VELMORAND_SETTINGS_EXPORT Stored<QDateTime> {
    using Type = std::string;

    /** Errors: `utils::Exception` for an invalid time that is not null, and for a year outside 1 to 9999. */
    static std::string store(QDateTime const& time);
    static std::optional<QDateTime> load(std::string const& text);
    static std::string expected();
};

namespace detail {

/** The names of an enum's enumerators, from QtCore's meta-object. */
template <class Enum>
struct MetaNames {
    static std::vector<EnumName<Enum>> names() {
        QMetaEnum const known = QMetaEnum::fromType<Enum>();
        std::vector<EnumName<Enum>> all;
        all.reserve(static_cast<std::size_t>(known.keyCount()));
        for (int i = 0; i < known.keyCount(); ++i)
            all.push_back({static_cast<Enum>(known.value(i)), known.key(i)});
        return all;
    }
};

/** Whether an enum has been declared with `Q_ENUM` or `Q_ENUM_NS`, which define this function. */
template <class Enum, class Enable = void>
inline constexpr bool hasMetaNames = false;
template <class Enum>
inline constexpr bool hasMetaNames<Enum, std::void_t<decltype(qt_getEnumMetaObject(Enum()))>> = true;

template <class Enum>
struct BuiltIn<Enum, std::enable_if_t<std::is_enum_v<Enum> && hasMetaNames<Enum> && !hasGivenNames<Enum>>>
    : StoredByName<Enum, MetaNames<Enum>> {};

} // namespace detail

} // namespace velmorand
