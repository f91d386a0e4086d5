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
 * A disk that promises as little as a disk may, and all that it may hold after a power cut.
 *
 * Until a file is synchronised, each of its 512-byte sectors is, independent of the others, as it was or as
 * one of the writes since made it, or zeros where there was none; and it is as long as it has been at some
 * moment since, or ends between two sectors of what was added. Until a directory is synchronised, each of its
 * names, independent of the others, leads to any of the files it has led to since, or to none if it was ever
 * without one: creating, renaming and removing happened or not, in any order, and a name may have come before
 * the file's content. To synchronise a file does not make its name durable.
 */
class Disk {
public:
    /** What is there before a recording, and durable; files go by the inode that it names them by. */
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

    /** The files as every process sees them while there is power. */
    [[nodiscard]] Files present() const;

    /** A state of the disk after a power cut: each name and its content. */
    using State = std::map<std::string, std::string const*>;

    struct Shown {
        long states;
        bool isAll; // there are no others
    };

    /**
     * Shows every state that the disk may be in, or, where they are more than `limit`, `limit` of them: those
     * in which all is as old or as new as can be or a single sector is not, and others by chance.
     */
    Shown forEachState(long limit, std::mt19937& chance, std::function<void(State const&)> const& show);

private:
    struct File {
        std::string durable;
        std::vector<std::string> since; // the content after each change that is not durable
        [[nodiscard]] std::string const& present() const { return since.empty() ? durable : since.back(); }
        std::vector<std::string> contents; // what it may hold; worked out when asked for
        bool isAll = false;                // that it may hold
    };
    using Name = std::vector<std::shared_ptr<File>>; // what it may lead to, the present last; null is nothing

    static void findContents(File& file, long limit, std::mt19937& chance);

    static void makeDurable(File& file);
    void change(std::string const& inode, std::function<void(std::string&)> const& edit);
    void lead(std::string const& name, std::shared_ptr<File> const& file);
    [[nodiscard]] std::shared_ptr<File> at(std::string const& name) const;
    [[nodiscard]] bool leadsTo(std::string const& name, std::shared_ptr<File> const& file) const;

    std::map<std::string, std::shared_ptr<File>> _inodes;
    std::map<std::string, Name> _names;
};

/** What the replay of a recording has found. */
struct Findings {
    long crashPoints = 0;
    long states = 0;
    long sampled = 0;   // crash points of which some states only were looked at
    long forbidden = 0; // states that are not allowed
    std::string first;  // the first of them
};

/**
 * Cuts the power after each event of a recording, and looks at every state that may be left: the file must be
 * one of the two that are allowed, byte for byte, and so must the previous file that live settings keep; `initial`
 * is the state before. `skipped` is the number of a
 * call that is taken for not made. `distinct` is shown each allowed combination of a register file, a
 * previous one and the names beside them once.
 */
Findings replay(Recording const& recording, Disk::Beginning const& beginning, Trial& trial,
                std::optional<int> initial, long limit, long skipped = 0,
                std::function<void(Disk::State const&, Allowed const&)> const& distinct = {});

} // namespace crash
