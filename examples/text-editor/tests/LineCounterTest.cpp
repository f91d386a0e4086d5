// SPDX-License-Identifier: Apache-2.0
#include <condition_variable>
#include <mutex>
#include <thread>

#include <QCoreApplication>

#include <gtest/gtest.h>

#include "LineCounter.h"
#include "Settings.h"

using namespace editor;

namespace {

/** The reports of a line counter. */
class Reports {
public:
    void add(int lines) {
        std::lock_guard<std::mutex> const lock(_mutex);
        _thread = std::this_thread::get_id();
        _last = lines;
        _reported.notify_all();
    }

    /** Waits until the last report is `lines`. */
    void await(int lines) {
        std::unique_lock<std::mutex> lock(_mutex);
        _reported.wait(lock, [&] { return _last == lines; });
    }

    std::thread::id thread() {
        std::lock_guard<std::mutex> const lock(_mutex);
        return _thread;
    }

private:
    std::mutex _mutex;
    std::condition_variable _reported;
    int _last = -1;
    std::thread::id _thread;
};

class TextEditorLineCounter : public testing::Test {
protected:
    auto note() {
        return [this](int lines) { reports.add(lines); };
    }

    int argc = 1;
    char program[12] = "text-editor";
    char* argv[2] = {program, nullptr};
    QCoreApplication application{argc, argv};
    Reports reports;
};

} // namespace

TEST_F(TextEditorLineCounter, CountsOnItsOwnThread) {
    LineCounter const counter{"one\n\nthree", note()};
    reports.await(3);
    EXPECT_NE(std::this_thread::get_id(), reports.thread());
}

TEST_F(TextEditorLineCounter, CountsTheRowsOfAWrappedLine) {
    settings::wrapColumn.set(20);
    LineCounter const counter{QString(20, 'x') + '\n' + QString(41, 'x'), note()};
    reports.await(4);
}

TEST_F(TextEditorLineCounter, CountsAgainWhenASettingChanges) {
    LineCounter const counter{QString(4, '\t'), note()};
    reports.await(1);
    settings::wrapColumn.set(20);
    reports.await(2);
    settings::tabWidth.set(16);
    reports.await(4);
}
