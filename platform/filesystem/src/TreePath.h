// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "PathHash.h"

class QString;

namespace filesystem {

/**
 * `path` without empty levels: no leading, trailing or doubled "/". What is not UTF-8 in it is replaced as
 * `QString::fromUtf8` replaces it, so that both ways to a file agree. The result is `path` itself or in
 * `storage`.
 */
[[nodiscard]] std::string_view canonicalPath(std::string_view path, std::string& storage);

/** The text of a name, with everything that is in it. */
[[nodiscard]] QString textOfName(std::string_view name);

/** Whether a file or directory may have this name: not empty, ".", "..", no "/", and well-formed UTF-8. */
[[nodiscard]] bool isName(std::string_view name);

/**
 * A canonical path, ready for look-ups: its first level, all that follows, and the hash of the latter. Views
 * of text that the caller keeps. The root has neither part.
 */
struct TreePath {
    std::string_view first;
    std::string_view rest;
    std::uint64_t restHash;

    [[nodiscard]] static TreePath of(std::string_view canonical);

    /** A path below a first level. */
    [[nodiscard]] static TreePath below(std::string_view first, std::string_view rest) {
        return {first, rest, PathHash::of(rest)};
    }

    [[nodiscard]] bool isRoot() const { return first.empty(); }
    [[nodiscard]] std::uint32_t hash() const;
    [[nodiscard]] std::string_view name() const;
    [[nodiscard]] TreePath parent() const;
};

/** A path of the public interface, made canonical once. */
class CanonicalPath {
public:
    explicit CanonicalPath(QString const& path);
    CanonicalPath(CanonicalPath const&) = delete;
    CanonicalPath& operator=(CanonicalPath const&) = delete;

    /** Whether it can name anything: text with unpaired surrogates cannot. */
    [[nodiscard]] bool isValid() const { return _valid; }
    [[nodiscard]] TreePath const& path() const { return _path; }

private:
    std::string _text;
    bool _valid;
    TreePath _path;
};

} // namespace filesystem
