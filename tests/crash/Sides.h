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
 * The settings of a state that two programs share. Its tens count what others have changed, in the group "theirs", its
 * ones what this program has, in the group "mine"; 0 stands for no such group. Each change of a side replaces all of
 * its settings, and one name by another, so that no mixture of two states passes for either. `size` is about the size
 * in bytes of the register file.
 */
class Sides {
public:
    explicit Sides(std::size_t size) : _size(size) {}

    /** Makes both sides those of a state. */
    void write(int state) const {
        velmorand::Lock const lock; // all at once, for a thread that saves
        writeSide("mine", state % 10, _size);
        writeSide("theirs", state / 10, 0);
    }

    /** Replaces one side by its next. */
    void change(std::string const& side, int state) const {
        velmorand::Lock const lock;
        writeSide(side, side == "mine" ? state % 10 : state / 10, side == "mine" ? _size : 0);
    }

    /** The state that the settings are in. Throws when they are a mixture. */
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

    /** As long as makes the file about as large as wanted, a little different with each number. */
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
