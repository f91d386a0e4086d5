// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Initialize.h"

#include "Access.h"
#include "live/Current.h"

namespace velmorand {

void initialize(std::string const& globalDirectory, std::string const& userDirectory) {
    if (live::Current::get())
        throw utils::Exception("the settings cannot be opened: LiveSettings has opened them already");
    if (availability() != Availability::available)
        throw utils::Exception(std::string("the settings cannot be opened: ") + unavailabilityReason());
    utils::properties::_Register::initialize(globalDirectory, userDirectory);
}

} // namespace velmorand
