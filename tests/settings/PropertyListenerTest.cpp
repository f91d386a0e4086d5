// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utils/properties/Register.h>
#include <velmorand/Changes.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>
#include <velmorand/QtTypes.h>

#include "support/Failure.h"
#include "support/NumberedTypes.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using testing::ElementsAre;
using testing::IsEmpty;

enum class Colour { red, green };
VELMORAND_ENUM(Colour, {Colour::red, "red"}, {Colour::green, "green"})

class PropertyListener : public testing::Test {
protected:
    auto note() {
        return [this](int value) { values.push_back(value); };
    }

    Property<int> const size{"a/size", 11, range(6, 72)};
    std::vector<int> values;
};

/** Two values of each type that differ from the fallback. */
template <class T>
struct Samples;

template <>
struct Samples<std::string> {
    static std::vector<std::string> values() { return {"one", "two"}; }
};
template <>
struct Samples<double> {
    static std::vector<double> values() { return {0.5, -1e300}; }
};
template <>
struct Samples<int> {
    static std::vector<int> values() { return {1, -2}; }
};
template <>
struct Samples<bool> {
    static std::vector<bool> values() { return {true, false}; }
};
template <class T>
struct Samples<std::vector<T>> {
    static std::vector<std::vector<T>> values() { return {Samples<T>::values(), {Samples<T>::values()[1]}}; }
};
template <>
struct Samples<unsigned short> {
    static std::vector<unsigned short> values() { return {1, 65535}; }
};
template <>
struct Samples<std::int64_t> {
    static std::vector<std::int64_t> values() { return {1, INT64_MIN}; }
};
template <>
struct Samples<Colour> {
    static std::vector<Colour> values() { return {Colour::green, Colour::red}; }
};
template <>
struct Samples<std::chrono::milliseconds> {
    static std::vector<std::chrono::milliseconds> values() {
        return {std::chrono::milliseconds(5), std::chrono::hours(1)};
    }
};
template <>
struct Samples<std::filesystem::path> {
    static std::vector<std::filesystem::path> values() { return {"/one", "two"}; }
};
template <>
struct Samples<QString> {
    static std::vector<QString> values() { return {QStringLiteral("one"), QStringLiteral("zwei ü")}; }
};
template <>
struct Samples<QStringList> {
    static std::vector<QStringList> values() {
        return {{QStringLiteral("one")}, {QStringLiteral("one"), QStringLiteral("two")}};
    }
};
template <>
struct Samples<QByteArray> {
    static std::vector<QByteArray> values() { return {QByteArray("\x01\xff"), QByteArray("two")}; }
};
template <>
struct Samples<QUrl> {
    static std::vector<QUrl> values() {
        return {QUrl(QStringLiteral("https://example.org/one")),
                QUrl(QStringLiteral("https://example.org/two"))};
    }
};
template <>
struct Samples<QDateTime> {
    static std::vector<QDateTime> values() {
        return {QDateTime(QDate(2026, 3, 1), QTime(7, 30), Qt::UTC),
                QDateTime(QDate(1999, 12, 31), QTime(0, 0), Qt::UTC)};
    }
};
template <>
struct Samples<Qt::Axis> {
    static std::vector<Qt::Axis> values() { return {Qt::YAxis, Qt::ZAxis}; }
};

template <class T>
class PropertyListenerOfType : public testing::Test {};

using Types = testing::Types<std::string, double, int, bool, std::vector<std::string>, std::vector<double>,
                             std::vector<int>, std::vector<bool>, unsigned short, std::int64_t, Colour,
                             std::vector<Colour>, std::chrono::milliseconds, std::filesystem::path, QString,
                             QStringList, QByteArray, QUrl, QDateTime, Qt::Axis>;
TYPED_TEST_SUITE(PropertyListenerOfType, Types, support::NumberedTypes);

} // namespace

TYPED_TEST(PropertyListenerOfType, ReceivesEachNewValue) {
    Property<TypeParam> const property{"a/x"};
    std::vector<TypeParam> values;
    Listener const listener{property, [&](TypeParam const& value) { values.push_back(value); }};
    auto const samples = Samples<TypeParam>::values();
    for (TypeParam const& sample : samples)
        property.set(sample);
    EXPECT_EQ(samples, values);
}

TYPED_TEST(PropertyListenerOfType, ReceivesTheLastValueOnceFromAnExecutor) {
    Property<TypeParam> const property{"a/x"};
    std::vector<TypeParam> values;
    std::vector<std::function<void()>> tasks;
    QueuedListener const listener{property,
                                  [&](std::function<void()> task) { tasks.push_back(std::move(task)); },
                                  [&](TypeParam const& value) { values.push_back(value); }};
    auto const samples = Samples<TypeParam>::values();
    for (TypeParam const& sample : samples)
        property.set(sample);
    for (auto const& task : tasks)
        task();
    EXPECT_EQ(std::vector<TypeParam>{samples[1]}, values);
}

TEST_F(PropertyListener, ReceivesTheFallbackOnceTheValueIsReset) {
    size.set(20);
    Listener const listener{size, note()};
    size.reset();
    EXPECT_THAT(values, ElementsAre(11));
}

TEST_F(PropertyListener, ReceivesTheFallbackForAValueThatIsNotAllowed) {
    Listener const listener{size, note()};
    write("a/size", 80);
    write("a/size", "large");
    EXPECT_THAT(values, ElementsAre(11, 11));
}

TEST_F(PropertyListener, ReceivesTheEffectiveValueIfAnyScopeIsWritten) {
    Listener const listener{size, note()};
    write("a/size", 20, SCOPE_GLOBAL);
    size.set(30);
    write("a/size", 40, SCOPE_GLOBAL);
    size.reset();
    EXPECT_THAT(values, ElementsAre(20, 30, 30, 40));
}

TEST_F(PropertyListener, ReceivesAValueWrittenByTheRegister) {
    Listener const listener{size, note()};
    _Register::getInstance()->_writeInteger(nullptr, "a/size", 20, SCOPE_USER);
    _Register::getInstance()->_writeInteger(nullptr, "a/size/", 30, SCOPE_USER);
    EXPECT_THAT(values, ElementsAre(20, 30));
}

TEST_F(PropertyListener, IsCalledOnceAllChangesHaveBeenMade) {
    Property<int> const other{"a/other"};
    Listener const listener{size, [&](int value) { values = {value, other.get()}; }};
    Changes changes;
    changes.set(size, 20);
    changes.set(other, 3);
    changes.apply();
    EXPECT_THAT(values, ElementsAre(20, 3));
}

TEST_F(PropertyListener, IsNotCalledForOtherNames) {
    Listener const listener{size, note()};
    write("a/size of it", 1);
    write("a", 1, SCOPE_TEMPORARY);
    write("a/size/x", 1, SCOPE_GLOBAL);
    EXPECT_THAT(values, IsEmpty());
}

TEST_F(PropertyListener, SkipsItsSender) {
    Listener const listener{size, note(), this};
    size.set(20, this);
    size.set(30);
    EXPECT_THAT(values, ElementsAre(30));
}

TEST_F(PropertyListener, IsNotifiedOfAPropertyDeclaredWithExtraSlashes) {
    Property<int> const unclean{"/b//size/"};
    Listener const listener{unclean, note()};
    write("b/size", 5);
    unclean.set(6);
    EXPECT_THAT(values, ElementsAre(5, 6));
}

TEST_F(PropertyListener, IsNotNotifiedOfAPropertyWithoutAName) {
    Property<int> const nameless{"/"};
    Listener const listener{nameless, note()};
    write("x", 5);
    EXPECT_THAT(values, IsEmpty());
}

TEST_F(PropertyListener, MayOutliveItsDeclaration) {
    Listener const listener{Property<int>{"b/size", 3}, note()};
    write("b/size", 5);
    write("b/size", "large");
    EXPECT_THAT(values, ElementsAre(5, 3));
}

TEST_F(PropertyListener, AcceptsAMoveOnlyCallable) {
    auto target = std::make_unique<int>();
    int const& heard = *target;
    Listener const listener{size, [target = std::move(target)](int value) { *target = value; }};
    size.set(20);
    EXPECT_EQ(20, heard);
}

TEST_F(PropertyListener, PassesAnExceptionOfAComputedFallbackToTheWriter) {
    Property<int> const computed{"b/size", []() -> int { throw utils::Exception("no fallback"); }};
    Listener const listener{computed, note()};
    EXPECT_EQ("no fallback", failure([] { write("b/size", "large"); }));
}

TEST_F(PropertyListener, MayBeDestroyedInsideItsOwnCall) {
    std::optional<Listener> listener;
    listener.emplace(size, [&](int value) {
        values.push_back(value);
        listener.reset();
    });
    size.set(20);
    size.set(30);
    EXPECT_THAT(values, ElementsAre(20));
}

TEST_F(PropertyListener, ReceivesTheLastValueOnceWhenTheLoopDelivers) {
    QueuedListener changes{size};
    size.set(20);
    size.set(30);
    _Register::getInstance()->_writeInteger(nullptr, "a/size/", 40, SCOPE_USER);
    EXPECT_EQ(1U, changes.deliver(size, note()));
    EXPECT_EQ(0U, changes.deliver(size, note()));
    EXPECT_THAT(values, ElementsAre(40));
}

TEST_F(PropertyListener, WakesALoop) {
    int wakes = 0;
    QueuedListener changes{size, [&wakes] { ++wakes; }, this};
    size.set(20, this);
    EXPECT_EQ(0, wakes);
    size.set(30);
    EXPECT_EQ(1, wakes);
}
