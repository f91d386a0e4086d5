// SPDX-License-Identifier: Apache-2.0
#include "Disk.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>

#include <sys/stat.h>

namespace crash {

namespace {

constexpr std::size_t sectorBytes = 512;

std::string sector(std::string const& content, std::size_t number) {
    std::string bytes =
        number * sectorBytes < content.size() ? content.substr(number * sectorBytes, sectorBytes) : "";
    bytes.resize(sectorBytes);
    return bytes;
}

std::string fromHexadecimal(std::string const& text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return bytes;
}

/** The possible contents of a file, counted without building them. */
class Possibilities {
public:
    Possibilities(std::string const& durable, std::vector<std::string> const& since) {
        std::set<std::size_t> sizes = {durable.size()};
        std::size_t shortest = durable.size();
        std::size_t longest = durable.size();
        for (std::string const& version : since) {
            sizes.insert(version.size());
            shortest = std::min(shortest, version.size());
            longest = std::max(longest, version.size());
        }
        for (std::size_t size = (shortest / sectorBytes + 1) * sectorBytes; size < longest;
             size += sectorBytes)
            sizes.insert(size);
        _sizes.assign(sizes.begin(), sizes.end());
        for (std::size_t number = 0; number * sectorBytes < longest; ++number) {
            std::vector<std::string> choices = {sector(durable, number)};
            for (std::string const& version : since) {
                std::string const bytes = sector(version, number);
                if (std::find(choices.begin(), choices.end(), bytes) == choices.end())
                    choices.push_back(bytes);
            }
            _choices.push_back(std::move(choices));
        }
    }

    /** The number of possible contents; `limit` + 1 if there are more than `limit`. */
    [[nodiscard]] long count(long limit) const {
        long count = 0;
        for (std::size_t const size : _sizes) {
            long some = 1;
            for (std::size_t number = 0; number * sectorBytes < size && some <= limit; ++number)
                some *= static_cast<long>(_choices[number].size());
            if ((count += some) > limit)
                return limit + 1;
        }
        return count;
    }

    [[nodiscard]] std::vector<std::string> all() const {
        std::vector<std::string> result;
        for (std::size_t const size : _sizes) {
            std::vector<std::size_t> picks(sectorsOf(size));
            do
                result.push_back(content(size, picks));
            while (next(picks));
        }
        return result;
    }

    /** For each size, all sectors old or all new; for the largest, also all except one; then random contents. */
    [[nodiscard]] std::vector<std::string> some(long limit, std::mt19937& chance) const {
        std::vector<std::string> result;
        std::size_t const longest = _sizes.back();
        result.push_back(content(longest, newest(longest)));
        for (std::size_t const size : _sizes)
            for (bool const isNew : {false, true})
                result.push_back(content(size, isNew ? newest(size) : oldest(size)));
        for (std::size_t number = 0; number < sectorsOf(longest); ++number)
            for (bool const isNew : {false, true}) {
                auto picks = isNew ? newest(longest) : oldest(longest);
                picks[number] = isNew ? 0 : _choices[number].size() - 1;
                result.push_back(content(longest, picks));
            }
        while (static_cast<long>(result.size()) < limit) {
            std::size_t const size = _sizes[chance() % _sizes.size()];
            auto picks = oldest(size);
            for (std::size_t number = 0; number < picks.size(); ++number)
                picks[number] = chance() % _choices[number].size();
            result.push_back(content(size, picks));
        }
        return result;
    }

private:
    static std::size_t sectorsOf(std::size_t size) { return (size + sectorBytes - 1) / sectorBytes; }

    [[nodiscard]] static std::vector<std::size_t> oldest(std::size_t size) {
        return std::vector<std::size_t>(sectorsOf(size));
    }

    [[nodiscard]] std::vector<std::size_t> newest(std::size_t size) const {
        auto picks = oldest(size);
        for (std::size_t number = 0; number < picks.size(); ++number)
            picks[number] = _choices[number].size() - 1;
        return picks;
    }

    bool next(std::vector<std::size_t>& picks) const {
        for (std::size_t number = 0; number < picks.size(); ++number) {
            if (++picks[number] < _choices[number].size())
                return true;
            picks[number] = 0;
        }
        return false;
    }

    [[nodiscard]] std::string content(std::size_t size, std::vector<std::size_t> const& picks) const {
        std::string result;
        for (std::size_t number = 0; number < picks.size(); ++number)
            result += _choices[number][picks[number]];
        result.resize(size);
        return result;
    }

    std::vector<std::size_t> _sizes;
    std::vector<std::vector<std::string>> _choices; // by sector, the oldest first
};

} // namespace

Disk::Beginning::Beginning(std::filesystem::path const& directory) {
    for (auto const& entry : std::filesystem::directory_iterator(directory)) {
        struct stat status = {};
        if (::stat(entry.path().c_str(), &status) != 0)
            throw std::runtime_error("cannot examine " + entry.path().string());
        std::string const name = entry.path().filename().string();
        inodes[name] = std::to_string(status.st_ino);
        files[name] = contentOf(entry.path()).value();
    }
}

Disk::Disk(Beginning const& beginning) {
    for (auto const& [name, bytes] : beginning.files) {
        auto const file = std::make_shared<File>();
        file->durable = bytes;
        _inodes[beginning.inodes.at(name)] = file;
        _names[name] = {file};
    }
}

void Disk::apply(Event const& event) {
    auto const& words = event.effect;
    if (event.is("create")) {
        // The inode number of a removed file may be reused.
        lead(words.at(1), _inodes[words.at(2)] = std::make_shared<File>());
    } else if (event.is("write")) {
        change(words.at(1), [&](std::string& content) {
            std::string const bytes = words.size() > 3 ? fromHexadecimal(words[3]) : "";
            std::size_t const position = std::stoul(words.at(2));
            content.resize(std::max(content.size(), position + bytes.size()));
            content.replace(position, bytes.size(), bytes);
        });
    } else if (event.is("truncate")) {
        change(words.at(1), [&](std::string& content) { content.resize(std::stoul(words.at(2))); });
    } else if (event.is("sync")) {
        makeDurable(*_inodes.at(words.at(1)));
    } else if (event.is("syncdir") || event.is("syncfs")) {
        for (auto& [name, files] : _names)
            files = {files.back()};
        if (event.is("syncfs"))
            for (auto& [inode, file] : _inodes)
                makeDurable(*file);
    } else if (event.is("rename") || event.is("link")) {
        auto const file = at(words.at(1));
        // rename() does nothing if both names refer to the same file.
        if (leadsTo(words.at(2), file))
            return;
        lead(words.at(2), file);
        if (event.is("rename"))
            lead(words.at(1), nullptr);
    } else if (event.is("unlink")) {
        lead(words.at(1), nullptr);
    } else if (!event.effect.empty() && !event.is("failed")) {
        throw std::logic_error("the replay does not support " + event.effect[0]);
    }
}

void Disk::makeDurable(File& file) {
    file.durable = file.present();
    file.since.clear();
    file.contents.clear();
}

void Disk::change(std::string const& inode, std::function<void(std::string&)> const& edit) {
    File& file = *_inodes.at(inode);
    std::string content = file.present();
    edit(content);
    file.since.push_back(std::move(content));
    file.contents.clear();
}

void Disk::lead(std::string const& name, std::shared_ptr<File> const& file) {
    if (name.find('/') != std::string::npos)
        throw std::logic_error("the replay supports only one directory: " + name);
    Name& files = _names.emplace(name, Name{nullptr}).first->second;
    files.erase(std::remove(files.begin(), files.end(), file), files.end());
    files.push_back(file);
}

std::shared_ptr<Disk::File> Disk::at(std::string const& name) const {
    auto const found = _names.find(name);
    if (found == _names.end() || !found->second.back())
        throw std::logic_error("unknown file in the replay: " + name);
    return found->second.back();
}

bool Disk::leadsTo(std::string const& name, std::shared_ptr<File> const& file) const {
    auto const found = _names.find(name);
    return found != _names.end() && found->second.back() == file;
}

Files Disk::present() const {
    Files files;
    for (auto const& [name, leads] : _names)
        if (leads.back())
            files[name] = leads.back()->present();
    return files;
}

void Disk::findContents(File& file, long limit, std::mt19937& chance) {
    if (!file.contents.empty())
        return;
    Possibilities const possibilities(file.durable, file.since);
    file.isAll = possibilities.count(limit) <= limit;
    file.contents = file.isAll ? possibilities.all() : possibilities.some(limit, chance);
}

Disk::Shown Disk::forEachState(long limit, std::mt19937& chance,
                               std::function<void(State const&)> const& show) {
    // Each name has one list of choices: the contents of all files that it may refer to; null means that it is missing.
    std::vector<std::pair<std::string, std::vector<std::string const*>>> choices;
    long count = 1;
    bool haveAll = true;
    for (auto const& [name, files] : _names) {
        std::vector<std::string const*> contentsAt;
        for (auto const& file : files) {
            if (!file) {
                contentsAt.push_back(nullptr);
                continue;
            }
            findContents(*file, limit, chance);
            haveAll = haveAll && file->isAll;
            for (std::string const& content : file->contents)
                contentsAt.push_back(&content);
        }
        count = std::min(count, limit + 1) * static_cast<long>(contentsAt.size());
        choices.emplace_back(name, std::move(contentsAt));
    }
    bool const isEach = count <= limit;
    State state;
    for (long number = 0; number < (isEach ? count : limit); ++number) {
        auto rest = static_cast<std::size_t>(number);
        for (auto const& [name, contentsAt] : choices) {
            // If only some states are shown, the register file has each of its contents in turn, and the other files
            // have random ones of theirs.
            bool const inTurn = isEach || name == Trial::name;
            state[name] = contentsAt[(inTurn ? rest : chance()) % contentsAt.size()];
            if (isEach)
                rest /= contentsAt.size();
        }
        show(state);
    }
    return {isEach ? count : limit, isEach && haveAll};
}

Findings replay(Recording const& recording, Disk::Beginning const& beginning, Trial& trial,
                std::optional<int> initial, long limit, long skipped,
                std::function<void(Disk::State const&, Allowed const&)> const& distinct) {
    Findings findings;
    Disk disk(beginning);
    std::mt19937 chance(1); // the same states in each run
    auto const previousAtFirst = beginning.files.find(Trial::previousName);
    Allowed allowed(initial, previousAtFirst == beginning.files.end()
                                 ? std::nullopt
                                 : trial.stateOf(previousAtFirst->second));
    std::set<std::tuple<std::string, std::string, std::set<std::string>>> seen;
    auto const contentAt = [](Disk::State const& state, char const* name) {
        auto const file = state.find(name);
        return file == state.end() ? nullptr : file->second;
    };
    auto const examine = [&](Disk::State const& state) {
        std::string const* const content = contentAt(state, Trial::name);
        std::string const* const previous = contentAt(state, Trial::previousName);
        auto const isThat = [&](std::optional<int> which) {
            return which && content != nullptr && trial.bytesOf(*which) == *content;
        };
        bool const isAllowed = content == nullptr ? allowed.has(std::nullopt)
                                                  : isThat(allowed.finished()) || isThat(allowed.underWay());
        bool const isPreviousAllowed =
            !trial.isLive() ||
            allowed.hasPrevious(previous == nullptr ? std::nullopt : trial.stateOf(*previous));
        if ((!isAllowed || !isPreviousAllowed) && findings.forbidden++ == 0)
            findings.first = (content == nullptr ? "no file" : std::to_string(content->size()) + " bytes") +
                             (isPreviousAllowed ? "" : ", and the wrong previous file");
        if (!distinct || !isAllowed || !isPreviousAllowed)
            return;
        std::set<std::string> names;
        for (auto const& [name, bytes] : state)
            if (bytes != nullptr)
                names.insert(name);
        auto const textOf = [](std::string const* bytes) { return bytes == nullptr ? "" : *bytes; };
        if (seen.emplace(textOf(content), textOf(previous), names).second)
            distinct(state, allowed);
    };
    auto const cutThePower = [&] {
        Disk::Shown const shown = disk.forEachState(limit, chance, examine);
        ++findings.crashPoints;
        findings.states += shown.states;
        findings.sampled += shown.isAll ? 0 : 1;
    };
    cutThePower();
    for (Event const& event : recording.events()) {
        allowed.apply(event);
        if (!event.isMark() && event.call != skipped)
            disk.apply(event);
        cutThePower();
    }
    return findings;
}

} // namespace crash
