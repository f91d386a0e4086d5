// SPDX-License-Identifier: Apache-2.0
#include "Quantity.h"

#include <algorithm>
#include <array>
#include <tuple>

namespace tool {

namespace {

constexpr std::string_view digits = "0123456789";
constexpr std::uint64_t ten = 10;

struct Unit {
    std::string_view name;
    std::uint64_t nanoseconds;
};

constexpr std::array<Unit, 7> units{{{"ns", 1},
                                     {"us", 1'000},
                                     {"ms", 1'000'000},
                                     {"s", 1'000'000'000},
                                     {"min", 60'000'000'000},
                                     {"h", 3'600'000'000'000},
                                     {"d", 86'400'000'000'000}}};

bool areDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of(digits) == std::string_view::npos;
}

} // namespace

std::optional<Quantity> Quantity::ofNumber(std::string_view text) {
    Quantity quantity;
    if (!text.empty() && text.front() == '-') {
        quantity._isNegative = true;
        text.remove_prefix(1);
    }
    std::size_t const point = std::min(text.find('.'), text.size());
    std::string_view const whole = text.substr(0, point);
    std::string_view const fraction = text.substr(std::min(point + 1, text.size()));
    if (!areDigits(whole) || (point < text.size() && !areDigits(fraction)))
        return std::nullopt;
    quantity._whole = whole;
    quantity._fraction = fraction;
    quantity.normalise();
    return quantity;
}

std::optional<Quantity> Quantity::ofWhole(std::string_view text) {
    static Quantity const least = *ofNumber("-9223372036854775808");
    static Quantity const most = *ofNumber("18446744073709551615");
    if (text.find('.') != std::string_view::npos)
        return std::nullopt;
    std::optional<Quantity> quantity = ofNumber(text);
    return quantity && !(*quantity < least) && !(most < *quantity) ? quantity : std::nullopt;
}

std::optional<Quantity> Quantity::ofDuration(std::string_view text) {
    std::size_t const end = text.find_last_of(digits) + 1;
    auto const* const unit = std::find_if(units.begin(), units.end(), [&](Unit const& candidate) {
        return candidate.name == text.substr(end);
    });
    if (unit == units.end())
        return std::nullopt;
    std::optional<Quantity> quantity = ofNumber(text.substr(0, end));
    if (quantity)
        quantity->multiply(unit->nanoseconds);
    return quantity;
}

bool Quantity::isResolution() const {
    static Quantity const most = *ofDuration("10000d");
    return !_isNegative && !_whole.empty() && _fraction.empty() && !(most < *this);
}

bool Quantity::isMultipleOf(Quantity const& resolution) const {
    std::uint64_t const divisor = std::stoull(resolution._whole);
    std::uint64_t rest = 0;
    for (char const digit : _whole)
        rest = (rest * ten + static_cast<std::uint64_t>(digit - '0')) % divisor;
    return _fraction.empty() && rest == 0;
}

void Quantity::multiply(std::uint64_t factor) {
    std::string product = _whole + _fraction;
    std::uint64_t carry = 0;
    for (auto digit = product.rbegin(); digit != product.rend(); ++digit) {
        carry += static_cast<std::uint64_t>(*digit - '0') * factor;
        *digit = static_cast<char>('0' + carry % ten);
        carry /= ten;
    }
    if (carry > 0)
        product.insert(0, std::to_string(carry));
    std::size_t const point = product.size() - _fraction.size();
    _whole = product.substr(0, point);
    _fraction = product.substr(point);
    normalise();
}

void Quantity::normalise() {
    _whole.erase(0, _whole.find_first_not_of('0'));
    _fraction.erase(_fraction.find_last_not_of('0') + 1);
    if (_whole.empty() && _fraction.empty())
        _isNegative = false;
}

bool Quantity::isSmaller(Quantity const& left, Quantity const& right) {
    if (left._whole.size() != right._whole.size())
        return left._whole.size() < right._whole.size();
    return std::tie(left._whole, left._fraction) < std::tie(right._whole, right._fraction);
}

bool operator<(Quantity const& left, Quantity const& right) {
    if (left._isNegative != right._isNegative)
        return left._isNegative;
    return left._isNegative ? Quantity::isSmaller(right, left) : Quantity::isSmaller(left, right);
}

} // namespace tool
