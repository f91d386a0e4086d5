// SPDX-License-Identifier: Apache-2.0
#include "utils/Exception.h"

namespace utils {

Exception::Exception() noexcept = default;

Exception::Exception(char const* message)
    : _message(std::make_shared<std::string const>(message == nullptr ? "" : message)) {}

Exception::Exception(std::string const& message) : _message(std::make_shared<std::string const>(message)) {}

Exception::Exception(Exception const& other) noexcept = default;

Exception& Exception::operator=(Exception const& other) noexcept = default;

Exception::~Exception() = default;

char const* Exception::what() const noexcept {
    return _message ? _message->c_str() : "";
}

} // namespace utils
