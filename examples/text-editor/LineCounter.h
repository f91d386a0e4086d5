// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <QObject>
#include <QString>
#include <QThread>

#include <velmorand/Listener.h>

namespace editor {

/**
 * Counts the lines that a text takes when it is wrapped, on a thread of its own, anew when a setting changes. Needs a
 * QCoreApplication, as every QThread with an event loop does.
 */
class LineCounter {
public:
    /** `report(lines)` is called on the thread, soon and after each change. */
    LineCounter(QString text, std::function<void(int lines)> report);
    LineCounter(LineCounter const&) = delete;
    LineCounter& operator=(LineCounter const&) = delete;
    ~LineCounter();

private:
    void count() const;

    QString const _text;
    std::function<void(int lines)> const _report;
    QThread _thread;
    QObject _worker; ///< lives in the thread
    velmorand::QueuedListener _tabWidths;
    velmorand::QueuedListener _wrapColumns;
};

} // namespace editor
