// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Changes.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <filesystem/Direct.h>

#include "Access.h"
#include "Announcement.h"
#include "Locks.h"
#include "Names.h"
#include "Record.h"
#include "UserChanges.h"

namespace velmorand {

namespace {

using filesystem::direct::Kind;

/** Whether a change would have no effect. The lock is held. */
bool isInPlace(utils::properties::_Register const& settings, std::string const& name,
               std::optional<std::string> const& record) {
    auto const entry = filesystem::direct::find(settings, {"user"}, name);
    return record ? entry.kind == Kind::file && entry.content == *record : entry.kind != Kind::file;
}

template <class State>
State& stateIn(std::unique_ptr<State>& holder) {
    if (!holder)
        holder = std::make_unique<State>();
    return *holder;
}

} // namespace

struct Changes::State {
    std::map<std::string, std::optional<std::string>> records; ///< by clean name; no record: reset

    void put(std::string const& name, std::optional<std::string> record) {
        std::string storage;
        records.insert_or_assign(propertyName(name, storage), std::move(record));
    }
};

Changes::Changes() = default;
Changes::Changes(Changes const& other) : _state(other._state ? new State(*other._state) : nullptr) {}
Changes::Changes(Changes&&) noexcept = default;
Changes& Changes::operator=(Changes const& other) {
    _state = Changes(other)._state;
    return *this;
}
Changes& Changes::operator=(Changes&&) noexcept = default;
Changes::~Changes() = default;

bool Changes::empty() const noexcept {
    return !_state || _state->records.empty();
}

template <class Kind>
void Changes::put(std::string const& name, Kind const& value) {
    requireFits(name, value);
    stateIn(_state).put(name, encoded(value));
}

// The eight kinds.
template void Changes::put(std::string const&, std::string const&);
template void Changes::put(std::string const&, double const&);
template void Changes::put(std::string const&, int const&);
template void Changes::put(std::string const&, bool const&);
template void Changes::put(std::string const&, std::vector<std::string> const&);
template void Changes::put(std::string const&, std::vector<double> const&);
template void Changes::put(std::string const&, std::vector<int> const&);
template void Changes::put(std::string const&, std::vector<bool> const&);

void Changes::reset(std::string const& name) {
    stateIn(_state).put(name, std::nullopt);
}

void Changes::apply(void* sender) {
    if (empty())
        return;
    RequiredAccess const settings("cannot apply the changes");
    UserChanges changes;
    std::set<std::string> names;
    for (auto const& [name, record] : _state->records) {
        if (record)
            requireUnlocked(*settings, name, "cannot write");
        if (!isInPlace(*settings, name, record)) {
            changes.emplace(name, record);
            names.insert(name);
        }
    }
    makeChanges(*settings, changes);
    _state.reset();
    announce(*settings, sender, std::move(names));
}

} // namespace velmorand
