// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include <utils/properties/Register.h>

namespace crash {

/**
 * The settings that represent a state: every kind of value, each different in consecutive states, and a long string,
 * so that a mixture of two states is recognised. State 0 is an empty user scope. `size` is the approximate size of the
 * register file in bytes.
 */
class Settings {
public:
    Settings(int state, std::size_t size) : _state(state), _size(size) {}

    /** Replaces the content of the user scope. */
    void writeTo(utils::properties::_Register& target) const {
        using utils::properties::SCOPE_USER;
        target.delProperty("", SCOPE_USER);
        if (_state == 0)
            return;
        target._writeInteger(nullptr, "state", _state, SCOPE_USER);
        target._writeInteger(nullptr, "size", static_cast<int>(_size), SCOPE_USER);
        target._writeNumber(nullptr, "values/number", number(), SCOPE_USER);
        target._writeBoolean(nullptr, "values/boolean", boolean(), SCOPE_USER);
        target._writeString(nullptr, "values/long string", text(), SCOPE_USER);
        target._writeStrings(nullptr, "lists/strings", strings(), SCOPE_USER);
        target._writeNumbers(nullptr, "lists/numbers", {number(), -number()}, SCOPE_USER);
        target._writeIntegers(nullptr, "lists/integers", integers(), SCOPE_USER);
        target._writeBooleans(nullptr, "lists/booleans", {boolean(), !boolean()}, SCOPE_USER);
        target._writeInteger(nullptr, "only here/" + std::to_string(_state), 1, SCOPE_USER);
    }

    /** The state of the user scope. Throws if it is not a state, or a mixture. */
    static int stateIn(utils::properties::_Register& source) {
        if (source.propertyList("", utils::properties::SCOPE_USER).empty())
            return 0;
        int state = 0;
        int size = 0;
        source._readInteger("state", state);
        source._readInteger("size", size);
        if (!Settings(state, static_cast<std::size_t>(size)).areIn(source))
            throw std::runtime_error("a mixture of states");
        return state;
    }

private:
    [[nodiscard]] bool areIn(utils::properties::_Register& source) const {
        double aNumber = 0;
        bool aBoolean = false;
        std::string aString;
        std::vector<std::string> someStrings;
        std::vector<double> someNumbers;
        std::vector<int> someIntegers;
        std::vector<bool> someBooleans;
        source._readNumber("values/number", aNumber);
        source._readBoolean("values/boolean", aBoolean);
        source._readString("values/long string", aString);
        source._readStrings("lists/strings", someStrings);
        source._readNumbers("lists/numbers", someNumbers);
        source._readIntegers("lists/integers", someIntegers);
        source._readBooleans("lists/booleans", someBooleans);
        return aNumber == number() && aBoolean == boolean() && aString == text() &&
               someStrings == strings() && someNumbers == std::vector<double>{number(), -number()} &&
               someIntegers == integers() && someBooleans == std::vector<bool>{boolean(), !boolean()} &&
               source.propertyExists("only here/" + std::to_string(_state)) &&
               source.propertyList("only here", utils::properties::SCOPE_USER).size() == 1 &&
               source.propertyList("", utils::properties::SCOPE_USER).size() == 5;
    }

    [[nodiscard]] double number() const { return _state / 3.0; }
    [[nodiscard]] bool boolean() const { return _state % 2 == 0; }
    [[nodiscard]] std::vector<int> integers() const { return {_state, -_state, _state * 7}; }
    [[nodiscard]] std::vector<std::string> strings() const {
        std::vector<std::string> result;
        result.resize(static_cast<std::size_t>(_state % 5), std::to_string(_state));
        return result;
    }

    /** A text that gives the file approximately the wanted size. Its length also depends on the state. */
    [[nodiscard]] std::string text() const {
        std::size_t const others = 240;
        std::size_t const length =
            (_size > others ? _size - others : 0) + static_cast<std::size_t>(_state % 7) * 3;
        std::string result;
        auto random = static_cast<unsigned>(_state) + 1;
        for (std::size_t i = 0; i < length; ++i) {
            random = random * 1'103'515'245U + 12'345U;
            result += static_cast<char>('!' + (random >> 16U) % 90U);
        }
        return result;
    }

    int _state;
    std::size_t _size;
};

} // namespace crash
