// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "PathHash.h"

class QString;

namespace filesystem {

/**
 * `path` without empty levels: without leading, trailing and doubled "/". Invalid UTF-8 is replaced as by
 * `QString::fromUtf8`, so that paths as `QString` and as bytes lead to the same file. The result refers to `path` or to
 * `storage`.
 */
[[nodiscard]] std::string_view canonicalPath(std::string_view path, std::string& storage);

/** The text of a name, including a leading byte order mark. */
[[nodiscard]] QString textOfName(std::string_view name);

/** Whether a file or directory may have this name: not empty, not "." or "..", without "/", and well-formed UTF-8. */
[[nodiscard]] bool isName(std::string_view name);

/**
 * A canonical path, ready for look-ups: its first level, the rest, and its hash. Refers to text that the caller owns.
 * Both parts of the root are empty.
 */
struct TreePath {
    std::string_view first;
    std::string_view rest;
    std::uint32_t hash;

    [[nodiscard]] static TreePath of(std::string_view canonical);

    /** The path `rest` below the first level `first`. */
    [[nodiscard]] static TreePath below(std::string_view first, std::string_view rest) {
        return below(first, rest, PathHash::of(rest));
    }

    /** Likewise, if the hash of the rest is known. */
    [[nodiscard]] static TreePath below(std::string_view first, std::string_view rest,
                                        std::uint64_t restHash) {
        return {first, rest,
                rest.empty() ? PathHash::join(PathHash::root, PathHash::of(first))
                             : PathHash::join(PathHash::ofFirst(first), restHash)};
    }

    [[nodiscard]] bool isRoot() const { return first.empty(); }

    struct Parts;

    /** The parent and the last level. Must not be called for the root. */
    [[nodiscard]] Parts split() const;
};

struct TreePath::Parts {
    TreePath parent;
    std::string_view name;
};

/** The canonical form of a path from the public interface. */
class CanonicalPath {
public:
    explicit CanonicalPath(QString const& path);
    CanonicalPath(CanonicalPath const&) = delete;
    CanonicalPath& operator=(CanonicalPath const&) = delete;

    /** False for text with unpaired surrogates, which cannot name anything. */
    [[nodiscard]] bool isValid() const { return _valid; }
    [[nodiscard]] TreePath const& path() const { return _path; }

private:
    std::string _text;
    bool _valid;
    TreePath _path;
};

} // namespace filesystem
