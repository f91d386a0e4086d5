// SPDX-License-Identifier: Apache-2.0
#include "TreePath.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include <QString>

#include "PathHash.h"
#include "Words.h"
#include "utils/Exception.h"

namespace filesystem {

namespace {

constexpr std::uint64_t everyByte = 0x0101010101010101U;
constexpr std::uint64_t highBits = 0x80 * everyByte;

/** A word with the high bit set in every byte that is a "/", and all other bits clear. */
inline std::uint64_t slashes(std::uint64_t word) {
    std::uint64_t const zeroAtSlash = word ^ ('/' * everyByte);
    return ~(((zeroAtSlash & ~highBits) + ~highBits) | zeroAtSlash | ~highBits);
}

struct Traits {
    bool ascii;
    bool emptyLevels;
};

/** Determines whether a path is ASCII and whether it has empty levels, eight bytes at a time. */
Traits examine(std::string_view path) {
    std::uint64_t all = 0;
    std::uint64_t doubled = 0;
    std::uint64_t before = highBits; // a leading "/" counts as doubled
    auto const take = [&](std::uint64_t word) {
        std::uint64_t const here = slashes(word);
        all |= word;
        doubled |= here & (here << 8 | before >> 56);
        before = here;
    };
    std::size_t const size = path.size();
    std::size_t at = 0;
    for (; at + 8 <= size; at += 8)
        take(loadWord(path.data() + at));
    if (at != size)
        take(loadPartialWord(path.data() + at, size - at));
    return {(all & highBits) == 0, doubled != 0 || (!path.empty() && path.back() == '/')};
}

/** `path` without its empty levels. */
std::string withoutEmptyLevels(std::string_view path) {
    std::string result;
    result.reserve(path.size());
    for (std::size_t begin = 0; begin < path.size();) {
        std::size_t const end = std::min(path.find('/', begin), path.size());
        if (end > begin) {
            if (!result.empty())
                result += '/';
            result.append(path, begin, end - begin);
        }
        begin = end + 1;
    }
    return result;
}

/** Whether a name that is not ASCII is well-formed UTF-8. */
bool isUtf8(std::string_view name) {
    std::string storage;
    return canonicalPath(name, storage) == name;
}

} // namespace

std::string_view canonicalPath(std::string_view path, std::string& storage) {
    Traits const traits = examine(path);
    if (traits.ascii && !traits.emptyLevels)
        return path;
    if (traits.ascii)
        return storage = withoutEmptyLevels(path);
    QByteArray const utf8 = textOfName(path).toUtf8();
    return storage = withoutEmptyLevels({utf8.constData(), static_cast<std::size_t>(utf8.size())});
}

QString textOfName(std::string_view name) {
    auto const text = [](std::string_view utf8) {
        if (utf8.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            throw utils::Exception("path too long");
        return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
    };
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF"; // QtCore drops it only at the start of a text
    if (name.substr(0, byteOrderMark.size()) != byteOrderMark)
        return text(name);
    return text('/' + std::string(name)).mid(1);
}

bool isName(std::string_view name) {
    std::uint64_t all = 0;
    std::uint64_t slash = 0;
    auto const take = [&](std::uint64_t word) {
        all |= word;
        slash |= slashes(word);
    };
    std::size_t const size = name.size();
    // The last word may overlap the one before it.
    for (std::size_t at = 0; at + 8 < size; at += 8)
        take(loadWord(name.data() + at));
    take(size < 8 ? loadPartialWord(name.data(), size) : loadWord(name.data() + size - 8));
    bool const isReserved = size <= 2 && name == std::string_view("..", size);
    return !isReserved && slash == 0 && ((all & highBits) == 0 || isUtf8(name));
}

TreePath TreePath::of(std::string_view canonical) {
    std::size_t const slash = canonical.find('/');
    std::string_view const rest =
        slash == std::string_view::npos ? std::string_view() : canonical.substr(slash + 1);
    return below(canonical.substr(0, slash), rest);
}

TreePath::Parts TreePath::split() const {
    if (rest.empty())
        return {below({}, {}), first};
    auto const* const slash = static_cast<char const*>(::memrchr(rest.data(), '/', rest.size()));
    if (slash == nullptr)
        return {below(first, {}), rest};
    auto const size = static_cast<std::size_t>(slash - rest.data());
    return {below(first, rest.substr(0, size)), rest.substr(size + 1)};
}

// The conversion would turn unpaired surrogates into "?", so they are rejected first.
CanonicalPath::CanonicalPath(QString const& path) : _valid(path.isValidUtf16()), _path{} {
    QByteArray const utf8 = path.toUtf8();
    std::string_view view(utf8.constData(), static_cast<std::size_t>(utf8.size()));
    view.remove_prefix(std::min(view.find_first_not_of('/'), view.size())); // usually the only empty level
    Traits const traits = examine(view);
    _text = traits.emptyLevels ? withoutEmptyLevels(view) : std::string(view);
    _path = TreePath::of(_text);
}

} // namespace filesystem
