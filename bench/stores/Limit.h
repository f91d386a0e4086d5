// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <variant>
#include <vector>

#include "Files.h"
#include "Names.h"
#include "Store.h"

namespace bench {

/**
 * The minimum that any thread-safe store does: a recursive lock around a hash table of variants. The names of a group
 * are precomputed and never updated; a change notifies the listener of its group but not those of outer groups; the
 * file is a dump of the table.
 */
class Limit : public Store {
public:
    static constexpr char const* label = "limit";
    static constexpr bool hasNextScope = true;
    static constexpr bool hasListeners = true;

    Limit(std::filesystem::path const& directory, Names const& names) : _file(directory / "limit") {
        for (std::string const& name : names.ordered()) {
            auto const [group, last] = splitName(name);
            _groups[group].push_back(last);
        }
    }

    template <class Value>
    void write(std::string const& name, Value const& value) {
        std::lock_guard const lock(_mutex);
        _values[name] = value;
        if (!_listeners.empty())
            notify(name);
    }

    template <class Value>
    void read(std::string const& name, Value& value) {
        std::lock_guard const lock(_mutex);
        auto found = _values.find(name);
        if (found == _values.end() && (found = _next.find(name)) == _next.end())
            throw std::out_of_range(name);
        value = std::get<Value>(found->second);
    }

    int readOr(std::string const& name, int fallback) {
        std::lock_guard const lock(_mutex);
        auto found = _values.find(name);
        if (found == _values.end() && (found = _next.find(name)) == _next.end())
            return fallback;
        return std::get<int>(found->second);
    }

    std::vector<std::string> list(std::string const& group) {
        std::lock_guard const lock(_mutex);
        return _groups.at(group);
    }

    std::vector<std::string> entries(std::string const& group) { return list(group); }

    void clear() {
        _values.clear();
        _next.clear();
    }

    void save() {
        std::lock_guard const lock(_mutex);
        std::string bytes;
        for (auto const& [name, value] : _values)
            std::visit(
                [&bytes, text = std::string_view(name)](auto const& held) { append(bytes, text, held); },
                value);
        replaceFile(_file, bytes);
    }

    void load() {
        std::string const bytes = readFile(_file);
        std::lock_guard const lock(_mutex);
        std::string_view rest = bytes;
        while (!rest.empty()) {
            std::string name(take(rest));
            char const tag = rest.front();
            rest.remove_prefix(1);
            _values.emplace(std::move(name), decode(tag, take(rest)));
        }
    }

    void writeNext(std::vector<std::string> const& names) {
        for (std::string const& name : names)
            _next[name] = nextScopeValue;
    }

    void listen(std::string const& group, long& calls) {
        _listeners[group] = [&calls](std::string const&) { ++calls; };
    }

private:
    using Value = std::variant<int, double, bool, std::string, std::vector<int>, std::vector<double>,
                               std::vector<bool>, std::vector<std::string>>;
    using Table = std::unordered_map<std::string, Value>;

    void notify(std::string const& name) {
        auto const found = _listeners.find(name.substr(0, name.rfind('/')));
        if (found != _listeners.end())
            found->second(name);
    }

    static void append(std::string& bytes, std::string_view text) {
        auto const size = static_cast<std::uint32_t>(text.size());
        char head[sizeof size];
        std::memcpy(head, &size, sizeof size);
        bytes.append(head, sizeof size).append(text);
    }

    template <class Held>
    static void append(std::string& bytes, std::string_view name, Held const& held) {
        append(bytes, name);
        if constexpr (std::is_same_v<Held, std::string>) {
            bytes += 'S';
            append(bytes, held);
        } else if constexpr (std::is_arithmetic_v<Held>) {
            bytes += tagOf<Held>;
            char raw[sizeof held];
            std::memcpy(raw, &held, sizeof held);
            append(bytes, {raw, sizeof held});
        } else {
            throw std::logic_error("lists are not saved");
        }
    }

    template <class Held>
    static constexpr char tagOf = std::is_same_v<Held, int>      ? 'I'
                                  : std::is_same_v<Held, double> ? 'N'
                                                                 : 'B';

    static std::string_view take(std::string_view& rest) {
        std::uint32_t size = 0;
        std::memcpy(&size, rest.data(), sizeof size);
        std::string_view const text = rest.substr(sizeof size, size);
        rest.remove_prefix(sizeof size + size);
        return text;
    }

    template <class Held>
    static Held scalar(std::string_view raw) {
        Held held{};
        std::memcpy(&held, raw.data(), sizeof held);
        return held;
    }

    static Value decode(char tag, std::string_view raw) {
        switch (tag) {
        case 'I':
            return scalar<int>(raw);
        case 'N':
            return scalar<double>(raw);
        case 'B':
            return scalar<bool>(raw);
        default:
            return std::string(raw);
        }
    }

    std::filesystem::path _file;
    std::recursive_mutex _mutex;
    Table _values;
    Table _next;
    std::unordered_map<std::string, std::function<void(std::string const&)>> _listeners;
    std::unordered_map<std::string, std::vector<std::string>> _groups;
};

} // namespace bench
