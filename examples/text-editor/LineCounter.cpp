// SPDX-License-Identifier: Apache-2.0
#include "LineCounter.h"

#include <algorithm>
#include <utility>

#include <velmorand/Lock.h>
#include <velmorand/QtThread.h>

#include "Settings.h"

namespace editor {

namespace {

struct Columns {
    int tabWidth;
    int wrapColumn;
};

/** The settings in force, both old or both new if they are changed together. */
Columns columns() {
    velmorand::Lock const lock;
    return {settings::tabWidth.get(), settings::wrapColumn.get()};
}

int widthOf(QString const& line, int tabWidth) {
    int width = 0;
    for (QChar const character : line)
        width = character == QLatin1Char('\t') ? (width / tabWidth + 1) * tabWidth : width + 1;
    return width;
}

int linesOf(QString const& text, Columns const& columns) {
    int lines = 0;
    for (QString const& line : text.split(QLatin1Char('\n')))
        lines += std::max(widthOf(line, columns.tabWidth) - 1, 0) / columns.wrapColumn + 1;
    return lines;
}

} // namespace

LineCounter::LineCounter(QString text, std::function<void(int lines)> report)
    : _text(std::move(text)), _report(std::move(report)),
      _tabWidths(settings::tabWidth, velmorand::inThreadOf(&_worker), [this](int /*width*/) { count(); }),
      _wrapColumns(settings::wrapColumn, velmorand::inThreadOf(&_worker),
                   [this](int /*column*/) { count(); }) {
    _worker.moveToThread(&_thread);
    velmorand::inThreadOf (&_worker)([this] { count(); });
    _thread.start();
}

LineCounter::~LineCounter() {
    _thread.quit();
    _thread.wait();
}

void LineCounter::count() const {
    _report(linesOf(_text, columns()));
}

} // namespace editor
