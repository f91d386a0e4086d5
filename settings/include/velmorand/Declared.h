// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <utils/Exception.h>

#include "velmorand/Callable.h"
#include "velmorand/Catalogue.h"
#include "velmorand/Conversion.h"
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

    /** Adds it to the catalogue. */
    void publish();

    /** Fills in what depends on the type. */
    virtual void describe(DeclaredProperty& description) const = 0;

    /** Why a property with this record would not be in force; empty if it would. */
    [[nodiscard]] virtual std::string problemOf(std::string_view record) const = 0;

    /** Locks: none; it never waits. */
    [[nodiscard]] Recalled recall() const noexcept;

    /** Keeps a value that was read while the register was in a state that `fetch` has named. Locks: as `recall`. */
    void remember(std::uint64_t state, std::uint64_t bits) noexcept;

protected:
    /** Takes it out of the catalogue, after waiting for other threads that are describing it. */
    void withdraw() noexcept;

private:
    std::string const _name;
    std::atomic<std::uint64_t> _state{0}; ///< of the register, at which the value was read
    std::atomic<std::uint64_t> _bits{0};
};

struct Fetched {
    bool isFound;
    std::uint64_t state; ///< of the register, for `remember`; 0 if the value must not be remembered
    std::string problem; ///< why the value that some scope has cannot be read
};

// For the eight kinds.

/** Reads a value for a declaration. It throws nothing because of what the register contains. */
template <class Kind>
VELMORAND_SETTINGS_EXPORT Fetched fetch(std::string const& name, Kind& value);

/** Reads a value from its bytes. Result: why they are not of the kind; empty if they are. */
template <class Kind>
VELMORAND_SETTINGS_EXPORT std::string decode(std::string_view record, Kind& value);

/** Writes a value to the user scope, unless that has the same one. */
template <class Kind>
VELMORAND_SETTINGS_EXPORT void storeChanged(std::string const& name, Kind const& value, void* sender);

template <class Kind>
VELMORAND_SETTINGS_EXPORT void putOverride(std::string const& name, Kind const& value, void* sender);

template <class Kind>
VELMORAND_SETTINGS_EXPORT std::string kindName();

template <class Kind>
VELMORAND_SETTINGS_EXPORT std::string json(Kind const& value);

// What is wrong with a value. All arguments but `expected` are JSON.
VELMORAND_SETTINGS_EXPORT std::string notValid(std::string const& value, std::string const& expected);
VELMORAND_SETTINGS_EXPORT std::string notWithin(std::string const& value, std::string const& minimum,
                                                std::string const& maximum);
VELMORAND_SETTINGS_EXPORT std::string notAmong(std::string const& value,
                                               std::vector<std::string> const& choices);

/** A value as JSON; empty if it cannot be stored. */
template <class T>
std::string storedJson(T const& value) {
    try {
        return json<StoredType<T>>(Stored<T>::store(value));
    } catch (std::exception const&) {
        return {};
    }
}

/** What limits and choices apply to: the elements of a list, otherwise the value. */
template <class T, class Enable = void>
struct ElementOf {
    static constexpr bool isList = false;
    using Type = T;
};
template <class T>
struct ElementOf<
    T, std::enable_if_t<std::is_same_v<typename Stored<T>::Type,
                                       std::vector<typename Stored<typename T::value_type>::Type>>>> {
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

/** Whether the type is a whole number with other limits than its kind. */
template <class T>
inline constexpr bool isLimited = isNumeric<T>&& std::is_integral_v<T> && !std::is_same_v<T, int>;

/** A declared setting of a type. */
template <class T>
class Declared final : public Declaration {
public:
    using Kind = StoredType<T>;
    using Element = typename ElementOf<T>::Type;

    /** Whether the last value read is kept. */
    static constexpr bool isKept = std::is_trivially_copyable_v<T> && std::is_default_constructible_v<T> &&
                                   sizeof(T) <= sizeof(std::uint64_t);

    template <class Fallback>
    struct Constant {
        Fallback const& value;
    };

    /** With a fallback of an accepted type. */
    template <class Fallback, class... Details>
    Declared(std::string name, Constant<Fallback> fallback, Details&... details)
        : Declaration(std::move(name)), _fallback(declared<T>(fallback.value)) {
        (add(std::move(details)), ...);
    }

    /** With a function that computes the fallback. */
    template <class... Details>
    Declared(std::string name, std::function<T()> compute, Details&... details)
        : Declaration(std::move(name)), _compute(std::move(compute)) {
        (add(std::move(details)), ...);
    }

    Declared(Declared const&) = delete;
    Declared& operator=(Declared const&) = delete;
    ~Declared() override { withdraw(); }

    [[nodiscard]] T fallback() const { return _fallback ? *_fallback : _compute(); }

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

    void set(T const& value, void* sender) const { storeChanged<Kind>(name(), allowed(value), sender); }

    void override(T const& value, void* sender) const { putOverride<Kind>(name(), allowed(value), sender); }

    /** How a value is stored. Errors: `utils::Exception` if the declaration does not allow it. */
    [[nodiscard]] Kind allowed(T const& value) const {
        if (Fault const fault = faultOf(value); fault.element)
            refuse(textOf(fault, storedJson(*fault.element)));
        return stored(value);
    }

    /** A value of an accepted type. Errors: `utils::Exception` if this type does not have it. */
    template <class From>
    [[nodiscard]] T converted(From const& from) const {
        std::optional<T> value = ConversionOf<T, From>::convert(from);
        if (!value)
            refuse(textOfMissing(from));
        return *std::move(value);
    }

    [[nodiscard]] std::string problem() const {
        Loaded const loaded = load(true);
        return loaded.problem.empty() ? std::string() : name() + ": " + loaded.problem;
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

    [[nodiscard]] std::string problemOf(std::string_view record) const override {
        Kind kept{};
        Loaded loaded{std::nullopt, 0, decode<Kind>(record, kept)};
        if (loaded.problem.empty())
            convert(kept, true, loaded);
        return loaded.problem;
    }

private:
    struct Rule {
        std::function<bool(Element const&)> allows;
        std::string expected;
    };

    struct Loaded {
        std::optional<T> value;
        std::uint64_t state;
        std::string problem;
    };

    enum class Reason { limits, choices, rule };

    /** Why the declaration does not allow a value. */
    struct Fault {
        std::optional<Element> element{}; ///< the value, or the element of a list; none if it is allowed
        Reason reason{};
        Rule const* rule = nullptr;
    };

    /** A fallback, limit or choice. */
    template <class To, class From>
    [[nodiscard]] To declared(From const& from) const {
        static_assert(isAllowedInDeclaration<To, From>,
                      "limits and choices have the type of the setting, or of its elements");
        std::optional<To> value = ConversionOf<To, From>::convert(from);
        if (!value)
            throw utils::Exception(name() + " is declared with a value that its type does not have");
        return *std::move(value);
    }

    template <class Detail>
    void add(Detail&& /*detail*/) {
        static_assert(!std::is_same_v<Detail, Detail>,
                      "after the fallback of a property come description(...), range(...), "
                      "atLeast(...), atMost(...), choices({...}) and check(...)");
    }

    void add(Description&& description) { _description = std::move(description.text); }

    template <class Minimum, class Maximum>
    void add(Limits<Minimum, Maximum>&& limits) {
        static_assert(hasOrder<Element>, "a type with limits needs an operator<");
        if (limits.minimum)
            _minimum = declared<Element>(*limits.minimum);
        if (limits.maximum)
            _maximum = declared<Element>(*limits.maximum);
        if (_minimum && _maximum && !isOrdered(*_minimum, *_maximum))
            throw utils::Exception(name() + " is declared with a minimum that is greater than its maximum");
    }

    template <class Choice>
    void add(Choices<Choice>&& choices) {
        static_assert(hasEquality<Element>, "a type with choices needs an operator==");
        for (Choice const& choice : choices.values)
            _choices.push_back(declared<Element>(choice));
    }

    template <class Allows>
    void add(Check<Allows>&& check) {
        static_assert(std::is_invocable_r_v<bool, Allows&, Element const&>,
                      "a check takes a value of the setting, or one of its elements, and returns whether it "
                      "is allowed");
        _rules.push_back(
            {asFunction<bool(Element const&)>(std::move(check.allows)), std::move(check.expected)});
    }

    [[noreturn]] void refuse(std::string const& text) const {
        throw utils::Exception(name() + " is not set: " + text);
    }

    [[nodiscard]] Kind stored(T const& value) const {
        try {
            return Stored<T>::store(value);
        } catch (utils::Exception const& thrown) {
            refuse(thrown.what());
        }
    }

    /** Apart from `get`, which is short, and needs few registers, as long as this is not inlined into it. */
    [[nodiscard, gnu::noinline]] T read() {
        Loaded loaded = load(false);
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

    /** Says what is wrong only if it is to explain. */
    [[nodiscard]] Loaded load(bool explains) const {
        Kind kept{};
        Fetched fetched = fetch<Kind>(name(), kept);
        Loaded loaded{std::nullopt, fetched.state, std::move(fetched.problem)};
        if (fetched.isFound)
            convert(kept, explains, loaded);
        return loaded;
    }

    /** Loads a value that is kept, if it is valid and allowed. */
    void convert(Kind const& kept, bool explains, Loaded& loaded) const {
        try {
            loaded.value = Stored<T>::load(kept);
        } catch (std::exception const&) {
            loaded.value.reset();
        }
        Fault const fault = loaded.value ? faultOf(*loaded.value) : Fault();
        if (loaded.value && !fault.element)
            return;
        if (explains && !loaded.value)
            loaded.problem = textOfInvalid(kept);
        else if (explains)
            loaded.problem =
                textOf(fault, ElementOf<T>::isList ? storedJson(*fault.element) : json<Kind>(kept));
        loaded.value.reset();
    }

    [[nodiscard]] std::string textOfInvalid(Kind const& kept) const {
        if constexpr (hasExpected<T>)
            return notValid(json<Kind>(kept), Stored<T>::expected());
        else if constexpr (hasNames<Element>)
            return notAmong(json<Kind>(kept), choicesJson());
        else if constexpr (hasExpected<Element>)
            return notValid(json<Kind>(kept), Stored<Element>::expected());
        else
            return notWithin(json<Kind>(kept), minimumJson(), maximumJson());
    }

    /** For a value of another type that this one does not have. */
    template <class From>
    [[nodiscard]] std::string textOfMissing(From const& from) const {
        if constexpr (isNumeric<From> && isLimited<T>)
            return notWithin(std::to_string(from), storedJson(std::numeric_limits<T>::lowest()),
                             storedJson(std::numeric_limits<T>::max()));
        else if constexpr (isNumeric<From>)
            return notValid(std::to_string(from), "a number that the type has");
        else
            return "the type does not have the value";
    }

    [[nodiscard]] std::string textOf(Fault const& fault, std::string const& value) const {
        switch (fault.reason) {
        case Reason::limits:
            return notWithin(value, minimumJson(), maximumJson());
        case Reason::choices:
            return notAmong(value, choicesJson());
        case Reason::rule:
            break;
        }
        return notValid(value, fault.rule->expected);
    }

    [[nodiscard]] Fault faultOf(T const& value) const {
        if constexpr (ElementOf<T>::isList) {
            for (auto const& element : value)
                if (Fault fault = faultOfElement(element); fault.element)
                    return fault;
            return {};
        } else {
            return faultOfElement(value);
        }
    }

    [[nodiscard]] Fault faultOfElement(Element const& value) const {
        if constexpr (hasOrder<Element>)
            if ((_minimum && !isOrdered(*_minimum, value)) || (_maximum && !isOrdered(value, *_maximum)))
                return {value, Reason::limits, nullptr};
        if constexpr (hasEquality<Element>)
            if (!_choices.empty() && !isChoice(value))
                return {value, Reason::choices, nullptr};
        for (Rule const& rule : _rules)
            if (!rule.allows(value))
                return {value, Reason::rule, &rule};
        return {};
    }

    [[nodiscard]] bool isChoice(Element const& value) const {
        for (Element const& choice : _choices)
            if (choice == value)
                return true;
        return false;
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
    std::function<T()> const _compute; ///< if there is no `_fallback`
    std::string _description;
    std::optional<Element> _minimum;
    std::optional<Element> _maximum;
    std::vector<Element> _choices;
    std::vector<Rule> _rules;
};

} // namespace velmorand::detail
