// SPDX-License-Identifier: Apache-2.0
#include "TemporaryNames.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <utility>

#include <sys/random.h>
#include <zlib.h>

#include "Descriptor.h"

namespace filesystem {

namespace {

constexpr std::string_view mark = ".velmorand-";
constexpr std::size_t digits = 8; // hexadecimal digits of a 32-bit number

std::string hexadecimal(std::uint32_t number) {
    std::string text(digits, '0');
    for (auto digit = text.rbegin(); number != 0; ++digit, number >>= 4)
        *digit = "0123456789abcdef"[number & 0xFU];
    return text;
}

std::string stemOf(std::string const& fileName) {
    constexpr std::size_t others = 1 + mark.size() + digits + 1 + digits;
    std::size_t length = std::min(fileName.size(), std::size_t{NAME_MAX} - others);
    while (length < fileName.size() && (static_cast<unsigned char>(fileName[length]) & 0xC0U) == 0x80U)
        --length;
    return ('.' + fileName.substr(0, length)).append(mark);
}

} // namespace

TemporaryNames::TemporaryNames(std::string fileName)
    : _fileName(std::move(fileName)), _stem(stemOf(_fileName)) {}

std::string TemporaryNames::make() const {
    std::uint32_t random = 0;
    auto const got = retried([&] { return ::getrandom(&random, sizeof random, 0); });
    return got == static_cast<::ssize_t>(sizeof random) ? with(hexadecimal(random)) : std::string();
}

bool TemporaryNames::include(std::string const& name) const {
    return name.size() == _stem.size() + digits + 1 + digits &&
           name == with(std::string_view(name).substr(_stem.size(), digits));
}

std::string TemporaryNames::with(std::string_view random) const {
    std::string const checked = (_fileName + '/').append(random);
    auto const check = ::crc32_z(0, reinterpret_cast<Bytef const*>(checked.data()), checked.size());
    return (_stem + std::string(random) + '-').append(hexadecimal(static_cast<std::uint32_t>(check)));
}

} // namespace filesystem
