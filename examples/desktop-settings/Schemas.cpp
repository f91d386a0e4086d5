// SPDX-License-Identifier: Apache-2.0
#include "Schemas.h"

#include <optional>
#include <stdexcept>

#include <QDir>
#include <QFile>
#include <QStringList>
#include <QXmlStreamReader>

#include "VariantText.h"

namespace desktop {

namespace {

std::string attribute(QXmlStreamReader const& xml, char const* name) {
    return xml.attributes().value(QLatin1String(name)).toString().toStdString();
}

std::string typeOfKey(QXmlStreamReader const& xml) {
    if (xml.attributes().hasAttribute(QLatin1String("enum")))
        return "s";
    if (xml.attributes().hasAttribute(QLatin1String("flags")))
        return "as";
    return attribute(xml, "type");
}

std::string readDefault(QXmlStreamReader& xml) {
    std::string text;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("default"))
            text = xml.readElementText().toStdString();
        else
            xml.skipCurrentElement();
    }
    return text;
}

void readKey(QXmlStreamReader& xml, std::string const& group, Schemas& schemas) {
    std::string const name = group + "/" + attribute(xml, "name");
    std::string const type = typeOfKey(xml);
    std::optional<Value> const value = parseVariant(type, readDefault(xml));
    if (!value)
        ++schemas.leftOut[type];
    else if (!schemas.settings.emplace(name, *value).second)
        throw std::runtime_error(name + " is defined twice");
}

void readSchema(QXmlStreamReader& xml, Schemas& schemas) {
    QString const id = xml.attributes().value(QLatin1String("id")).toString();
    std::string const group = QString(id).replace(QLatin1Char('.'), QLatin1Char('/')).toStdString();
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("key"))
            readKey(xml, group, schemas);
        else
            xml.skipCurrentElement();
    }
}

void readFile(QString const& path, Schemas& schemas) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    QXmlStreamReader xml(&file);
    xml.readNextStartElement();
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("schema"))
            readSchema(xml, schemas);
        else
            xml.skipCurrentElement();
    }
    if (xml.hasError())
        throw std::runtime_error(path.toStdString() + ": " + xml.errorString().toStdString());
}

} // namespace

Schemas readSchemas(std::string const& directory) {
    QDir const folder(QString::fromStdString(directory));
    QStringList const patterns = {QStringLiteral("org.gnome.desktop.*.gschema.xml"),
                                  QStringLiteral("org.gnome.system.*.gschema.xml")};
    Schemas schemas;
    for (QString const& file : folder.entryList(patterns, QDir::Files, QDir::Name))
        readFile(folder.filePath(file), schemas);
    if (schemas.settings.empty())
        throw std::runtime_error("no settings in " + directory);
    return schemas;
}

} // namespace desktop
