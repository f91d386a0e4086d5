// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "velmorand/Save.h"

namespace velmorand::live {

/** The live settings of the process, for those who do not hold them: plain saves, and the end of the process. */
class Current {
public:
    Current() = default;
    Current(Current const&) = delete;
    Current& operator=(Current const&) = delete;
    virtual ~Current() = default;

    virtual SaveResult sync() = 0;

    /** Saves what has changed, for the last time. */
    virtual void end() = 0;

    /** The live settings that exist now, or null. */
    [[nodiscard]] static std::shared_ptr<Current> get();

    static void leave();

    /** The place of the only one, while it is being made. Given back unless it is filled. */
    class Place {
    public:
        /** Errors: `utils::Exception` if it is taken. */
        Place();
        Place(Place const&) = delete;
        Place& operator=(Place const&) = delete;
        ~Place();

        /** From now on the settings end in order when the process exits, even if nobody destroys them. */
        void fill(std::shared_ptr<Current> current);

    private:
        bool _isFilled = false;
    };
};

} // namespace velmorand::live
