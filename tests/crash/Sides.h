// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include <utils/properties/Register.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>
#include <velmorand/Scope.h>

namespace crash {

/**
 * The settings of a state that two programs share. The tens of the state count the changes by others, in the group
 * "theirs"; the ones count the changes by this program, in the group "mine"; 0 means that the group does not exist.
 * Each change of a side replaces all its values and renames a setting, so that a mixture of two states is recognised.
 * `size` is the approximate size of the register file in bytes.
 */
class Sides {
public:
    explicit Sides(std::size_t size) : _size(size) {}

    /** Writes both sides of a state. */
    void write(int state) const {
        velmorand::Lock const lock; // so that a thread that saves sees both or none
        writeSide("mine", state % 10, _size);
        writeSide("theirs", state / 10, 0);
    }

    /** Replaces one side with that side of a state. */
    void change(std::string const& side, int state) const {
        velmorand::Lock const lock;
        writeSide(side, side == "mine" ? state % 10 : state / 10, side == "mine" ? _size : 0);
    }

    /** The state of the settings. Throws if they are a mixture. */
    static int state() { return 10 * stateOf("theirs") + stateOf("mine"); }

private:
    static utils::properties::_Register& settings() { return *utils::properties::_Register::getInstance(); }

    static void writeSide(std::string const& side, int number, std::size_t size) {
        settings().delProperty(side, velmorand::SCOPE_USER);
        if (number == 0)
            return;
        velmorand::write(side + "/number", number);
        velmorand::write(side + "/size", static_cast<int>(size));
        velmorand::write(side + "/text", text(number, size));
        velmorand::write(side + "/list", std::vector<int>{number, -number});
        velmorand::write(onlyHere(side, number), true);
    }

    static int stateOf(std::string const& side) {
        if (!settings().groupExists(side, velmorand::SCOPE_USER))
            return 0;
        auto const number = velmorand::read<int>(side + "/number");
        auto const size = static_cast<std::size_t>(velmorand::read<int>(side + "/size"));
        bool const isWhole =
            velmorand::read<std::string>(side + "/text") == text(number, size) &&
            velmorand::read<std::vector<int>>(side + "/list") == std::vector<int>{number, -number} &&
            velmorand::read<bool>(onlyHere(side, number)) &&
            settings().propertyList(side + "/only here", velmorand::SCOPE_USER).size() == 1 &&
            settings().propertyList(side, velmorand::SCOPE_USER).size() == 5;
        if (!isWhole)
            throw std::runtime_error("a mixture of states");
        return number;
    }

    static std::string onlyHere(std::string const& side, int number) {
        return side + "/only here/" + std::to_string(number);
    }

    /** A text that gives the file approximately the wanted size. Its length also depends on the number. */
    static std::string text(int number, std::size_t size) {
        std::size_t const others = 320;
        std::string result;
        auto random = static_cast<unsigned>(number) + 1;
        for (std::size_t i = static_cast<std::size_t>(number) * 3 + (size > others ? size - others : 0);
             i > 0; --i) {
            random = random * 1'103'515'245U + 12'345U;
            result += static_cast<char>('!' + (random >> 16U) % 90U);
        }
        return result;
    }

    std::size_t _size;
};

} // namespace crash
