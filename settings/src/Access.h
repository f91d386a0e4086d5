// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <utils/properties/Register.h>

#include "Waiting.h"
#include "velmorand/Lock.h"

namespace velmorand {

/** Whether the process still has a register to use. */
enum class Availability {
    available,     ///< it has one, or will have at the first use
    destroyed,     ///< the process is exiting, and the register has been destroyed
    lockAbandoned, ///< this process was forked while a thread of its parent, or the forking one, held the lock
};

/**
 * Grows whenever the register changes, by whatever operation, whenever an override does, and when the register becomes
 * unavailable. Never 0. It may be read without the lock, and grows only with the lock held, except at the register's end.
 * Declared as hidden, so that a read needs no table of addresses.
 */
[[gnu::visibility("hidden")]] extern std::atomic<std::uint64_t> registerState;

/** Counts a change of what is in force that is not one of the register. The lock is held. */
void countChange() noexcept;

/** Locks: none. */
[[nodiscard]] Availability availability() noexcept;

/** Why the register is not available, for messages. */
[[nodiscard]] char const* unavailabilityReason() noexcept;

/**
 * The process's register, locked for the lifetime of this object; null if the register is not available. The
 * first one opens the register.
 * Errors: those of `_Register::getInstance`.
 */
class Access {
public:
    Access();

    explicit operator bool() const noexcept { return _register != nullptr; }

    /** Whether this thread did not hold the lock before. It may if it took the register's mutex itself. */
    [[nodiscard]] bool isOutermost() const noexcept { return holdsOfThisThread() == 1; }

    utils::properties::_Register* operator->() const noexcept { return _register; }
    utils::properties::_Register& operator*() const noexcept { return *_register; }

private:
    Lock _lock;
    utils::properties::_Register* _register;
};

/**
 * Access for an operation that fails without it.
 * Errors: `utils::Exception`: what failed, with the name if there is one, and the reason.
 */
class RequiredAccess : public Access {
public:
    explicit RequiredAccess(std::string const& failure);
    RequiredAccess(std::string const& failure, std::string const& name);
};

} // namespace velmorand
