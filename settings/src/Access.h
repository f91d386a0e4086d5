// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <utils/properties/Register.h>

#include "Waiting.h"
#include "velmorand/Lock.h"

namespace velmorand {

/** Whether the register can be used. */
enum class Availability {
    available,     ///< it exists, or the first use creates it
    destroyed,     ///< the process is exiting and has destroyed it
    lockAbandoned, ///< the process was forked while a thread of its parent, even the forking one, held the lock
};

/**
 * Incremented whenever the register or an override changes, and when the register becomes unavailable. Never 0. It may
 * be read without the lock. It is incremented with the lock held, except when the register becomes unavailable. Hidden,
 * so that reading it needs no lookup in the global offset table.
 */
[[gnu::visibility("hidden")]] extern std::atomic<std::uint64_t> registerState;

/** Increments `registerState` for a change outside the register, such as that of an override. The lock is held. */
void countChange() noexcept;

/** Locks: none. */
[[nodiscard]] Availability availability() noexcept;

/** Why the register is not available, for messages. */
[[nodiscard]] char const* unavailabilityReason() noexcept;

/**
 * The process's register, locked for the lifetime of this object; null if the register is not available. The first
 * access opens the register.
 * Errors: those of `_Register::getInstance`.
 */
class Access {
public:
    Access();

    explicit operator bool() const noexcept { return _register != nullptr; }

    /**
     * Whether this object is the thread's only hold on the lock. A lock that the thread has taken directly through the
     * register's mutex does not count.
     */
    [[nodiscard]] bool isOutermost() const noexcept { return holdsOfThisThread() == 1; }

    utils::properties::_Register* operator->() const noexcept { return _register; }
    utils::properties::_Register& operator*() const noexcept { return *_register; }

private:
    Lock _lock;
    utils::properties::_Register* _register;
};

/**
 * Access for an operation that fails without it.
 * Errors: `utils::Exception`. The message is `failure`, the name, if there is one, and the reason.
 */
class RequiredAccess : public Access {
public:
    explicit RequiredAccess(std::string const& failure);
    RequiredAccess(std::string const& failure, std::string const& name);
};

} // namespace velmorand
