// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>

#include <utils/properties/Register.h>

#include "Value.h"

namespace desktop {

/** Writes a value of any kind. */
void write(void* sender, std::string const& name, Value const& value, utils::properties::RegisterScope scope);

/** Reads a value of any kind. Errors: those of the register's readers. */
Value read(std::string const& name);

/** The group that contains most of the settings. */
inline constexpr char const* desktopGroup = "org/gnome/desktop";

/** A property that exists only while the application runs. */
inline constexpr char const* sessionProperty = "session/presentation-mode";

/** A setting's name for display, without `desktopGroup`. */
std::string shortName(std::string const& name);

/** The name of the scope from which readers take a property; "nowhere" if no scope has it. */
std::string scopeOf(std::string const& name);

/** The number of properties in a group and its subgroups; an empty name denotes the whole scope. */
int countProperties(std::string const& group, utils::properties::RegisterScope scope);

/** Throws `std::runtime_error` with `message` unless `holds`. */
inline void require(bool holds, std::string const& message) {
    if (!holds)
        throw std::runtime_error(message);
}

/**
 * Runs a program's body. Result: the exit status; if the body throws, 1, with a message on standard error.
 */
template <class Body>
int runProgram(char const* name, Body&& body) {
    try {
        std::forward<Body>(body)();
        return 0;
    } catch (utils::properties::PropertyNotFound const&) {
        std::cerr << name << ": a property is missing\n";
    } catch (utils::properties::PropertyBadType const&) {
        std::cerr << name << ": a property is of another kind\n";
    } catch (std::exception const& failure) {
        std::cerr << name << ": " << failure.what() << '\n';
    }
    return 1;
}

} // namespace desktop
