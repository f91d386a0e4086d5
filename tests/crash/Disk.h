// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Recording.h"
#include "Trial.h"

namespace crash {

/**
 * A disk with the weakest guarantees that a disk may give, and its possible states after a power cut.
 *
 * Until a file is flushed with fsync, each of its 512-byte sectors independently has its old content, its content after
 * any later write, or zeros if it is new; and the file has any size that it has had since the last flush, or ends
 * between two added sectors. Until a directory is flushed, each of its names independently refers to any file to which
 * it has referred since the last flush, or to none if it has been missing: creations, renames and removals may happen
 * or not, in any order, and a name may become durable before the content of its file. Flushing a file does not make
 * its name durable.
 */
class Disk {
public:
    /** The durable state before a recording; files are identified by their inodes in the recording. */
    struct Beginning {
        explicit Beginning(std::filesystem::path const& directory);
        std::map<std::string, std::string> inodes; // by name
        Files files;
    };

    explicit Disk(Beginning const& beginning);
    Disk(Disk const&) = delete;
    Disk& operator=(Disk const&) = delete;
    ~Disk() = default;

    void apply(Event const& event);

    /** The files as processes see them before a power cut. */
    [[nodiscard]] Files present() const;

    /** A state of the disk after a power cut: each name and its content. */
    using State = std::map<std::string, std::string const*>;

    struct Shown {
        long states;
        bool isAll; // whether these are all states
    };

    /**
     * Shows every possible state of the disk, or `limit` of them if there are more: the states in which everything, or
     * everything except a single sector, is as old or as new as possible, and random others.
     */
    Shown forEachState(long limit, std::mt19937& chance, std::function<void(State const&)> const& show);

private:
    struct File {
        std::string durable;
        std::vector<std::string> since; // the content after each change that is not durable
        [[nodiscard]] std::string const& present() const { return since.empty() ? durable : since.back(); }
        std::vector<std::string> contents; // the possible contents, computed on demand
        bool isAll = false;                // whether these are all
    };
    using Name =
        std::vector<std::shared_ptr<File>>; // the possible files, the present one last; null: missing

    static void findContents(File& file, long limit, std::mt19937& chance);

    static void makeDurable(File& file);
    void change(std::string const& inode, std::function<void(std::string&)> const& edit);
    void lead(std::string const& name, std::shared_ptr<File> const& file);
    [[nodiscard]] std::shared_ptr<File> at(std::string const& name) const;
    [[nodiscard]] bool leadsTo(std::string const& name, std::shared_ptr<File> const& file) const;

    std::map<std::string, std::shared_ptr<File>> _inodes;
    std::map<std::string, Name> _names;
};

/** The results of replaying a recording. */
struct Findings {
    long crashPoints = 0;
    long states = 0;
    long sampled = 0;   // crash points for which only some states were checked
    long forbidden = 0; // number of states that are not allowed
    std::string first;  // the first of them
};

/**
 * Cuts the power after each event of a recording, and checks every possible state: the register file must be one of the
 * two allowed files, byte for byte, and the previous file that live settings keep must be an allowed one. `initial` is
 * the state before the recording. `skipped` is the number of a call that the replay leaves out. `distinct` is called
 * once for each allowed combination of a register file, a previous file and the names of other files.
 */
Findings replay(Recording const& recording, Disk::Beginning const& beginning, Trial& trial,
                std::optional<int> initial, long limit, long skipped = 0,
                std::function<void(Disk::State const&, Allowed const&)> const& distinct = {});

} // namespace crash
