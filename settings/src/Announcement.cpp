// SPDX-License-Identifier: Apache-2.0
#include "Announcement.h"

namespace velmorand {

namespace {

using utils::properties::_Register;

/** A register whose pending names can be reached. */
struct Open : _Register {
    static std::set<std::string>& pending(_Register& settings) {
        return settings.*(&Open::_changedProperties);
    }
};

} // namespace

void announce(_Register& settings, void* sender, std::vector<std::string> const& names) {
    if (names.empty())
        return;
    Open::pending(settings).insert(names.begin(), names.end());
    settings.notify(sender);
}

} // namespace velmorand
