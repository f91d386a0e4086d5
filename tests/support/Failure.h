// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <typeinfo>
#include <utility>

#include <utils/Exception.h>
#include <utils/properties/Register.h>

namespace support {

/**
 * Describes the exception that `body` throws: the message of a `utils::Exception`, "PropertyNotFound" or
 * "PropertyBadType", "std: " and the message of any other `std::exception`, or "nothing" if it returns. The handlers
 * of the base classes are inside, so that they see the exception first.
 */
template <class Body>
std::string failure(Body&& body) {
    try {
        try {
            std::forward<Body>(body)();
        } catch (utils::Exception const& thrown) {
            return typeid(thrown) == typeid(utils::Exception) ? thrown.what() : "a derived utils::Exception";
        } catch (std::exception const& thrown) {
            return std::string("std: ") + thrown.what();
        }
    } catch (utils::properties::PropertyNotFound const&) {
        return "PropertyNotFound";
    } catch (utils::properties::PropertyBadType const&) {
        return "PropertyBadType";
    }
    return "nothing";
}

} // namespace support
