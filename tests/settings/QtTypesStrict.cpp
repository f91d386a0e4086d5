// SPDX-License-Identifier: Apache-2.0
//
// Compiled with the macros that Qt programs use to forbid implicit conversions.

#include <string>
#include <type_traits>
#include <utility>

#include <QString>
#include <QStringList>
#include <QUrl>

#include <velmorand/Property.h>
#include <velmorand/QtThread.h>
#include <velmorand/QtTypes.h>

using namespace velmorand;

namespace {

/** Whether a call `set(value)` of such a property compiles. */
template <class T, class From, class Enable = void>
inline constexpr bool canSet = false;
template <class T, class From>
inline constexpr bool
    canSet<T, From, std::void_t<decltype(std::declval<Property<T> const&>().set(std::declval<From>()))>> =
        true;

static_assert(canSet<QString, QString> && canSet<QUrl, QUrl> && canSet<QString, QLatin1String>);
static_assert(!canSet<QString, char const*> && !canSet<QString, QByteArray> && !canSet<QUrl, QString>);
static_assert(!std::is_constructible_v<Property<QString>, std::string, char const*>);

Property<QString> const name{"a/name", QStringLiteral("none"),
                             choices({QStringLiteral("none"), QStringLiteral("one")})};
Property<QStringList> const files{"a/files", {QStringLiteral("a")}};
Property<QByteArray> const geometry{"a/geometry"};
Property<QUrl> const home{"a/home", QUrl(QStringLiteral("https://example.org/"))};
Property<QDateTime> const since{"a/since"};
Property<Qt::Orientation> const orientation{"a/orientation", Qt::Vertical};

QObject window;
QueuedListener const names{name, inThreadOf(&window),
                           [](QString const& text) { window.setObjectName(text); }};

} // namespace
