// SPDX-License-Identifier: Apache-2.0
#include "Session.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include <velmorand/Catalogue.h>
#include <velmorand/Lock.h>

#include "Settings.h"

namespace editor {

namespace {

/** Puts a text at the head of a list that contains each text once, and at most `most` texts. */
void putFirst(velmorand::Property<QStringList> const& list, QString const& text, int most) {
    velmorand::Lock const lock; // no other thread changes the list between reading and writing it
    QStringList texts = list.get();
    texts.removeAll(text);
    texts.prepend(text);
    list.set(texts.mid(0, most));
}

} // namespace

bool isColour(QString const& text) {
    auto const isDigit = [](QChar digit) {
        return (digit >= QLatin1Char('0') && digit <= QLatin1Char('9')) ||
               (digit >= QLatin1Char('a') && digit <= QLatin1Char('f'));
    };
    return text.size() == 7 && text[0] == QLatin1Char('#') &&
           std::all_of(text.begin() + 1, text.end(), isDigit);
}

std::filesystem::path backupDirectory() {
    char const* const home = std::getenv("HOME");
    return std::filesystem::path(home != nullptr ? home : "/tmp") / ".cache" / "editor";
}

void Session::open(QString const& file) const {
    putFirst(settings::recent, file, settings::recentCount.get());
}

void Session::search(QString const& text) const {
    constexpr int most = 20;
    putFirst(settings::searched, text, most);
}

void Session::close(QByteArray const& geometry) const {
    settings::geometry.set(geometry);
}

bool Session::isUpdateDue(QDateTime const& now) const {
    std::chrono::seconds const interval = settings::updateInterval.get();
    QDateTime const last = settings::lastUpdate.get();
    return last.isNull() || last.secsTo(now) >= interval.count();
}

QStringList problems() {
    QStringList texts;
    for (velmorand::DeclaredProperty const& property : velmorand::declaredProperties())
        if (!property.problem.empty())
            texts.append(QString::fromStdString(property.problem));
    return texts;
}

} // namespace editor
