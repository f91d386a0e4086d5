// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace live {

inline std::string bytes(std::filesystem::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void put(std::filesystem::path const& file, std::string const& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

/**
 * Directories for live settings that are saved only on request. Programs are children of the test, which does not
 * normally use settings itself.
 */
class Directories : public testing::Test {
protected:
    Directories() {
        options.userDirectory = (directory / "user").string();
        options.globalDirectory = (directory / "global").string();
        options.delay = std::chrono::hours(1);
        options.onEvent = [this](velmorand::LiveEvent const& event) {
            std::lock_guard<std::mutex> const lock(mutex);
            events.push_back(event);
        };
        std::filesystem::create_directories(options.userDirectory);
    }

    [[nodiscard]] std::filesystem::path file() const {
        return std::filesystem::path(options.userDirectory) / "Velmorand.dat";
    }

    /** A program that opens the settings, does something and ends. */
    template <class Body>
    int inProgram(Body&& body) {
        return support::inChild([&] {
            velmorand::LiveSettings live(options);
            std::forward<Body>(body)(live);
        });
    }

    void save(std::string const& name, int value) {
        EXPECT_EQ(0, inProgram([&](auto&) { velmorand::write(name, value); }));
    }

    void expectStored(std::string const& name, int value) {
        EXPECT_EQ(0, inProgram([&](auto&) { EXPECT_EQ(value, velmorand::read<int>(name, -1)) << name; }));
    }

    support::TemporaryDirectory directory;
    velmorand::LiveOptions options;
    std::mutex mutex;
    std::vector<velmorand::LiveEvent> events;
};

/** The lock on a directory, as another process holds it. */
class Turn {
public:
    explicit Turn(std::string const& directory)
        : _directory(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        EXPECT_EQ(0, ::flock(_directory, LOCK_EX));
    }
    Turn(Turn const&) = delete;
    Turn& operator=(Turn const&) = delete;
    ~Turn() {
        end();
        ::close(_directory);
    }

    void end() const { ::flock(_directory, LOCK_UN); }

private:
    int _directory;
};

} // namespace live
