// SPDX-License-Identifier: Apache-2.0
//
// Reads a KConfig file.

#include <cstdlib>

#include <KConfig>
#include <KConfigGroup>
#include <QLoggingCategory>

#include "Answer.h"

namespace {

using reader::Answer;

QString firstComplaint; ///< the parser's first warning

void takeComplaint(QtMsgType /*type*/, QMessageLogContext const& /*context*/, QString const& message) {
    // The parser reports invalid lines only as warnings. Keeps the line number and the reason, without the path.
    if (firstComplaint.isEmpty())
        firstComplaint = message.mid(qMax(0, message.indexOf("line "))).remove("\" ").trimmed();
}

void readGroup(KConfigGroup const& group, QStringList const& path, Answer& answer) {
    constexpr int deepest = 100; // the time that KConfig needs grows with the cube of the depth
    if (path.size() > deepest)
        throw reader::Error{QString("groups nested more than %1 levels deep").arg(deepest)};
    for (QString const& key : group.keyList())
        answer.addText(path + QStringList{key}, group.readEntry(key, QString()),
                       group.readEntry(key, QStringList()));
    for (QString const& inner : group.groupList())
        readGroup(group.group(inner), path + QStringList{inner}, answer);
}

void readStore(QString const& path, Answer& answer) {
    ::unsetenv("QT_LOGGING_RULES");
    qInstallMessageHandler(takeComplaint);
    QLoggingCategory::setFilterRules("*.warning=true");
    KConfig const config(path, KConfig::SimpleConfig);
    if (!firstComplaint.isEmpty())
        throw reader::Error{firstComplaint};
    readGroup(config.group(QString()), {}, answer);
    for (QString const& group : config.groupList())
        if (group != "<default>")
            readGroup(config.group(group), {group}, answer);
}

} // namespace

int main(int argc, char** argv) {
    return reader::answer(argc, argv, readStore);
}
