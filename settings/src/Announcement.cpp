// SPDX-License-Identifier: Apache-2.0
#include "Announcement.h"

#include "Everything.h"
#include "Notifying.h"

namespace velmorand {

namespace {

using utils::properties::_Register;

/** Gives access to the register's pending names. */
struct Pending : _Register {
    static std::set<std::string>& names(_Register& settings) {
        return settings.*(&Pending::_changedProperties);
    }
};

} // namespace

void announce(_Register& settings, void* sender, std::set<std::string> names) {
    if (names.empty())
        return;
    for (std::string const& name : names)
        expectAnnouncement(name);
    std::set<std::string>& pending = Pending::names(settings);
    pending.merge(names); // `names` keeps those that were already pending
    Notifying notifying(Notifying::Writer::caller);
    settings.notify(sender);
    // If this runs inside a listener, `notify` skips the names that an outer announcement includes. They have changed
    // again, so they are announced again.
    for (std::string const& name : names)
        if (pending.count(name) != 0)
            settings.markAsChanged(sender, name);
    notifying.rethrow();
}

} // namespace velmorand
