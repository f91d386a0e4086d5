// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "velmorand/Save.h"

namespace velmorand::live {

/** The process's live settings, for code that has no reference to them: `saveSettings` and the exit handler. */
class Current {
public:
    Current() = default;
    Current(Current const&) = delete;
    Current& operator=(Current const&) = delete;
    virtual ~Current() = default;

    virtual SaveResult sync() = 0;

    /** Saves all changes, for the last time. */
    virtual void end() = 0;

    /** The live settings that exist now, or null. */
    [[nodiscard]] static std::shared_ptr<Current> get();

    /** Forgets the live settings, so that new ones can be created. */
    static void leave();

    /**
     * Reserves the place of the process's only live settings while they are being constructed. The destructor releases
     * it unless it has been filled.
     */
    class Place {
    public:
        /** Errors: `utils::Exception` if it is taken. */
        Place();
        Place(Place const&) = delete;
        Place& operator=(Place const&) = delete;
        ~Place();

        /**
         * Registers the live settings. From now on they are saved when the process exits, even if they are never
         * destroyed.
         */
        void fill(std::shared_ptr<Current> current);

    private:
        bool _isFilled = false;
    };
};

} // namespace velmorand::live
