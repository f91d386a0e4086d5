// SPDX-License-Identifier: Apache-2.0
#include "Variants.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include <QLineF>
#include <QMetaType>
#include <QRect>
#include <QSize>
#include <QUrl>

#include <utils/Exception.h>

#include "velmorand/QtTypes.h"

namespace velmorand::import {

namespace {

AnyValue wholeNumber(std::int64_t number, Whole whole) {
    constexpr std::int64_t mostExact = std::int64_t{1} << std::numeric_limits<double>::digits;
    if (whole == Whole::untyped && number >= std::numeric_limits<int>::min() &&
        number <= std::numeric_limits<int>::max())
        return static_cast<int>(number);
    if (whole == Whole::untyped && number >= -mostExact && number <= mostExact)
        return static_cast<double>(number);
    return std::to_string(number);
}

/** A single value; nothing if the variant has another type. */
std::optional<AnyValue> single(QVariant const& variant, Whole whole) {
    switch (variant.userType()) {
    case QMetaType::Bool:
        return variant.toBool();
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
        return variant.toInt();
    case QMetaType::UInt:
    case QMetaType::Double:
    case QMetaType::Float:
        return variant.toDouble();
    case QMetaType::Long:
    case QMetaType::LongLong:
        return wholeNumber(variant.toLongLong(), whole);
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return std::to_string(variant.toULongLong());
    case QMetaType::QByteArray:
        return Stored<QByteArray>::store(variant.toByteArray());
    case QMetaType::QUrl:
        return Stored<QUrl>::store(variant.toUrl());
    case QMetaType::QDateTime:
        return Stored<QDateTime>::store(variant.toDateTime());
    case QMetaType::QString:
    case QMetaType::QChar:
    case QMetaType::QDate:
    case QMetaType::QTime:
    case QMetaType::QUuid:
        return Stored<QString>::store(variant.toString());
    default:
        return std::nullopt;
    }
}

/** QtCore's geometric types as lists: x and y before width and height. */
std::optional<AnyValue> geometry(QVariant const& variant) {
    switch (variant.userType()) {
    case QMetaType::QSize:
        return std::vector<int>{variant.toSize().width(), variant.toSize().height()};
    case QMetaType::QPoint:
        return std::vector<int>{variant.toPoint().x(), variant.toPoint().y()};
    case QMetaType::QRect: {
        QRect const rect = variant.toRect();
        return std::vector<int>{rect.x(), rect.y(), rect.width(), rect.height()};
    }
    case QMetaType::QSizeF:
        return std::vector<double>{variant.toSizeF().width(), variant.toSizeF().height()};
    case QMetaType::QPointF:
        return std::vector<double>{variant.toPointF().x(), variant.toPointF().y()};
    case QMetaType::QRectF: {
        QRectF const rect = variant.toRectF();
        return std::vector<double>{rect.x(), rect.y(), rect.width(), rect.height()};
    }
    default:
        return std::nullopt;
    }
}

template <class T>
AnyValue listOf(std::vector<AnyValue> const& elements) {
    std::vector<T> list;
    list.reserve(elements.size());
    for (AnyValue const& element : elements)
        list.push_back(std::get<T>(element));
    return list;
}

/** Converts integers to numbers in a list that has both. */
void unify(std::vector<AnyValue>& elements) {
    bool hasNumber = false;
    for (AnyValue const& element : elements) {
        hasNumber = hasNumber || std::holds_alternative<double>(element);
        if (!std::holds_alternative<double>(element) && !std::holds_alternative<int>(element))
            return;
    }
    for (AnyValue& element : elements)
        if (hasNumber && std::holds_alternative<int>(element))
            element = static_cast<double>(std::get<int>(element));
}

Found list(std::vector<std::string> const& path, QVariantList const& variants, Whole whole) {
    std::vector<AnyValue> elements;
    for (QVariant const& variant : variants) {
        auto element = single(variant, whole);
        if (!element)
            return {path, {}, {}, "a list of lists, groups or unknown values cannot be imported"};
        elements.push_back(*std::move(element));
    }
    unify(elements);
    if (elements.empty())
        return {path, std::vector<std::string>()};
    bool const isMixed = std::any_of(elements.begin(), elements.end(), [&elements](AnyValue const& element) {
        return element.index() != elements.front().index();
    });
    if (isMixed)
        return {path, {}, {}, "a list of values of different kinds cannot be imported"};
    switch (elements.front().index()) {
    case 0:
        return {path, listOf<std::string>(elements)};
    case 1:
        return {path, listOf<double>(elements)};
    case 2:
        return {path, listOf<int>(elements)};
    default:
        return {path, listOf<bool>(elements)};
    }
}

Found setting(std::vector<std::string> const& path, QVariant const& variant, Whole whole) {
    if (!variant.isValid())
        return {path, {}, {}, "no value, or a value that only its own program can read"};
    if (variant.userType() == QMetaType::Nullptr)
        return {path, {}, {}, "null is not a value"};
    if (variant.userType() == QMetaType::QStringList)
        return {path, Stored<QStringList>::store(variant.toStringList())};
    if (variant.userType() == QMetaType::QVariantList)
        return list(path, variant.toList(), whole);
    if (auto value = single(variant, whole))
        return {path, std::move(value)};
    if (auto value = geometry(variant))
        return {path, std::move(value)};
    return {path, {}, {}, "values of type " + std::string(variant.typeName()) + " cannot be imported"};
}

Found settingOrProblem(std::vector<std::string> const& path, QVariant const& variant, Whole whole) {
    try {
        return setting(path, variant, whole);
    } catch (utils::Exception const& error) { // a value that its type cannot store
        return {path, {}, {}, error.what()};
    }
}

} // namespace

void addSettings(std::vector<Found>& all, std::vector<std::string> const& path, QVariant const& variant,
                 Whole whole) {
    bool const isHash = variant.userType() == QMetaType::QVariantHash;
    if (!isHash && variant.userType() != QMetaType::QVariantMap) {
        all.push_back(settingOrProblem(path, variant, whole));
        return;
    }
    QVariantMap const map = variant.toMap();
    std::vector<std::string> inner = path;
    inner.emplace_back();
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        inner.back() = entry.key().toStdString();
        addSettings(all, inner, entry.value(), whole);
    }
}

} // namespace velmorand::import
