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

/** What reading a register file has found. */
struct Reading {
    enum class Found {
        missing,
        sound,
        damaged,    ///< its content is refused
        unreadable, ///< it cannot be read, or not by this version: nothing is known of its content
    };

    Found found;
    Image image;        ///< of a sound file
    std::string reason; ///< why it is not sound
};

/** A register file that other processes replace as well. One thread at a time uses an object. */
class DiskFile {
public:
    DiskFile(std::string const& directory, std::string const& name);

    [[nodiscard]] std::string const& path() const noexcept { return _path; }

    [[nodiscard]] Reading read();

    /** Whether the file is the one, with the content, that was last read or written. */
    [[nodiscard]] bool isKnown();

    /**
     * Reads the file unless it is the one, with the content, that was last read or written. The more it has in common
     * with `similar`, which may be null, the less time it takes.
     */
    [[nodiscard]] std::optional<Reading> readIfChanged(Image const& similar);

    struct Replaced {
        bool
            isInPlace; ///< the file holds the new content; if there is a failure, perhaps only as long as there is power
        std::string failure; ///< why it failed; empty if it did not
    };

    /** Replaces the file in one step and makes that durable; what it held is kept as `keptAs` unless that is empty. */
    [[nodiscard]] Replaced replace(filesystem::TreeImage const& image, std::string const& keptAs);

    /**
     * A name for the file in case it is damaged, with the time in UTC, that nothing in its directory has yet. If none
     * can be found it is one that cannot be given to a file.
     */
    [[nodiscard]] std::string nameForDamaged();

    /**
     * Gives the file such a name, and makes that durable.
     * Result: the name; empty if it could not be moved.
     */
    [[nodiscard]] std::string moveAsideAsDamaged();

    /** Removes the oldest files with such names, but for a handful. */
    void removeOldestDamaged();

private:
    /** The first bytes of a register file, which its length and checksum are among, and whose they are. */
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
    std::optional<Identity> _known; ///< nothing until the first reading; without a stamp for a missing file
};

} // namespace velmorand::live
