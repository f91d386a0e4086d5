// SPDX-License-Identifier: Apache-2.0
#include "Input.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

namespace tool {

std::string titleOf(std::string const& source) {
    return source == "-" ? "standard input" : source;
}

std::string readAll(std::string const& source) {
    auto const failed = [&source] {
        return Failure(Status::misuse, titleOf(source) + ": " + std::generic_category().message(errno));
    };
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const opened(
        source == "-" ? nullptr : std::fopen(source.c_str(), "rbe"), std::fclose);
    std::FILE* const file = source == "-" ? stdin : opened.get();
    if (file == nullptr)
        throw failed();
    std::string text;
    std::array<char, 65'536> part{};
    while (std::size_t const got = std::fread(part.data(), 1, part.size(), file))
        text.append(part.data(), got);
    if (std::ferror(file) != 0)
        throw failed();
    return text;
}

Failure noFile(std::string const& path, Status status) {
    return {status, path + ": " + std::generic_category().message(ENOENT)};
}

} // namespace tool
