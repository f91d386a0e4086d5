// SPDX-License-Identifier: Apache-2.0
#include "filesystem/ChangeCounter.h"

#include "DirectAccess.h"

namespace filesystem {

void countChanges(RAMFileSystem& fileSystem, std::atomic<std::uint64_t>& counter) noexcept {
    DirectAccess::tree(fileSystem).countIn(counter);
}

} // namespace filesystem
