// SPDX-License-Identifier: Apache-2.0
#include "Locks.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include "Access.h"
#include "Names.h"
#include "Record.h"
#include "velmorand/Property.h"

namespace velmorand {

namespace {

using utils::properties::_Register;

constexpr std::string_view listName = "velmorand/locked";

/** The list as last read. Never destroyed, because static objects may read settings during exit. */
struct Kept {
    std::uint64_t state = 0; ///< the `registerState` when it was read
    std::string record;
    Locks locks;

    static Kept& instance() {
        static auto* const kept = new Kept;
        return *kept;
    }
};

bool beginsWith(std::string const& text, std::string const& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

} // namespace

Locks::Locks(std::vector<std::string> const& list) {
    std::set<std::string> names;
    for (std::string const& entry : list) {
        try {
            std::string storage;
            names.insert(propertyName(entry, storage) + '/');
        } catch (Exception const&) {
            continue; // not a valid name
        }
    }
    std::copy_if(names.begin(), names.end(), std::back_inserter(_entries), [this](std::string const& name) {
        return _entries.empty() || !beginsWith(name, _entries.back());
    });
}

std::optional<std::string> Locks::entryFor(std::string const& name) const {
    std::string const whole = name + '/';
    // No entry is a prefix of another one. So if an entry is a prefix of `whole`, no other entry sorts between the two,
    // because it would begin with that entry. It is enough to check the last entry that is not greater than `whole`.
    auto const next = std::upper_bound(_entries.begin(), _entries.end(), whole);
    if (next == _entries.begin() || !beginsWith(whole, *std::prev(next)))
        return std::nullopt;
    return std::prev(next)->substr(0, std::prev(next)->size() - 1);
}

std::string Locks::objectionTo(std::string const& name) const {
    auto const entry = entryFor(name);
    return entry ? "the administrator has locked " + (*entry == name ? "it" : inQuotes(*entry))
                 : std::string();
}

Locks const& locksOf(_Register const& settings) {
    Kept& kept = Kept::instance();
    std::uint64_t const now = registerState.load(std::memory_order_relaxed);
    if (kept.state == now)
        return kept.locks;
    // Empty for a group and for a missing list.
    std::string_view const record = filesystem::direct::find(settings, {"global"}, listName).content;
    if (kept.record != record) {
        std::string copy(record);
        kept.locks = Locks(decoded<std::vector<std::string>>(record).value_or(std::vector<std::string>()));
        kept.record = std::move(copy);
    }
    kept.state = now;
    return kept.locks;
}

bool isLocked(_Register const& settings, std::string const& name) {
    Locks const& locks = locksOf(settings);
    return !locks.empty() && locks.entryFor(cleanName(name));
}

void requireUnlocked(_Register const& settings, std::string const& name, std::string const& failure) {
    Locks const& locks = locksOf(settings);
    if (locks.empty())
        return;
    if (std::string const reason = locks.objectionTo(name); !reason.empty())
        throw Exception(failure + ' ' + inQuotes(name) + ": " + reason);
}

filesystem::direct::Entry findInScopes(_Register const& settings, std::string const& name) {
    return isLocked(settings, name) ? filesystem::direct::find(settings, {"global", "temp"}, name)
                                    : filesystem::direct::find(settings, {"user", "global", "temp"}, name);
}

bool isLocked(std::string const& name) {
    Access const settings;
    return settings && isLocked(*settings, name);
}

} // namespace velmorand
