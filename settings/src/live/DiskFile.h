// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <QString>

#include <filesystem/RealFileSystem.h>
#include <filesystem/TreeImage.h>

namespace velmorand::live {

using Image = std::shared_ptr<filesystem::TreeImage const>;

/** The result of reading a register file. */
struct Reading {
    enum class Found {
        missing,
        sound,
        damaged,    ///< its content is invalid
        unreadable, ///< it cannot be read, or has a newer format; its content is unknown
    };

    Found found;
    Image image;        ///< the content of a sound file
    std::string reason; ///< why it is damaged or unreadable
};

/** A register file that other processes may replace. One thread at a time may use an object. */
class DiskFile {
public:
    DiskFile(std::string const& directory, std::string const& name);

    [[nodiscard]] std::string const& path() const noexcept { return _path; }

    [[nodiscard]] Reading read();

    /** Whether the file is unchanged since it was last read or written. */
    [[nodiscard]] bool isKnown();

    /**
     * Reads the file unless it is unchanged since it was last read or written. The more it has in common with
     * `similar`, which may be null, the faster this is.
     */
    [[nodiscard]] std::optional<Reading> readIfChanged(Image const& similar);

    struct Replaced {
        bool isInPlace; ///< the file has the new content; if `failure` is set, a power loss may undo that
        std::string failure; ///< empty on success
    };

    /** Replaces the file atomically and durably; the old file is kept as `keptAs` unless that is empty. */
    [[nodiscard]] Replaced replace(filesystem::TreeImage const& image, std::string const& keptAs);

    /** An unused name under which to keep the damaged file, as `filesystem::nameForDamaged` gives it. */
    [[nodiscard]] std::string nameForDamaged();

    /**
     * Renames the damaged file to the result of `nameForDamaged`, and flushes the directory if possible.
     * Result: the name; empty if it could not be renamed.
     */
    [[nodiscard]] std::string moveAsideAsDamaged();

    /** Removes all files with such names except the newest five. */
    void removeOldestDamaged();

private:
    /** Identifies a version of the file: its stamp, and its first bytes, which include length and checksum. */
    struct Identity {
        filesystem::RealFileSystem::Stamp stamp;
        std::string head;
    };

    [[nodiscard]] Identity identify(filesystem::FileHandle* handle);
    void know(Identity identity);
    void knowIfItHolds(filesystem::TreeImage const& image);
    [[nodiscard]] Reading readFrom(filesystem::FileHandle* handle, Image const& similar);

    QString _directory;
    std::string _name;
    std::string _path;
    filesystem::RealFileSystem _disk;
    /** The version last read or written, empty if it is unknown. If the file was missing, its stamp has no number. */
    std::optional<Identity> _known;
};

} // namespace velmorand::live
