// SPDX-License-Identifier: Apache-2.0
#include "filesystem/DamagedFiles.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <tuple>
#include <vector>

#include <QString>

#include "filesystem/RealFileSystem.h"

namespace filesystem {

namespace {

constexpr std::string_view ending = ".damaged-";
constexpr std::size_t timeSize = 16; // size of the result of `timeInUtc`
constexpr std::size_t mostKept = 5;

/** The current time in UTC, such as 20261121T093000Z. */
std::string timeInUtc() {
    std::time_t const now = std::time(nullptr);
    std::tm parts = {};
    ::gmtime_r(&now, &parts);
    std::array<char, 32> digits{};
    return {digits.data(), std::strftime(digits.data(), digits.size(), "%Y%m%dT%H%M%SZ", &parts)};
}

/** The names of the files that are kept for `name`, the oldest first. */
std::vector<std::string> namesKept(RealFileSystem const& disk, std::string_view name) {
    std::vector<std::string> names;
    for (DirEntry const& entry : disk.getFileList(QString()))
        if (std::string const candidate = entry.name.toStdString(); isNameForDamaged(candidate, name))
            names.push_back(candidate);
    std::size_t const stemSize = name.size() + ending.size() + timeSize;
    std::sort(names.begin(), names.end(), [stemSize](std::string const& left, std::string const& right) {
        // In the same second, a longer name has a higher number.
        auto const age = [stemSize](std::string_view kept) {
            return std::tuple(kept.substr(0, stemSize), kept.size(), kept);
        };
        return age(left) < age(right);
    });
    return names;
}

/** The number for the next file: one more than the newest file's, or 1 if no file has the time of `stem`. */
unsigned nextNumber(std::vector<std::string> const& kept, std::string const& stem) {
    if (kept.empty() || kept.back().compare(0, stem.size(), stem) != 0)
        return 1;
    std::string_view const digits = std::string_view(kept.back()).substr(stem.size());
    unsigned number = 1; // a name without a number counts as number 1
    if (!digits.empty())
        std::from_chars(digits.data() + 1, digits.data() + digits.size(), number);
    return number + 1;
}

} // namespace

std::string nameForDamaged(RealFileSystem const& disk, std::string const& name) {
    constexpr int mostTried = 1000; // bounded, because a name that cannot be examined counts as taken
    std::string stem = name + std::string(ending) + timeInUtc();
    // The new file must be the newest by its name, or it would be removed before older ones: after a clock has been set
    // back, it has the time of the newest file, and lower numbers are not used again.
    std::vector<std::string> const kept = namesKept(disk, name);
    if (!kept.empty())
        stem = std::max(stem, kept.back().substr(0, stem.size()));
    unsigned number = nextNumber(kept, stem);
    for (int tried = 0; tried < mostTried; ++tried, ++number) {
        std::string unused = number == 1 ? stem : stem + '-' + std::to_string(number);
        if (!disk.exists(QString::fromStdString(unused)))
            return unused;
    }
    return ".";
}

bool isNameForDamaged(std::string_view candidate, std::string_view name) {
    std::string_view constexpr pattern = "00000000T000000Z"; // 0 is any digit
    static_assert(pattern.size() == timeSize);
    auto const isDigit = [](char byte) { return '0' <= byte && byte <= '9'; };
    if (candidate.substr(0, name.size()) != name)
        return false;
    std::string_view rest = candidate.substr(name.size());
    if (rest.size() < ending.size() + timeSize || rest.substr(0, ending.size()) != ending)
        return false;
    rest.remove_prefix(ending.size());
    bool const hasTime =
        std::equal(pattern.begin(), pattern.end(), rest.begin(), [&](char expected, char byte) {
            return expected == '0' ? isDigit(byte) : byte == expected;
        });
    rest.remove_prefix(timeSize);
    return hasTime && (rest.empty() || (rest.size() > 1 && rest.size() < 8 && rest.front() == '-' &&
                                        std::all_of(rest.begin() + 1, rest.end(), isDigit)));
}

void removeOldestDamaged(RealFileSystem& disk, std::string_view name) {
    std::vector<std::string> const kept = namesKept(disk, name);
    for (std::size_t i = 0; i + mostKept < kept.size(); ++i)
        disk.remove(QString::fromStdString(kept[i]));
}

} // namespace filesystem
