// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

/** A decimal number of any length; arithmetic is exact. */
class Quantity {
public:
    /** A whole number that fits in 64 bits, signed or unsigned. Result: none for any other text. */
    static std::optional<Quantity> ofWhole(std::string_view text);

    /**
     * A duration such as "30s" or "-1.5h", in nanoseconds: an optional "-", digits, an optional fraction, and one of
     * the units ns, us, ms, s, min, h, d. Result: none for any other text.
     */
    static std::optional<Quantity> ofDuration(std::string_view text);

    /** Whether a duration can be a resolution: whole nanoseconds, at least 1 ns and at most 10,000 days. */
    [[nodiscard]] bool isResolution() const;

    /** Whether a duration is a multiple of a resolution. */
    [[nodiscard]] bool isMultipleOf(Quantity const& resolution) const;

    friend bool operator<(Quantity const& left, Quantity const& right);

private:
    static std::optional<Quantity> ofNumber(std::string_view text);
    static bool isSmaller(Quantity const& left, Quantity const& right);
    void multiply(std::uint64_t factor);
    void normalise();

    bool _isNegative = false; // false for zero
    std::string _whole;       // digits, without leading zeros
    std::string _fraction;    // digits, without trailing zeros
};

} // namespace tool
