// SPDX-License-Identifier: Apache-2.0
//
// Reads the output of `dconf dump`, or a directory of the user's dconf database; its path begins and ends with "/".

#include <memory>

#include <dconf.h>
#include <glib.h>

#include "Answer.h"

namespace {

using reader::Answer;

struct Release {
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(char* text) const { g_free(text); }
    void operator()(char** texts) const { g_strfreev(texts); }
    void operator()(DConfClient* client) const { g_object_unref(client); }
};
template <class T>
using Owned = std::unique_ptr<T, Release>;

QString reasonOf(GError* error) {
    Owned<GError> const owned(error);
    return QString::fromUtf8(error->message);
}

/** A single value as text, with the kind in which the settings library stores its type. */
struct Element {
    char const* kind; ///< null if it is not a single value
    QString text;
};

Element elementOf(GVariant* value) {
    switch (g_variant_classify(value)) {
    case G_VARIANT_CLASS_BOOLEAN:
        return {"boolean", g_variant_get_boolean(value) != 0 ? "true" : "false"};
    case G_VARIANT_CLASS_BYTE:
        return {"integer", QString::number(g_variant_get_byte(value))};
    case G_VARIANT_CLASS_INT16:
        return {"integer", QString::number(g_variant_get_int16(value))};
    case G_VARIANT_CLASS_UINT16:
        return {"integer", QString::number(g_variant_get_uint16(value))};
    case G_VARIANT_CLASS_INT32:
        return {"integer", QString::number(g_variant_get_int32(value))};
    case G_VARIANT_CLASS_UINT32:
        return {"number", QString::number(g_variant_get_uint32(value))};
    case G_VARIANT_CLASS_INT64:
        return {"string", QString::number(g_variant_get_int64(value))};
    case G_VARIANT_CLASS_UINT64:
        return {"string", QString::number(g_variant_get_uint64(value))};
    case G_VARIANT_CLASS_DOUBLE:
        return {"number", QString::number(g_variant_get_double(value), 'g', QLocale::FloatingPointShortest)};
    case G_VARIANT_CLASS_STRING:
    case G_VARIANT_CLASS_OBJECT_PATH:
    case G_VARIANT_CLASS_SIGNATURE:
        return {"string", QString::fromUtf8(g_variant_get_string(value, nullptr))};
    default:
        return {nullptr, {}};
    }
}

void addProblem(QStringList const& path, GVariant* value, Answer& answer) {
    answer.addProblem(path,
                      QString("values of type %1 cannot be imported").arg(g_variant_get_type_string(value)));
}

/** An array or a tuple of elements of one kind. */
void addList(QStringList const& path, GVariant* value, Answer& answer) {
    QStringList texts;
    QByteArray kind;
    for (gsize i = 0; i < g_variant_n_children(value); ++i) {
        Owned<GVariant> const child(g_variant_get_child_value(value, i));
        Element const element = elementOf(child.get());
        if (element.kind == nullptr || (!kind.isEmpty() && kind != element.kind)) {
            addProblem(path, value, answer);
            return;
        }
        kind = element.kind;
        texts.append(element.text);
    }
    answer.add(path, (kind + 's').constData(), texts);
}

void add(QStringList const& path, GVariant* value, Answer& answer);

void addDictionary(QStringList const& path, GVariant* value, Answer& answer) {
    for (gsize i = 0; i < g_variant_n_children(value); ++i) {
        Owned<GVariant> const entry(g_variant_get_child_value(value, i));
        Owned<GVariant> const key(g_variant_get_child_value(entry.get(), 0));
        Owned<GVariant> const content(g_variant_get_child_value(entry.get(), 1));
        add(path + QStringList{elementOf(key.get()).text}, content.get(), answer);
    }
}

/** The type of an empty list determines the kind of its elements. */
void addEmptyList(QStringList const& path, GVariant* value, Answer& answer) {
    Owned<GVariant> const example(g_variant_new_from_data(g_variant_type_element(g_variant_get_type(value)),
                                                          nullptr, 0, 0, nullptr, nullptr));
    Element const element = elementOf(example.get());
    if (element.kind == nullptr)
        addProblem(path, value, answer);
    else
        answer.add(path, (QByteArray(element.kind) + 's').constData(), {});
}

void add(QStringList const& path, GVariant* value, Answer& answer) {
    if (Element const element = elementOf(value); element.kind != nullptr) {
        answer.add(path, element.kind, {element.text});
    } else if (g_variant_is_of_type(value, G_VARIANT_TYPE_VARIANT) != 0) {
        Owned<GVariant> const inner(g_variant_get_variant(value));
        add(path, inner.get(), answer);
    } else if (g_variant_is_of_type(value, G_VARIANT_TYPE_BYTESTRING) != 0) {
        gsize size = 0;
        auto const* const bytes = static_cast<char const*>(g_variant_get_fixed_array(value, &size, 1));
        bool const isText = size > 0 && bytes[size - 1] == '\0'; // a C string, such as a file name
        answer.addBytes(path, QByteArray(bytes, static_cast<int>(size) - (isText ? 1 : 0)));
    } else if (g_variant_is_of_type(value, G_VARIANT_TYPE_DICTIONARY) != 0) {
        addDictionary(path, value, answer);
    } else if (g_variant_is_of_type(value, G_VARIANT_TYPE_MAYBE) != 0) {
        if (Owned<GVariant> const inner{g_variant_get_maybe(value)})
            add(path, inner.get(), answer);
        else
            answer.addProblem(path, "no value");
    } else if (g_variant_n_children(value) == 0 && g_variant_is_of_type(value, G_VARIANT_TYPE_ARRAY) != 0) {
        addEmptyList(path, value, answer);
    } else if (g_variant_n_children(value) != 0 && g_variant_is_container(value) != 0) {
        addList(path, value, answer);
    } else {
        addProblem(path, value, answer);
    }
}

void addKey(GKeyFile* file, char const* group, char const* key, QStringList const& path, Answer& answer) {
    GError* error = nullptr;
    Owned<char> const text(g_key_file_get_value(file, group, key, &error));
    Owned<GVariant> const value(text ? g_variant_parse(nullptr, text.get(), nullptr, nullptr, &error)
                                     : nullptr);
    if (value)
        add(path, value.get(), answer);
    else
        answer.addProblem(path, "not a dconf value: " + reasonOf(error));
}

void readDump(QString const& path, Answer& answer) {
    Owned<GKeyFile> const file(g_key_file_new());
    GError* error = nullptr;
    if (g_key_file_load_from_file(file.get(), path.toUtf8().constData(), G_KEY_FILE_NONE, &error) == 0)
        throw reader::Error{reasonOf(error)};
    Owned<char*> const groups(g_key_file_get_groups(file.get(), nullptr));
    for (char** group = groups.get(); *group != nullptr; ++group) {
        Owned<char*> const keys(g_key_file_get_keys(file.get(), *group, nullptr, nullptr));
        QStringList const levels = QString::fromUtf8(*group).split('/');
        QStringList outer;
        for (QString const& level : levels)
            if (!level.isEmpty())
                outer.append(level);
        for (char** key = keys.get(); *key != nullptr; ++key)
            addKey(file.get(), *group, *key, outer + QStringList{QString::fromUtf8(*key)}, answer);
    }
}

void readDirectory(DConfClient* client, QByteArray const& directory, QStringList const& path,
                   Answer& answer) {
    Owned<char*> const names(dconf_client_list(client, directory.constData(), nullptr));
    QStringList sorted;
    for (char** name = names.get(); *name != nullptr; ++name)
        sorted.append(QString::fromUtf8(*name));
    sorted.sort();
    for (QString level : sorted) {
        QByteArray const entry = directory + level.toUtf8();
        if (level.endsWith('/')) {
            level.chop(1);
            readDirectory(client, entry, path + QStringList{level}, answer);
        } else if (Owned<GVariant> const value{dconf_client_read(client, entry.constData())}) {
            add(path + QStringList{level}, value.get(), answer);
        }
    }
}

void readStore(QString const& path, Answer& answer) {
    if (!path.startsWith('/') || !path.endsWith('/')) {
        readDump(path, answer);
        return;
    }
    Owned<DConfClient> const client(dconf_client_new());
    readDirectory(client.get(), path.toUtf8(), {}, answer);
}

} // namespace

int main(int argc, char** argv) {
    return reader::answer(argc, argv, readStore);
}
