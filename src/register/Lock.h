// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/recursive_mutex.hpp>

namespace utils::properties {

/** Holds the register's lock until the end of a block. */
using Lock = boost::lock_guard<boost::recursive_mutex>;

} // namespace utils::properties
