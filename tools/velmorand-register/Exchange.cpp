// SPDX-License-Identifier: Apache-2.0
#include "Exchange.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <ostream>
#include <set>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "Failure.h"
#include "JsonText.h"
#include "JsonValue.h"
#include "Terminal.h"
#include "Text.h"
#include "Value.h"

namespace tool {

namespace {

using nlohmann::json;

bool isPlain(std::string const& text) {
    return isUtf8(text);
}

bool isPlain(std::vector<std::string> const& texts) {
    return std::all_of(texts.begin(), texts.end(), isUtf8);
}

template <class T>
bool isPlain(T const& /*value*/) {
    return true;
}

std::string quotedBase64(std::string_view bytes) {
    return '"' + base64(bytes) + '"';
}

std::string base64Text(std::string const& text) {
    return quotedBase64(text);
}

std::string base64Text(std::vector<std::string> const& texts) {
    std::string list = "[";
    for (std::string const& text : texts)
        list += (list.size() == 1 ? "" : ", ") + quotedBase64(text);
    return list + "]";
}

template <class T>
std::string base64Text(T const& /*value*/) {
    return {}; // never called: these values are always plain
}

std::string valueMember(Value const& value) {
    return std::visit(
        [&value](auto const& content) {
            return isPlain(content) ? R"("value": )" + jsonText(value, forJsonOutput())
                                    : R"("base64": )" + base64Text(content);
        },
        value);
}

/**
 * The value that results from an export and an import: all NaNs have the same text, so they get the same bit pattern.
 */
Value withOneNan(Value value) {
    auto const one = [](double& number) {
        if (std::isnan(number))
            number = std::numeric_limits<double>::quiet_NaN();
    };
    if (auto* const number = std::get_if<double>(&value))
        one(*number);
    if (auto* const numbers = std::get_if<std::vector<double>>(&value))
        std::for_each(numbers->begin(), numbers->end(), one);
    return value;
}

std::string entryText(Walk const& entry) {
    if (entry.kind() == Kind::directory)
        return R"({"type": "group"})";
    Reading const reading = decodeRecord(entry.content());
    std::string text = R"({"type": ")" + std::string(kindName(reading)) + "\", ";
    if (!reading.value)
        return text + R"("base64": )" + quotedBase64(entry.content()) + '}';
    text += valueMember(*reading.value);
    if (encodeRecord(withOneNan(*reading.value)) != entry.content())
        text += R"(, "record": )" + quotedBase64(entry.content());
    return text + '}';
}

/** Thrown for JSON that does not have the form of an entry. The file may be in another format. */
class NotAnEntry : public BadEntry {
public:
    using BadEntry::BadEntry;
};

/** The members of an entry. Each must be taken exactly once; `expectAllTaken` rejects entries with further members. */
class Members {
public:
    explicit Members(json const& entry) : _entry(entry) {}

    json const* take(char const* name) {
        auto const found = _entry.find(name);
        if (found == _entry.end())
            return nullptr;
        ++_taken;
        return &*found;
    }

    void expectAllTaken(std::string const& type) const {
        if (_taken != _entry.size())
            throw BadEntry("unexpected members in an entry of type " + type + ": " + _entry.dump());
    }

private:
    json const& _entry;
    std::size_t _taken = 0;
};

/** An entry whose values have not been checked. The pointers refer to its JSON, and are null for missing members. */
struct Entry {
    std::string type;
    std::size_t kind = 0; ///< of a value: its index in `kindNames`
    json const* value = nullptr;
    json const* base64 = nullptr;
    json const* record = nullptr;
};

/** Errors: `BadEntry` if the type is missing or unknown, or if the members are not those of the type. */
Entry entryIn(json const& object) {
    Members members(object);
    auto const* const type = members.take("type");
    if (type == nullptr || !type->is_string())
        throw NotAnEntry("\"type\" is missing");
    Entry entry;
    entry.type = type->get<std::string>();
    if (entry.type == "bytes") {
        entry.base64 = members.take("base64");
        if (entry.base64 == nullptr)
            throw BadEntry("\"base64\" is missing");
    } else if (entry.type != "group") {
        entry.kind = kindNamed(entry.type);
        entry.value = members.take("value");
        if (entry.value == nullptr)
            entry.base64 = members.take("base64");
        if (entry.value == nullptr && entry.base64 == nullptr)
            throw BadEntry("\"value\" is missing");
        entry.record = members.take("record");
    }
    members.expectAllTaken(entry.type);
    return entry;
}

/** The record of an entry with a value. */
std::string recordFrom(Entry const& entry) {
    Value const value = entry.value != nullptr ? valueFrom(*entry.value, entry.kind)
                                               : encodedValueFrom(*entry.base64, entry.type);
    std::string written = encodeRecord(value);
    if (entry.record == nullptr)
        return written;
    std::string record = fromBase64(*entry.record);
    Reading const reading = decodeRecord(record);
    if (!reading.value || encodeRecord(withOneNan(*reading.value)) != written)
        throw BadEntry(R"("value" and "record" differ (remove "record" after editing "value"))");
    return record;
}

void importEntry(std::string const& name, json const& object, Settings& settings) {
    requireCleanName(name);
    Entry const entry = entryIn(object);
    if (entry.type == "group")
        settings.makeGroup(name);
    else
        settings.write(name, entry.type == "bytes" ? fromBase64(*entry.base64) : recordFrom(entry));
}

bool isEntry(json const& value) {
    try {
        static_cast<void>(entryIn(value));
        return true;
    } catch (BadEntry const&) {
        return false;
    }
}

/** Imports each entry as soon as it has been parsed, and keeps none in memory. */
class Importer {
public:
    Importer(std::string const& source, std::string const& text, Settings& settings)
        : _source(source), _text(text), _settings(settings), _progress("importing", text.size()) {}

    void run() {
        try {
            parse();
        } catch (BadJson const& error) {
            throw Failure(Status::misuse, _source + ':' + error.what() +
                                              (mayBeOtherFormat() ? " (import --from reads other formats: "
                                                                    "ini, kconfig, dconf)"
                                                                  : ""));
        } catch (NotAnEntry const& error) {
            bool const isFirst = _names.size() == 1;
            throw refusal(error.what() +
                          std::string(isFirst ? " (import --from json reads any other JSON object)" : ""));
        } catch (BadEntry const& error) {
            throw refusal(error.what());
        } catch (Failure const& error) {
            throw refusal(error.what());
        }
    }

private:
    enum Depth { top = 0, entry = 1, member = 2, list = 3 };

    void parse() {
        try {
            parseJson(_text, _place, [this](int depth, json::parse_event_t event, json& parsed) {
                return take(depth, event, parsed);
            });
        } catch (NotAnEntry const&) {
            JsonPlace ignored;
            if (_names.empty()) // files of other formats may begin like JSON: "[section]"
                parseJson(_text, ignored, [](int, json::parse_event_t, json&) { return false; });
            throw;
        }
    }

    [[nodiscard]] bool mayBeOtherFormat() const {
        std::size_t const begin = _text.find_first_not_of(" \t\r\n\xEF\xBB\xBF"); // with a byte order mark
        return begin != std::string::npos && _text[begin] != '{';
    }

    /** The parser's callback. Result: whether the parser keeps the part that it has just read. */
    bool take(int depth, json::parse_event_t event, json& parsed) {
        using Event = json::parse_event_t;
        switch (event) {
        case Event::key:
            takeKey(depth, parsed.get_ref<std::string const&>());
            break;
        case Event::object_start:
            if (depth > entry)
                refuse(depth, event, parsed);
            break;
        case Event::array_start:
            if (depth != member)
                refuse(depth, event, parsed);
            break;
        case Event::value:
            if (depth < member)
                refuse(depth, event, parsed);
            break;
        case Event::object_end:
            if (depth == entry) {
                importEntry(_name, parsed, _settings);
                _progress.at(_place.byte);
                return false;
            }
            break;
        case Event::array_end:
            break;
        }
        return true;
    }

    void takeKey(int depth, std::string const& key) {
        if (depth == entry) {
            _name = key;
            _line = _place.line;
            _members.clear();
            if (!_names.insert(key).second)
                throw BadEntry("duplicate name");
        } else if (!_members.insert(key).second) {
            throw BadEntry("duplicate member \"" + key + '"');
        }
    }

    /** Throws `NotAnEntry` for a value that begins at a depth where the exchange format has another one. */
    [[noreturn]] void refuse(int depth, json::parse_event_t event, json const& parsed) {
        if (depth == top)
            _line = _place.line;
        throw NotAnEntry("found " + nounOf(event, parsed) + (depth > member ? " in a list" : "") +
                         ", expected " +
                         (depth == top     ? R"({"NAME": {"type": KIND, "value": VALUE}})"
                          : depth == entry ? R"({"type": KIND, "value": VALUE})"
                                           : "a value or a list of values"));
    }

    [[nodiscard]] Failure refusal(std::string const& reason) const {
        std::string const name = _names.empty() ? "" : '"' + _name + "\": ";
        return {Status::misuse, _source + ':' + std::to_string(_line) + ": " + name + reason};
    }

    std::string const& _source;
    std::string const& _text;
    Settings& _settings;
    Progress _progress;
    JsonPlace _place;
    std::unordered_set<std::string> _names; // so far
    std::set<std::string> _members;         // of the entry
    std::string _name;
    std::size_t _line = 1;
};

} // namespace

void exportSettings(Settings const& settings, std::string const& group, std::ostream& out) {
    std::optional<Progress> progress;
    if (!isTerminal()) // there, the output itself shows the progress
        progress.emplace("exporting", 0);
    Escapes const escapes = forJsonOutput();
    std::size_t done = 0;
    out << '{';
    for (Walk walk = settings.walk(group); walk.next();) {
        if (walk.kind() == Kind::directory && !walk.isEmptyDirectory())
            continue;
        out << (done == 0 ? "\n" : ",\n") << "  \"";
        printEscaped(out, group, escapes);
        out << (group.empty() ? "" : "/");
        printEscaped(out, nameOf(walk), escapes);
        out << "\": " << entryText(walk);
        ++done;
        if (progress)
            progress->at(done);
    }
    out << (done == 0 ? "}\n" : "\n}\n");
}

bool isExchange(std::string const& text) {
    json const all = json::parse(text, nullptr, false);
    return all.is_object() && !all.empty() && std::all_of(all.begin(), all.end(), isEntry);
}

void importSettings(std::string const& source, std::string const& text, Settings& settings) {
    Importer(source, text, settings).run();
}

} // namespace tool
