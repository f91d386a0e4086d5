// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <utils/Exception.h>

#include "velmorand/Catalogue.h"
#include "velmorand/Declaration.h"
#include "velmorand/Enum.h"
#include "velmorand/Scope.h"
#include "velmorand/Stored.h"

// What `Property` consists of. Programs do not use it directly.
namespace velmorand::detail {

/** A value copied from the register earlier, and whether the register is still as it was then. */
struct Recalled {
    std::uint64_t bits;
    bool isCurrent;
};

/**
 * A declared setting, whatever its type. For the types that fit, it keeps the last value read, so that reading again
 * takes no lock until the register changes.
 */
class VELMORAND_SETTINGS_EXPORT Declaration {
public:
    explicit Declaration(std::string name);
    Declaration(Declaration const&) = delete;
    Declaration& operator=(Declaration const&) = delete;
    virtual ~Declaration();

    [[nodiscard]] std::string const& name() const noexcept { return _name; }

    /** Fills in what depends on the type. */
    virtual void describe(DeclaredProperty& description) const = 0;

    /** Locks: none; it never waits. */
    [[nodiscard]] Recalled recall() const noexcept;

    /** Keeps a value that was read while the register was in a state that `fetch` has named. Locks: as `recall`. */
    void remember(std::uint64_t state, std::uint64_t bits) noexcept;

private:
    std::string const _name;
    std::atomic<std::uint64_t> _state{0}; ///< of the register, at which the value was read
    std::atomic<std::uint64_t> _bits{0};
};

/** Adds a declaration to the catalogue, in which it stays for as long as it lives. */
VELMORAND_SETTINGS_EXPORT void declare(std::shared_ptr<Declaration> const& declaration);

struct Fetched {
    bool isFound;
    std::uint64_t state; ///< of the register, for `remember`; 0 if it must not be remembered
    std::string problem; ///< why there is no value although some scope has the name
};

// For the eight kinds.

/** Reads a value for a declaration. It throws nothing because of what the register contains. */
template <class Kind>
VELMORAND_SETTINGS_EXPORT Fetched fetch(std::string const& name, Kind& value);

/** Writes a value to the user scope, unless that has the same one. */
template <class Kind>
VELMORAND_SETTINGS_EXPORT void storeChanged(std::string const& name, Kind const& value, void* sender);

template <class Kind>
VELMORAND_SETTINGS_EXPORT std::string kindName();

template <class Kind>
VELMORAND_SETTINGS_EXPORT std::string json(Kind const& value);

// What is wrong with a value, all of them JSON texts.
VELMORAND_SETTINGS_EXPORT std::string notValid(std::string const& value, std::string const& expected);
VELMORAND_SETTINGS_EXPORT std::string notWithin(std::string const& value, std::string const& minimum,
                                                std::string const& maximum);
VELMORAND_SETTINGS_EXPORT std::string notAmong(std::string const& value,
                                               std::vector<std::string> const& choices);

template <class T>
std::string storedJson(T const& value) {
    return json<StoredType<T>>(Stored<T>::store(value));
}

/** What limits and choices apply to: the elements of a list, otherwise the value. */
template <class T, class Enable = void>
struct ElementOf {
    static constexpr bool isList = false;
    using Type = T;
};
template <class T>
struct ElementOf<T, std::enable_if_t<isListKind<StoredType<T>>, std::void_t<typename T::value_type>>> {
    static constexpr bool isList = true;
    using Type = typename T::value_type;
};

template <class T, class Enable = void>
inline constexpr bool hasOrder = false;
template <class T>
inline constexpr bool
    hasOrder<T, std::void_t<decltype(std::declval<T const&>() < std::declval<T const&>())>> = true;

template <class T, class Enable = void>
inline constexpr bool hasEquality = false;
template <class T>
inline constexpr bool
    hasEquality<T, std::void_t<decltype(std::declval<T const&>() == std::declval<T const&>())>> = true;

/** What a type expects, for messages. */
template <class T, class Enable = void>
inline constexpr bool hasExpected = false;
template <class T>
inline constexpr bool hasExpected<T, std::void_t<decltype(Stored<T>::expected())>> = true;

template <class T, class Enable = void>
inline constexpr bool hasFormat = false;
template <class T>
inline constexpr bool hasFormat<T, std::void_t<decltype(Stored<T>::format)>> = true;

template <class T, class Enable = void>
inline constexpr bool hasNames = false;
template <class T>
inline constexpr bool hasNames<T, std::void_t<decltype(Stored<T>::names())>> = true;

/** Whether the type has limits that its kind does not have. */
template <class T>
inline constexpr bool isLimited = isNumeric<T>&& std::is_integral_v<T> && !std::is_same_v<T, int>;

/** A declared setting of a type. */
template <class T>
class Declared final : public Declaration {
public:
    using Element = typename ElementOf<T>::Type;

    /** Whether the last value read is kept. */
    static constexpr bool isKept = std::is_trivially_copyable_v<T> && std::is_default_constructible_v<T> &&
                                   sizeof(T) <= sizeof(std::uint64_t);

    /** With either a fallback or a function that computes it. */
    template <class... Details>
    Declared(std::string name, std::optional<T> fallback, std::function<T()> computed, Details&&... details)
        : Declaration(std::move(name)), _fallback(std::move(fallback)), _computed(std::move(computed)) {
        (add(std::move(details)), ...);
    }

    [[nodiscard]] T fallback() const { return _fallback ? *_fallback : _computed(); }

    [[nodiscard]] T get() {
        if constexpr (isKept) {
            if (Recalled const recalled = recall(); recalled.isCurrent) {
                T value;
                std::memcpy(static_cast<void*>(&value), &recalled.bits, sizeof(T));
                return value;
            }
        }
        return read();
    }

    void set(T const& value, void* sender) const {
        require(objection(value));
        storeChanged<Kind>(name(), Stored<T>::store(value), sender);
    }

    /** For an accepted value of another type. */
    template <class From>
    void setFrom(From const& from, void* sender) const {
        std::optional<T> const value = accepted<T>(from);
        if constexpr (isNumeric<From>)
            if (!value)
                require(notWithin(std::to_string(from), storedJson(std::numeric_limits<T>::lowest()),
                                  storedJson(std::numeric_limits<T>::max())));
        set(*value, sender);
    }

    [[nodiscard]] std::string problem() const {
        std::string const text = load().problem;
        return text.empty() ? text : name() + ": " + text;
    }

    void describe(DeclaredProperty& description) const override {
        description.kind = kindName<Kind>();
        if constexpr (hasFormat<Element>)
            description.format = Stored<Element>::format;
        if (_fallback)
            description.fallback = storedJson(*_fallback);
        description.minimum = minimumJson();
        description.maximum = maximumJson();
        description.choices = choicesJson();
        description.description = _description;
        description.problem = problem();
    }

private:
    using Kind = StoredType<T>;

    struct Rule {
        std::function<bool(Element const&)> allows;
        std::string expected;
    };

    struct Loaded {
        std::optional<T> value;
        std::uint64_t state;
        std::string problem;
    };

    template <class From>
    Element element(From const& from) const {
        static_assert(isAccepted<Element, std::decay_t<From>>(),
                      "limits and choices have the type of the setting, or of its elements");
        std::optional<Element> value = accepted<Element>(from);
        if (!value)
            throw utils::Exception(name() +
                                   " is declared with a limit or choice that its type does not have");
        return *std::move(value);
    }

    void add(Description&& description) { _description = std::move(description.text); }

    template <class Limit>
    void add(Limits<Limit>&& limits) {
        static_assert(hasOrder<Element>, "a type with limits needs an operator<");
        if (limits.minimum)
            _minimum = element(*limits.minimum);
        if (limits.maximum)
            _maximum = element(*limits.maximum);
    }

    template <class Choice>
    void add(Choices<Choice>&& choices) {
        static_assert(hasEquality<Element>, "a type with choices needs an operator==");
        for (Choice const& choice : choices.values)
            _choices.push_back(element(choice));
    }

    template <class Allows>
    void add(Check<Allows>&& check) {
        _rules.push_back({std::move(check.allows), std::move(check.expected)});
    }

    void require(std::string const& objection) const {
        if (!objection.empty())
            throw utils::Exception(name() + " is not set: " + objection);
    }

    /** Apart from `get`, which is short, and needs few registers, as long as this is not inlined into it. */
    [[nodiscard, gnu::noinline]] T read() {
        Loaded loaded = load();
        // What the program computes may differ the next time.
        bool const isLasting = loaded.value || _fallback;
        T value = loaded.value ? *std::move(loaded.value) : fallback();
        if constexpr (isKept) {
            if (isLasting) {
                std::uint64_t bits = 0;
                std::memcpy(&bits, &value, sizeof(T));
                remember(loaded.state, bits);
            }
        }
        return value;
    }

    [[nodiscard]] Loaded load() const {
        Kind kept{};
        Fetched fetched = fetch<Kind>(name(), kept);
        Loaded loaded{std::nullopt, fetched.state, std::move(fetched.problem)};
        if (!fetched.isFound)
            return loaded;
        loaded.value = Stored<T>::load(kept);
        loaded.problem = loaded.value ? objection(*loaded.value) : objectionToStored(kept);
        if (!loaded.problem.empty())
            loaded.value.reset();
        return loaded;
    }

    [[nodiscard]] std::string objectionToStored(Kind const& kept) const {
        if constexpr (hasNames<Element>)
            return notAmong(json<Kind>(kept), choicesJson());
        else if constexpr (hasExpected<Element>)
            return notValid(json<Kind>(kept), Stored<Element>::expected());
        else
            return notWithin(json<Kind>(kept), minimumJson(), maximumJson());
    }

    /** Why the declaration does not allow a value; empty if it does. */
    [[nodiscard]] std::string objection(T const& value) const {
        if constexpr (ElementOf<T>::isList) {
            for (Element const& element : value)
                if (std::string text = objectionToElement(element); !text.empty())
                    return text;
            return {};
        } else {
            return objectionToElement(value);
        }
    }

    [[nodiscard]] std::string objectionToElement(Element const& value) const {
        if constexpr (hasOrder<Element>)
            if ((_minimum && !isOrdered(*_minimum, value)) || (_maximum && !isOrdered(value, *_maximum)))
                return notWithin(storedJson(value), minimumJson(), maximumJson());
        if constexpr (hasEquality<Element>)
            if (!_choices.empty() && std::find(_choices.begin(), _choices.end(), value) == _choices.end())
                return notAmong(storedJson(value), choicesJson());
        for (Rule const& rule : _rules)
            if (!rule.allows(value))
                return notValid(storedJson(value), rule.expected);
        return {};
    }

    /** Whether one value is at most the other; not if one of them is NaN. */
    static bool isOrdered(Element const& smaller, Element const& greater) {
        if constexpr (std::is_floating_point_v<Element>)
            return smaller <= greater;
        else
            return !(greater < smaller);
    }

    [[nodiscard]] std::string minimumJson() const {
        if (_minimum)
            return storedJson(*_minimum);
        if constexpr (isLimited<Element>)
            return storedJson(std::numeric_limits<Element>::lowest());
        return {};
    }

    [[nodiscard]] std::string maximumJson() const {
        if (_maximum)
            return storedJson(*_maximum);
        if constexpr (isLimited<Element>)
            return storedJson(std::numeric_limits<Element>::max());
        return {};
    }

    [[nodiscard]] std::vector<std::string> choicesJson() const {
        std::vector<std::string> texts;
        for (Element const& choice : _choices)
            texts.push_back(storedJson(choice));
        if constexpr (hasNames<Element>)
            if (texts.empty())
                for (auto const& known : Stored<Element>::names())
                    texts.push_back(json<std::string>(known.name));
        return texts;
    }

    std::optional<T> const _fallback;
    std::function<T()> const _computed; ///< if there is no `_fallback`
    std::string _description;
    std::optional<Element> _minimum;
    std::optional<Element> _maximum;
    std::vector<Element> _choices;
    std::vector<Rule> _rules;
};

} // namespace velmorand::detail
