// SPDX-License-Identifier: Apache-2.0
#include "Terminal.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <utility>

#include <unistd.h>

namespace tool {

namespace {

bool hasColours() {
    auto const variable = [](char const* name) {
        char const* const value = std::getenv(name);
        return std::string_view(value == nullptr ? "" : value);
    };
    static bool const are = isTerminal() && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
    return are;
}

} // namespace

bool isTerminal() {
    static bool const is = ::isatty(STDOUT_FILENO) == 1;
    return is;
}

char const* beginOf(Colour colour) {
    return !hasColours() ? "" : colour == Colour::green ? "\033[32m" : "\033[31m";
}

char const* endOf(Colour /*colour*/) {
    return hasColours() ? "\033[0m" : "";
}

Progress::Progress(std::string label, std::size_t total)
    : _label(std::move(label)), _total(total), _isSeen(::isatty(STDERR_FILENO) == 1),
      _next(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
    if (_isDrawn)
        std::cerr << "\r\033[K" << std::flush;
}

void Progress::at(std::size_t done) {
    if (!_isSeen || Clock::now() < _next)
        return;
    _next = Clock::now() + std::chrono::milliseconds(100);
    _isDrawn = true;
    std::cerr << '\r' << _label << ' ';
    if (_total == 0) {
        std::cerr << done << std::flush;
        return;
    }
    constexpr std::size_t width = 40;
    std::size_t const part = std::min(done, _total);
    std::size_t const filled = part * width / _total;
    std::cerr << '[' << std::string(filled, '#') << std::string(width - filled, ' ') << "] "
              << part * 100 / _total << " %" << std::flush;
}

} // namespace tool
