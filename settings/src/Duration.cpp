// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Duration.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <numeric>
#include <string_view>
#include <system_error>

#include <utils/Exception.h>

namespace velmorand::detail {

namespace {

struct NamedUnit {
    char const* name;
    TimeUnit unit;
};

constexpr std::array<NamedUnit, 7> units{{{"ns", {1, 1'000'000'000}},
                                          {"us", {1, 1'000'000}},
                                          {"ms", {1, 1'000}},
                                          {"s", {1, 1}},
                                          {"min", {60, 1}},
                                          {"h", {3'600, 1}},
                                          {"d", {86'400, 1}}}};

char const* nameOf(TimeUnit unit) {
    return std::find_if(units.begin(), units.end(),
                        [unit](NamedUnit const& named) {
                            return named.unit.numerator == unit.numerator &&
                                   named.unit.denominator == unit.denominator;
                        })
        ->name;
}

/** A duration: its number, and the factor that converts it to the requested unit, a fraction in lowest terms. */
struct Parts {
    std::string_view number;
    TimeUnit factor;
};

/** The size of the decimal number at the beginning of a text; 0 if the text does not begin with a number. */
std::size_t numberSize(std::string_view text) {
    auto const digits = [text](std::size_t from) {
        std::size_t end = from;
        while (end < text.size() && text[end] >= '0' && text[end] <= '9')
            ++end;
        return end - from;
    };
    std::size_t const sign = !text.empty() && text[0] == '-' ? 1 : 0;
    std::size_t const whole = sign + digits(sign);
    if (whole == sign)
        return 0;
    std::size_t const fraction = whole < text.size() && text[whole] == '.' ? digits(whole + 1) : 0;
    return whole + (fraction == 0 ? 0 : 1 + fraction);
}

std::optional<Parts> split(std::string_view text, TimeUnit unit) {
    std::size_t const size = numberSize(text);
    auto const* const named =
        std::find_if(units.begin(), units.end(),
                     [name = text.substr(size)](auto const& known) { return name == known.name; });
    if (named == units.end())
        return std::nullopt;
    std::int64_t const numerator = named->unit.numerator * unit.denominator;
    std::int64_t const denominator = named->unit.denominator * unit.numerator;
    std::int64_t const common = std::gcd(numerator, denominator);
    return Parts{text.substr(0, size), {numerator / common, denominator / common}};
}

/** Parses a whole text as a number. */
template <class T>
std::optional<T> parsed(std::string_view text) {
    T value{};
    auto const result = std::from_chars(text.data(), text.data() + text.size(), value);
    bool const isWhole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return isWhole ? std::optional(value) : std::nullopt;
}

/** Multiplies a number, given by its decimal digits. */
void multiply(std::string& digits, std::int64_t factor) {
    std::int64_t carry = 0;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        carry += (*digit - '0') * factor;
        *digit = static_cast<char>('0' + carry % 10);
        carry /= 10;
    }
    digits.insert(0, std::to_string(carry));
}

/**
 * Divides a number, given by its decimal digits, and appends the digits after the decimal point.
 * Result: the number of digits appended. A long quotient is truncated after the digits that can affect a `double`, and
 * a 1 is appended to represent the rest.
 */
std::size_t divide(std::string& digits, std::int64_t divisor) {
    constexpr std::size_t sufficient = 800; // midpoints of adjacent doubles have under 770 significant digits
    std::size_t const whole = digits.size();
    std::int64_t rest = 0;
    for (std::size_t i = 0; i < whole || (rest != 0 && i < whole + sufficient); ++i) {
        if (i == digits.size())
            digits += '0';
        rest = rest * 10 + (digits[i] - '0');
        digits[i] = static_cast<char>('0' + rest / divisor);
        rest %= divisor;
    }
    if (rest != 0)
        digits += '1';
    return digits.size() - whole;
}

} // namespace

std::string durationText(std::int64_t count, TimeUnit unit) {
    return std::to_string(count) + nameOf(unit);
}

std::string durationText(double count, TimeUnit unit) {
    if (!std::isfinite(count))
        throw utils::Exception("a duration must be finite");
    std::array<char, 400> text{}; // enough for the digits of any double
    auto const result = std::to_chars(text.begin(), text.end(), count, std::chars_format::fixed);
    return std::string(text.begin(), result.ptr) + nameOf(unit);
}

std::optional<std::int64_t> wholeDuration(std::string const& text, TimeUnit unit) {
    auto const parts = split(text, unit);
    if (!parts)
        return std::nullopt;
    // "1.50" is 15 / 10.
    std::string digits(parts->number);
    std::int64_t divisor = parts->factor.denominator;
    std::int64_t factor = parts->factor.numerator;
    if (auto const point = digits.find('.'); point != std::string::npos) {
        digits.erase(std::max(digits.find_last_not_of('0'), point) + 1);
        digits.erase(point, 1);
        for (std::size_t place = point; place < digits.size(); ++place)
            if (factor % 10 == 0)
                factor /= 10;
            else if (__builtin_mul_overflow(divisor, 10, &divisor))
                return std::nullopt;
    }
    auto const number = parsed<std::int64_t>(digits);
    if (!number)
        return std::nullopt;
    auto const unsignedNumber = static_cast<std::uint64_t>(*number);
    std::uint64_t const magnitude = *number < 0 ? 0 - unsignedNumber : unsignedNumber;
    auto const common = static_cast<std::int64_t>(std::gcd(magnitude, static_cast<std::uint64_t>(divisor)));
    std::int64_t product = 0;
    if (common != divisor && factor % (divisor / common) != 0)
        return std::nullopt;
    if (__builtin_mul_overflow(*number / common, factor / (divisor / common), &product))
        return std::nullopt;
    return product;
}

// Calculates in decimal, so that the result is the number nearest to the exact duration on every machine.
// Floating-point arithmetic would round twice, and differently on i386.
std::optional<double> duration(std::string const& text, TimeUnit unit) {
    auto const parts = split(text, unit);
    if (!parts || parts->number.empty())
        return std::nullopt;
    std::string const sign(parts->number[0] == '-' ? "-" : "");
    std::string digits(parts->number.substr(sign.size()));
    std::size_t places = 0; // after the point
    if (auto const point = digits.find('.'); point != std::string::npos) {
        digits.erase(point, 1);
        places = digits.size() - point;
    }
    multiply(digits, parts->factor.numerator);
    places += divide(digits, parts->factor.denominator);
    return parsed<double>(sign + digits + "e-" + std::to_string(places));
}

std::string wholeDurationExpected(TimeUnit unit) {
    return "a duration such as " + durationText(std::int64_t{10}, unit) + " (a multiple of " +
           durationText(std::int64_t{1}, unit) + ')';
}

std::string durationExpected(TimeUnit unit) {
    return "a duration such as " + durationText(1.5, unit);
}

} // namespace velmorand::detail
