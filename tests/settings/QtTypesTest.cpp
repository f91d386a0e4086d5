// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <type_traits>
#include <vector>

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <QUrl>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Catalogue.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>
#include <velmorand/QtTypes.h>

#include "support/Failure.h"

namespace Qt {

VELMORAND_ENUM(Axis, {XAxis, "x"}, {YAxis, "y"})

} // namespace Qt

namespace {

using namespace velmorand;
using support::failure;
using testing::ElementsAre;

/** Writes a value and reads it back. */
template <class T>
T kept(T const& value) {
    write("a/x", value);
    return read<T>("a/x");
}

/** The text that is stored for `value`. */
template <class T>
std::string storedText(T const& value) {
    write("a/x", value);
    return read<std::string>("a/x");
}

/** The error of reading a `T` after `stored` was written. */
template <class T, class Kind>
std::string reading(Kind const& stored) {
    write("a/x", stored);
    return failure([] { static_cast<void>(read<T>("a/x")); });
}

QString text(char const* utf8) {
    return QString::fromUtf8(utf8);
}

QDateTime utc(char const* iso) {
    QDateTime time = QDateTime::fromString(text(iso), Qt::ISODateWithMs);
    time.setTimeSpec(Qt::UTC);
    return time;
}

QDateTime inZone(QDate date, QTime time, char const* zone) {
    QTimeZone const found(zone);
    EXPECT_TRUE(found.isValid()) << zone;
    return {date, time, found};
}

/** Whether a call `set(value)` of such a property compiles. */
template <class T, class From, class Enable = void>
inline constexpr bool canSet = false;
template <class T, class From>
inline constexpr bool
    canSet<T, From, std::void_t<decltype(std::declval<Property<T> const&>().set(std::declval<From>()))>> =
        true;

} // namespace

TEST(QtStrings, AreUtf8) {
    QString const name = text("Grüße, \xF0\x9F\x8C\x8D");
    EXPECT_EQ("Grüße, \xF0\x9F\x8C\x8D", storedText(name));
    EXPECT_EQ(name, read<QString>("a/x"));
}

TEST(QtStrings, KeepEveryCharacter) {
    for (QString const& value : {QString(),
                                 text("\xEF\xBB\xBF"
                                      "bom"),
                                 text("\xEF\xBB\xBF\xEF\xBB\xBF"), QString(QChar(0)) + text("a") + QChar(0),
                                 QString(QChar(0xFFFD)), QString(QChar(0xFFFE)), QString(QChar(0xFFFF))})
        EXPECT_EQ(value, kept(value));
}

TEST(QtStrings, WithHalfOfASurrogatePairAreRefused) {
    Property<QString> const name{"a/name", "none"};
    for (QString const& value : {QString(QChar(0xD83C)), text("a") + QChar(0xDF0D) + text("b")}) {
        EXPECT_EQ("cannot set \"a/name\": text with an unpaired surrogate cannot be stored",
                  failure([&] { name.set(value); }));
        EXPECT_FALSE(name.isSet());
    }
}

TEST(QtStrings, ThatAreNotUtf8AreNotValid) {
    for (char const* const bytes : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80"})
        EXPECT_EQ("PropertyBadType", reading<QString>(bytes));
    Property<QString> const name{"a/x", "none"};
    EXPECT_EQ("none", name.get());
    EXPECT_EQ(R"(a/x: {"base64": "9JCAgA=="} is not allowed: expected text in UTF-8)", name.problem());
}

TEST(QtStrings, AcceptLiterals) {
    Property<QString> const name{"a/name", "none", choices({"none", "one", "two"})};
    EXPECT_EQ("none", name.get());
    name.set("one");
    EXPECT_EQ("one", name.get());
    name.set(QStringLiteral("two"));
    EXPECT_EQ("two", name.get());
    Property<QString> const other{"a/other", QStringLiteral("x"), choices({QStringLiteral("x")})};
    EXPECT_EQ("x", other.get());
    EXPECT_EQ(R"(cannot set "a/other": "y" is not allowed: expected "x")", failure([&] { other.set("y"); }));
}

TEST(QtStrings, DoNotCompileFromOtherTypes) {
    static_assert(canSet<QString, char const*> && canSet<QString, QString> && canSet<QString, QLatin1String>);
    static_assert(!canSet<QString, int> && !canSet<QString, bool> && !canSet<QString, char>);
    static_assert(!canSet<QString, std::string> && !canSet<std::string, QString>);
    static_assert(!canSet<QString, QUrl> && !canSet<QStringList, QString> && !canSet<QByteArray, QString>);
}

TEST(QtStrings, AreAnnouncedOnce) {
    Property<QString> const name{"a/name"};
    std::vector<std::string> heard;
    Listener const listener{"a", [&heard](std::string const& changed) { heard.push_back(changed); }};
    name.set("ä");
    name.set("ä");
    EXPECT_THAT(heard, ElementsAre("a/name"));
}

TEST(QtStringLists, AreListsOfStrings) {
    Property<QStringList> const files{"a/files", {"a", "b"}};
    EXPECT_EQ(QStringList({"a", "b"}), files.get());
    files.set({"ä", ""});
    EXPECT_THAT(read<std::vector<std::string>>("a/files"), ElementsAre("ä", ""));
    EXPECT_EQ(QStringList({"ä", ""}), files.get());
    files.set(QStringList());
    EXPECT_EQ(QStringList(), files.get());
    EXPECT_TRUE(files.isSet());
}

TEST(QtStringLists, WithOneInvalidStringAreNotValid) {
    EXPECT_EQ("PropertyBadType", reading<QStringList>(std::vector<std::string>{"a", "\xFF"}));
    EXPECT_EQ("text with an unpaired surrogate cannot be stored", failure([] {
                  write("a/x", QStringList{"a", QString(QChar(0xD83C))});
              }));
}

TEST(QtStringLists, ApplyChoicesToEachString) {
    Property<QStringList> const units{"a/units", {}, choices({"cm", "in"})};
    units.set({"in", "cm"});
    EXPECT_EQ(R"(cannot set "a/units": element 2: "mm" is not allowed: expected one of "cm", "in")",
              failure([&] {
                  units.set({"cm", "mm"});
              }));
}

TEST(QtByteArrays, AreAnyBytes) {
    QByteArray const bytes("\x00\xFFg\x00", 4);
    EXPECT_EQ(bytes, kept(bytes));
    EXPECT_EQ(std::string("\x00\xFFg\x00", 4), read<std::string>("a/x"));
    EXPECT_EQ(QByteArray(), kept(QByteArray()));
    Property<QByteArray> const geometry{"a/geometry", "literal"};
    EXPECT_EQ("literal", geometry.get());
}

TEST(QtByteArrays, CannotSetABoolean) {
    static_assert(!canSet<bool, QByteArray>);
    static_assert(!std::is_constructible_v<Property<bool>, std::string, QByteArray>);
}

TEST(QtUrls, AreFullyEncoded) {
    QUrl const url(text("https://user@example.org:8080/a b/ü?q=1 2&r=%26#ß"));
    EXPECT_EQ("https://user@example.org:8080/a%20b/%C3%BC?q=1%202&r=%26#%C3%9F", storedText(url));
    EXPECT_EQ(url, read<QUrl>("a/x"));
}

TEST(QtUrls, MayBeOfAnyForm) {
    for (char const* const form : {"file:///tmp/a", "mailto:a@example.org", "a/b", "/a?b#c", "//host/p",
                                   "http://[::1]:80/", "http://xn--mnchen-3ya.example/", "?", "#"})
        EXPECT_EQ(QUrl(text(form)), kept(QUrl(text(form)))) << form;
}

TEST(QtUrls, MayBeEmpty) {
    EXPECT_EQ("", storedText(QUrl()));
    EXPECT_TRUE(read<QUrl>("a/x").isEmpty());
}

TEST(QtUrls, AreReadFromTextThatIsNotEncoded) {
    write("a/x", "https://example.org/ü");
    EXPECT_EQ(QUrl(text("https://example.org/%C3%BC")), read<QUrl>("a/x"));
}

TEST(QtUrls, ThatAreInvalidAreRefused) {
    QUrl const invalid(text("http://a b/"));
    ASSERT_FALSE(invalid.isValid());
    EXPECT_EQ("an invalid URL cannot be stored", failure([&] { write("a/x", invalid); }));
    EXPECT_EQ("PropertyNotFound", failure([] { static_cast<void>(read<QUrl>("a/x")); }));
}

TEST(QtUrls, AreNotReadFromOtherText) {
    for (char const* const other :
         {"http://a b/", "http://a/%zz", "http://a:port/", "http://a/b c", "\xFF", "1:2"})
        EXPECT_EQ("PropertyBadType", reading<QUrl>(other)) << other;
    Property<QUrl> const home{"a/x"};
    EXPECT_EQ(R"(a/x: "1:2" is not allowed: expected a URL such as https://example.org/a%20name)",
              home.problem());
}

TEST(QtDateTimes, InUtcEndInZ) {
    QDateTime const time = utc("2026-11-21T22:30:00.007");
    EXPECT_EQ("2026-11-21T22:30:00.007Z", storedText(time));
    EXPECT_EQ(time, read<QDateTime>("a/x"));
    EXPECT_EQ(Qt::UTC, read<QDateTime>("a/x").timeSpec());
}

TEST(QtDateTimes, HaveTheirOffsetFromUtc) {
    QDate const date(2026, 1, 15);
    QTime const noon(12, 0);
    EXPECT_EQ("2026-01-15T12:00:00.000+05:45", storedText(inZone(date, noon, "Asia/Kathmandu")));
    EXPECT_EQ(inZone(date, noon, "Asia/Kathmandu"), read<QDateTime>("a/x"));
    EXPECT_EQ(20'700, read<QDateTime>("a/x").offsetFromUtc());
    EXPECT_EQ("2026-01-15T12:00:00.000-03:30", storedText(inZone(date, noon, "America/St_Johns")));
    EXPECT_EQ(inZone(date, noon, "America/St_Johns"), read<QDateTime>("a/x"));
}

TEST(QtDateTimes, DistinguishTheRepeatedHourWhenSummerTimeEnds) {
    QDateTime const summer = utc("2026-10-25T00:30:00.000").toTimeZone(QTimeZone("Europe/Berlin"));
    QDateTime const winter = summer.addSecs(3600);
    EXPECT_EQ("2026-10-25T02:30:00.000+02:00", storedText(summer));
    EXPECT_EQ(summer.toMSecsSinceEpoch(), read<QDateTime>("a/x").toMSecsSinceEpoch());
    EXPECT_EQ("2026-10-25T02:30:00.000+01:00", storedText(winter));
    EXPECT_EQ(winter.toMSecsSinceEpoch(), read<QDateTime>("a/x").toMSecsSinceEpoch());
}

TEST(QtDateTimes, KeepTheirTimeIfTheOffsetHasSeconds) {
    for (int const offset : {1172, -1172, 59, -59}) {
        QDateTime const time = utc("1920-01-01T00:00:00.001").toOffsetFromUtc(offset);
        EXPECT_EQ(time.toMSecsSinceEpoch(), kept(time).toMSecsSinceEpoch()) << offset;
    }
}

TEST(QtDateTimes, KeepLocalTime) {
    QDateTime const time(QDate(2026, 7, 1), QTime(8, 30, 0, 250));
    EXPECT_EQ(time, kept(time));
}

TEST(QtDateTimes, ThatAreNullAreTheEmptyString) {
    EXPECT_EQ("", storedText(QDateTime()));
    EXPECT_TRUE(read<QDateTime>("a/x").isNull());
}

TEST(QtDateTimes, ReachFromTheYear1To9999) {
    for (char const* const time : {"0001-01-01T00:00:00.000", "9999-12-31T23:59:59.999"})
        EXPECT_EQ(utc(time), kept(utc(time))) << time;
    std::string const refused = "an invalid time, or one outside the years 1 to 9999, cannot be stored";
    EXPECT_EQ(refused, failure([] { write("a/x", utc("9999-12-31T23:59:59.999").addMSecs(1)); }));
    EXPECT_EQ(refused, failure([] { write("a/x", utc("0001-01-01T00:00:00.000").addMSecs(-1)); }));
    EXPECT_EQ(refused, failure([] { write("a/x", QDateTime(QDate(2026, 2, 30), QTime(1, 0), Qt::UTC)); }));
    EXPECT_EQ(refused, failure([] { write("a/x", QDateTime(QDate(), QTime(1, 0), Qt::UTC)); }));
    EXPECT_EQ(refused,
              failure([] { write("a/x", utc("2026-11-21T22:30:00.000").toOffsetFromUtc(100 * 3600)); }));
}

TEST(QtDateTimes, MayLackMilliseconds) {
    write("a/x", "2026-11-21T22:30:00Z");
    EXPECT_EQ(utc("2026-11-21T22:30:00.000"), read<QDateTime>("a/x"));
    write("a/x", "2026-11-21T22:30:00-01:00");
    EXPECT_EQ(utc("2026-11-21T23:30:00.000"), read<QDateTime>("a/x"));
}

TEST(QtDateTimes, AreNotReadFromOtherText) {
    for (char const* const other :
         {"yesterday", "2026-11-21", "2026-11-21T22:30:00", "2026-11-21T22:30:00.000", "2026-11-21 22:30:00Z",
          "2026-02-30T00:00:00Z", "2026-11-21T24:00:00Z", "2026-11-21T22:30Z", "2026-11-21T22:30:00.0005Z",
          "2026-11-21T22:30:00,000Z", " 2026-11-21T22:30:00Z", "2026-11-21T22:30:00Z ",
          "2026-11-21T22:30:00+1", "2026-11-21T22:30:00.000+01:00:30", "2026-11-21T22:30:00.000+01:60",
          "2026-11-21T22:30:00.000Zx", "10000-01-01T00:00:00Z", "-001-01-01T00:00:00Z", "\xFF"})
        EXPECT_EQ("PropertyBadType", reading<QDateTime>(other)) << other;
}

TEST(QtDateTimes, MayHaveALimit) {
    Property<QDateTime> const since{"a/since", QDateTime(), atLeast(utc("2000-01-01T00:00:00.000"))};
    since.set(utc("2000-01-01T00:00:00.000"));
    EXPECT_EQ(
        R"(cannot set "a/since": "1999-12-31T23:59:59.999Z" is not allowed: expected at least 2000-01-01T00:00:00.000Z)",
        failure([&] { since.set(utc("1999-12-31T23:59:59.999")); }));
}

TEST(QtEnums, UseTheNamesThatQtCoreKnows) {
    EXPECT_EQ("Vertical", storedText(Qt::Vertical));
    EXPECT_EQ(Qt::Vertical, read<Qt::Orientation>("a/x"));
    for (char const* const other : {"", "vertical", "Qt::Vertical", "2"})
        EXPECT_EQ("PropertyBadType", reading<Qt::Orientation>(other)) << other;
}

TEST(QtEnums, ListTheirNames) {
    Property<Qt::Orientation> const orientation{"a/x", Qt::Horizontal};
    EXPECT_THAT(declaredProperties().at(0).choices, ElementsAre(R"("Horizontal")", R"("Vertical")"));
    write("a/x", "diagonal");
    EXPECT_EQ(R"(a/x: "diagonal" is not allowed: expected one of "Horizontal", "Vertical")",
              orientation.problem());
}

TEST(QtEnums, WithoutANameAreRefused) {
    EXPECT_EQ("enum value 3 has no name", failure([] { write("a/x", static_cast<Qt::Orientation>(3)); }));
}

TEST(QtEnums, UseTheNamesThatTheProgramGives) {
    EXPECT_EQ("y", storedText(Qt::YAxis));
}

TEST(QtTypes, AreElementsOfLists) {
    EXPECT_THAT(kept(std::vector<QString>{"ä", ""}), ElementsAre("ä", ""));
    EXPECT_THAT(kept(std::vector<Qt::Orientation>{Qt::Vertical}), ElementsAre(Qt::Vertical));
    QUrl const url(text("a%20b"));
    EXPECT_THAT(kept(std::vector<QUrl>{url, QUrl()}), ElementsAre(url, QUrl()));
    EXPECT_THAT(read<std::vector<std::string>>("a/x"), ElementsAre("a%20b", ""));
}

TEST(QtTypes, AreInTheCatalogue) {
    Property<QStringList> const files{"a/files", {"ä"}};
    DeclaredProperty const declared = declaredProperties().at(0);
    EXPECT_EQ("strings", declared.kind);
    EXPECT_EQ(R"(["ä"])", declared.fallback);
}
