// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fuzz {

/** Reads decisions from the front of an input. After the end, it returns zeros. */
class ByteSource {
public:
    explicit ByteSource(std::string_view input) : _left(input) {}

    [[nodiscard]] bool isEmpty() const { return _left.empty(); }

    unsigned byte() {
        if (_left.empty())
            return 0;
        auto const value = static_cast<unsigned char>(_left.front());
        _left.remove_prefix(1);
        return value;
    }

    /** Up to 255 bytes, preceded by their number. */
    std::string string() {
        std::size_t const size = std::min(std::size_t{byte()}, _left.size());
        std::string const taken(_left.substr(0, size));
        _left.remove_prefix(size);
        return taken;
    }

private:
    std::string_view _left;
};

} // namespace fuzz
