// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace support {

/**
 * While an object exists, the files of this process cannot grow beyond a size, as on a full disk. A write at the limit
 * raises SIGXFSZ, which ends the process by default. Programs that this process starts inherit the limit.
 */
class FileSizeLimit {
public:
    explicit FileSizeLimit(::rlim_t bytes) {
        EXPECT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &_before));
        // Only the soft limit, because an ordinary user could not raise the hard limit again.
        ::rlimit const limit = {bytes, _before.rlim_max};
        EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    }
    FileSizeLimit(FileSizeLimit const&) = delete;
    FileSizeLimit& operator=(FileSizeLimit const&) = delete;
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &_before); }

private:
    ::rlimit _before = {};
};

} // namespace support
