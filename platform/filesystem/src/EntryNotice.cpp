// SPDX-License-Identifier: Apache-2.0
#include "filesystem/EntryNotice.h"

#include "DirectAccess.h"

namespace filesystem {

void noticeEntries(RAMFileSystem& fileSystem, EntryNotice notice) noexcept {
    DirectAccess::tree(fileSystem).setNotice(notice);
}

} // namespace filesystem
