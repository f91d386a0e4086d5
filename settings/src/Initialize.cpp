// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Initialize.h"

#include "Access.h"
#include "live/Current.h"

namespace velmorand {

void initialize(std::string const& globalDirectory, std::string const& userDirectory) {
    if (live::Current::get())
        throw utils::Exception("cannot open the settings: LiveSettings has already opened them");
    if (availability() != Availability::available)
        throw utils::Exception(std::string("cannot open the settings: ") + unavailabilityReason());
    utils::properties::_Register::initialize(globalDirectory, userDirectory);
}

} // namespace velmorand
