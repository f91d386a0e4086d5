// SPDX-License-Identifier: Apache-2.0
#include "InForce.h"

#include <string_view>

namespace tool {

InForce::InForce(Places const& places) : _scopes(settingsToRead(places)) {
    for (ScopedSettings const& scoped : _scopes)
        if (scoped.scope == std::string_view("global"))
            _locks = Locks(scoped.settings);
}

Found InForce::find(std::string const& name) const {
    bool const isLocked = this->isLocked(name);
    for (ScopedSettings const& scoped : _scopes) {
        auto const entry = scoped.settings.find(name);
        if (entry.kind != Kind::none && !(isLocked && isUsers(scoped)))
            return {isLocked ? "locked" : scoped.scope, entry};
    }
    return {isLocked ? "locked" : "unset", {}};
}

bool isUsers(ScopedSettings const& scoped) {
    return scoped.scope == std::string_view("user");
}

} // namespace tool
