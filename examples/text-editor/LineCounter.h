// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <QObject>
#include <QString>
#include <QThread>

#include <velmorand/Listener.h>

namespace editor {

/**
 * Counts the lines of a wrapped text on its own thread, and counts again whenever a setting changes. Requires a
 * QCoreApplication, like every QThread with an event loop.
 */
class LineCounter {
public:
    /** `report(lines)` is called on that thread, shortly after construction and after each change. */
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
