// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "values/Kinds.h"

/** Values that can be verified: each is computed from a stamp, which can be read back from it and checked. */
namespace threads {

/** The writer of a value, the property, and the number of that writer's writes to it: 24 bits in all. */
struct Stamp {
    static constexpr std::uint32_t properties = 4;
    static constexpr std::uint32_t writers = 4;
    static constexpr std::uint32_t turns = 1U << 20U;

    std::uint32_t property;
    std::uint32_t writer;
    std::uint32_t turn;

    [[nodiscard]] std::uint32_t packed() const { return (turn << 4U) | (writer << 2U) | property; }
    static Stamp unpacked(std::uint32_t bits) {
        return {bits % properties, (bits >> 2U) % writers, (bits >> 4U) % turns};
    }
};

/** A checksum that depends on every bit of a stamp. */
inline std::uint32_t check(std::uint32_t bits) {
    bits = (bits ^ (bits >> 16U)) * 0x7FEB352DU;
    bits = (bits ^ (bits >> 15U)) * 0x846CA68BU;
    return bits ^ (bits >> 16U);
}

/** Computes a value of a kind from a stamp, and the stamp that a value claims. */
template <class Kind>
struct Stamped;

template <>
struct Stamped<kinds::Integer> {
    static int make(Stamp stamp) {
        return static_cast<int>(stamp.packed() | (check(stamp.packed()) & 0xFF000000U));
    }
    static Stamp claimed(int value) { return Stamp::unpacked(static_cast<std::uint32_t>(value) & 0xFFFFFFU); }
};

template <>
struct Stamped<kinds::Number> {
    static double make(Stamp stamp) {
        std::uint64_t const upper = check(stamp.packed()) & 0xFFFFFFFU;
        return static_cast<double>((upper << 24U) | stamp.packed());
    }
    static Stamp claimed(double value) {
        bool const integral = value >= 0 && value < 0x1p52;
        return Stamp::unpacked(
            static_cast<std::uint32_t>(integral ? static_cast<std::uint64_t>(value) & 0xFFFFFFU : 0U));
    }
};

/** A boolean changes with every turn, and has no room for a stamp. */
template <>
struct Stamped<kinds::Boolean> {
    static bool make(Stamp stamp) { return (stamp.property + stamp.turn) % 2 == 0; }
};

template <class Kind>
constexpr bool tellsItsStamp = !std::is_same_v<Kind, kinds::Boolean>;

template <>
struct Stamped<kinds::String> {
    static std::string make(Stamp stamp) {
        std::uint32_t const bits = stamp.packed();
        return std::to_string(bits) + ' ' + std::to_string(check(bits)) +
               std::string(bits % 67, static_cast<char>('a' + check(bits) % 26));
    }
    static Stamp claimed(std::string const& value) {
        return Stamp::unpacked(static_cast<std::uint32_t>(std::strtoul(value.c_str(), nullptr, 10)));
    }
};

/** A list of one to seven equal elements. */
template <class Kind>
struct StampedList {
    using Element = Stamped<typename Kind::Element>;
    static typename Kind::Value make(Stamp stamp) {
        return typename Kind::Value(1 + check(stamp.packed()) % 7, Element::make(stamp));
    }
    static Stamp claimed(typename Kind::Value const& values) {
        return values.empty() ? Stamp{0, 0, 0} : Element::claimed(values.front());
    }
};

template <>
struct Stamped<kinds::Integers> : StampedList<kinds::Integers> {};
template <>
struct Stamped<kinds::Numbers> : StampedList<kinds::Numbers> {};
template <>
struct Stamped<kinds::Strings> : StampedList<kinds::Strings> {};

/** The bits of the stamp, then those of its check, then a varying number of others. */
template <>
struct Stamped<kinds::Booleans> {
    static std::vector<bool> make(Stamp stamp) {
        std::uint32_t const bits = stamp.packed();
        std::vector<bool> values;
        for (std::uint64_t all = (std::uint64_t{check(bits)} << 24U) | bits; values.size() < 40; all >>= 1U)
            values.push_back(all % 2 == 1);
        values.resize(values.size() + check(bits) % 30, true);
        return values;
    }
    static Stamp claimed(std::vector<bool> const& values) {
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 24 && i < values.size(); ++i)
            bits |= std::uint32_t{values[i]} << i;
        return Stamp::unpacked(bits);
    }
};

/** Whether a value was computed for a property, and from which stamp; always true for a boolean. */
template <class Kind>
bool isMade(typename Kind::Value const& value, std::uint32_t property, Stamp& stamp) {
    if constexpr (tellsItsStamp<Kind>) {
        stamp = Stamped<Kind>::claimed(value);
        return stamp.property == property && Stamped<Kind>::make(stamp) == value;
    }
    return true;
}

} // namespace threads
