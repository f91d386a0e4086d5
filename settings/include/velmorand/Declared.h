// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
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

// The implementation of `Property`. Programs do not use it directly.
namespace velmorand::detail {

/** A cached value, and whether it is still in force. */
struct Recalled {
    std::uint64_t bits; ///< in memory order; the first bytes are those of the value
    bool isCurrent;
};

/**
 * A declared setting of any type.
 *
 * Its data and behaviour are hidden in the library, so that they can be corrected without recompiling programs. Only
 * code that depends on the type is compiled into programs. The order of the virtual functions is part of the binary
 * interface.
 */
class VELMORAND_SETTINGS_EXPORT Declaration {
public:
    Declaration(Declaration const&) = delete;
    Declaration& operator=(Declaration const&) = delete;
    virtual ~Declaration();

    [[nodiscard]] std::string const& name() const noexcept;

    /** Fills in the kind, the problem and the details. */
    virtual void describe(DeclaredProperty& description) const = 0;

    /** Why a stored value with this record is not used; empty if it is valid and allowed. */
    [[nodiscard]] virtual std::string problemOf(std::string_view record) const = 0;

    /** The value that the last read cached. Locks: none; never waits. */
    [[nodiscard]] Recalled recall() const noexcept;

protected:
    enum class Fallback { constant, computed };

    /** `keptSize`: the size of a value in bytes, at most 8, if values can be cached bytewise; otherwise 0. */
    Declaration(std::string name, Fallback fallback, std::size_t keptSize);

    /** Throws `utils::Exception`: the value was not set. */
    [[noreturn]] void refuse(std::string const& why) const;

    // Throw `utils::Exception`: the declaration is invalid, because its type cannot represent the fallback, a limit or a
    // choice, or because its minimum is greater than its maximum.
    [[noreturn]] void refuseUnrepresentable() const;
    [[noreturn]] void refuseLimits() const;

private:
    template <class Kind>
    friend class KindDeclaration;

    struct State;

    std::unique_ptr<State> const _state;
};

/**
 * Registers a complete declaration, so that the catalogue lists it until the last copy of the result is destroyed.
 * Destroying that copy waits for other threads that are using the declaration, and then destroys the declaration.
 * Errors: `std::bad_alloc`, with the declaration destroyed.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::shared_ptr<Declaration>
registered(std::unique_ptr<Declaration> declaration);

/** A declared setting that is stored as one of the eight kinds. */
template <class Kind>
class VELMORAND_SETTINGS_EXPORT KindDeclaration : public Declaration {
public:
    ~KindDeclaration() override;

    /**
     * Stores the value in force in `value`, a `std::optional<T>`: calls `load` and, if that returns null,
     * `loadFallback`.
     */
    void readInto(void* value);

    /** As `Property::problem`. */
    [[nodiscard]] std::string problem() const;

    /** Writes an allowed value to the user scope, unless the user scope already has it. */
    void store(Kind const& value, void* sender) const;

    /** Puts an allowed value in force in this process. */
    void override(Kind const& value, void* sender) const;

    void describe(DeclaredProperty& description) const final;
    [[nodiscard]] std::string problemOf(std::string_view record) const final;

protected:
    KindDeclaration(std::string name, Fallback fallback, std::size_t keptSize);

private:
    // The part that depends on the type. `value` points to a `std::optional<T>`; the result points to the `T` in it.

    /** Returns null for a stored value that is not valid for the type or not allowed. */
    virtual void const* load(Kind const& stored, void* value) const = 0;
    virtual void const* loadFallback(void* value) const = 0;

    /** Why a stored value is not in force; empty if it is. */
    [[nodiscard]] virtual std::string objectionTo(Kind const& stored) const = 0;

    /** Fills in the format, the fallback and the details of the declaration. */
    virtual void describeDetails(DeclaredProperty& description) const = 0;
};

// Instantiated in the library.
extern template class KindDeclaration<std::string>;
extern template class KindDeclaration<double>;
extern template class KindDeclaration<int>;
extern template class KindDeclaration<bool>;
extern template class KindDeclaration<std::vector<std::string>>;
extern template class KindDeclaration<std::vector<double>>;
extern template class KindDeclaration<std::vector<int>>;
extern template class KindDeclaration<std::vector<bool>>;

/** A value of one of the eight kinds as JSON. */
template <class Kind>
VELMORAND_SETTINGS_EXPORT std::string json(Kind const& value);

// Messages that describe what is wrong with a value. All arguments except `expected` are JSON.
VELMORAND_SETTINGS_EXPORT std::string notValid(std::string const& value, std::string const& expected);
VELMORAND_SETTINGS_EXPORT std::string notWithin(std::string const& value, std::string const& minimum,
                                                std::string const& maximum);
VELMORAND_SETTINGS_EXPORT std::string notAmong(std::string const& value,
                                               std::vector<std::string> const& choices);

// The same for a value that the type cannot represent: a number, as JSON, or a value of another type.
VELMORAND_SETTINGS_EXPORT std::string notRepresentable(std::string const& number);
VELMORAND_SETTINGS_EXPORT std::string notRepresentable();

/** The message about an element of a list. `number` counts from 1; 0 if the value is not a list. */
VELMORAND_SETTINGS_EXPORT std::string inElement(std::size_t number, std::string const& message);

/** A value as JSON; empty if it cannot be stored. */
template <class T>
std::string storedJson(T const& value) {
    try {
        return json<StoredType<T>>(Stored<T>::store(value));
    } catch (std::exception const&) {
        return {};
    }
}

/** The type that limits, choices and checks apply to: the element type of a list, otherwise the type itself. */
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

/** Whether a type describes its valid values, for messages. */
template <class T, class Enable = void>
inline constexpr bool hasExpected = false;
template <class T>
inline constexpr bool hasExpected<T, std::void_t<decltype(Stored<T>::expected())>> = true;

template <class T, class Enable = void>
inline constexpr bool hasFormat = false;
template <class T>
inline constexpr bool hasFormat<T, std::void_t<decltype(Stored<T>::format)>> = true;

template <class T, class Enable = void>
inline constexpr bool hasResolution = false;
template <class T>
inline constexpr bool hasResolution<T, std::void_t<decltype(Stored<T>::resolution())>> = true;

template <class T, class Enable = void>
inline constexpr bool hasNames = false;
template <class T>
inline constexpr bool hasNames<T, std::void_t<decltype(Stored<T>::names())>> = true;

/** Whether the type is an integral type other than `int`: its limits differ from those of its kind. */
template <class T>
inline constexpr bool isLimited = isNumeric<T>&& std::is_integral_v<T> && !std::is_same_v<T, int>;

/** A fallback that is a value. */
template <class Fallback>
struct Constant {
    Fallback const& value;
};

/** A check that the program has defined, see `check`. */
template <class Element>
struct Rule {
    std::function<bool(Element const&)> allows;
    std::string expected;
};

/** The part of a declaration that does not allow a value. */
enum class Reason { limits, choices, rule };

/** Why a declaration does not allow a value. */
template <class Element>
struct Fault {
    std::optional<Element> element{}; ///< the value or the list's element; empty if the value is allowed
    Reason reason{};
    Rule<Element> const* rule = nullptr;
    std::size_t number = 0; ///< of the element in a list, from 1; 0 if the value is not a list
};

/** A declared setting of type `T`. */
template <class T>
class Declared final : public KindDeclaration<StoredType<T>> {
public:
    using Kind = StoredType<T>;
    using Element = typename ElementOf<T>::Type;

    /** Whether values can be cached bytewise. */
    static constexpr bool isKept = std::is_trivially_copyable_v<T> && std::is_default_constructible_v<T> &&
                                   sizeof(T) <= sizeof(std::uint64_t);

    /** With a fallback of an accepted type. */
    template <class Fallback, class... Details>
    Declared(std::string name, Constant<Fallback> fallback, Details&... details)
        : Base(std::move(name), Base::Fallback::constant, keptSize), _fallback(declared<T>(fallback.value)) {
        (add(std::move(details)), ...);
    }

    /** With a function that computes the fallback. */
    template <class... Details>
    Declared(std::string name, std::function<T()> compute, Details&... details)
        : Base(std::move(name), Base::Fallback::computed, keptSize), _compute(std::move(compute)) {
        (add(std::move(details)), ...);
    }

    Declared(Declared const&) = delete;
    Declared& operator=(Declared const&) = delete;
    ~Declared() override = default;

    [[nodiscard]] T fallback() const { return _fallback ? *_fallback : _compute(); }

    [[nodiscard]] T get() {
        if constexpr (isKept) {
            if (Recalled const recalled = this->recall(); recalled.isCurrent) {
                T value;
                std::memcpy(static_cast<void*>(&value), &recalled.bits, sizeof(T));
                return value;
            }
        }
        return readInForce();
    }

    /** The stored form of a value. Errors: `utils::Exception` if the declaration does not allow the value. */
    [[nodiscard]] Kind allowed(T const& value) const {
        if (Fault<Element> const fault = faultOf(value); fault.element)
            this->refuse(textOf(fault, storedJson(*fault.element)));
        return stored(value);
    }

    /** Converts a value of an accepted type. Errors: `utils::Exception` if `T` cannot represent it. */
    template <class From>
    [[nodiscard]] T converted(From const& from) const {
        std::optional<T> value = ConversionOf<T, From>::convert(from);
        if (!value)
            this->refuse(textOfMissing(from));
        return *std::move(value);
    }

private:
    using Base = KindDeclaration<Kind>;
    static constexpr std::size_t keptSize = isKept ? sizeof(T) : 0;

    /** A fallback, limit or choice. */
    template <class To, class From>
    [[nodiscard]] To declared(From const& from) const {
        static_assert(isAllowedInDeclaration<To, From>,
                      "limits and choices have the type of the setting, or of its elements");
        std::optional<To> value = ConversionOf<To, From>::convert(from);
        if (!value)
            this->refuseUnrepresentable();
        return *std::move(value);
    }

    template <class Detail>
    void add(Detail&& /*detail*/) {
        static_assert(!std::is_same_v<Detail, Detail>,
                      "the arguments after the fallback of a property are description(...), range(...), "
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
            this->refuseLimits();
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

    [[nodiscard]] Kind stored(T const& value) const {
        try {
            return Stored<T>::store(value);
        } catch (utils::Exception const& thrown) {
            this->refuse(thrown.what());
        }
    }

    /** Not inlined, so that `get` stays short and uses few registers. */
    [[nodiscard, gnu::noinline]] T readInForce() {
        std::optional<T> value;
        this->readInto(&value);
        return *std::move(value);
    }

    void const* load(Kind const& stored, void* value) const override {
        auto& loaded = *static_cast<std::optional<T>*>(value);
        loaded = valueOf(stored);
        return loaded && !faultOf(*loaded).element ? std::addressof(*loaded) : nullptr;
    }

    void const* loadFallback(void* value) const override {
        auto& loaded = *static_cast<std::optional<T>*>(value);
        loaded = fallback();
        return std::addressof(*loaded);
    }

    [[nodiscard]] std::string objectionTo(Kind const& stored) const override {
        std::optional<T> const value = valueOf(stored);
        if (!value)
            return textOfInvalid(stored);
        Fault<Element> const fault = faultOf(*value);
        if (!fault.element)
            return {};
        return textOf(fault, ElementOf<T>::isList ? storedJson(*fault.element) : json<Kind>(stored));
    }

    void describeDetails(DeclaredProperty& description) const override {
        if constexpr (hasFormat<Element>)
            description.format = Stored<Element>::format;
        if constexpr (hasResolution<Element>)
            if (std::string const resolution = Stored<Element>::resolution(); !resolution.empty())
                description.resolution = json<std::string>(resolution);
        if (_fallback)
            description.fallback = storedJson(*_fallback);
        description.minimum = minimumJson();
        description.maximum = maximumJson();
        description.choices = choicesJson();
        description.description = _description;
    }

    /** Returns nothing if the stored value is not valid for the type. */
    static std::optional<T> valueOf(Kind const& stored) {
        try {
            return Stored<T>::load(stored);
        } catch (std::exception const&) {
            return std::nullopt;
        }
    }

    [[nodiscard]] std::string textOfInvalid(Kind const& stored) const {
        if constexpr (ElementOf<T>::isList) {
            std::size_t number = 0;
            for (StoredType<Element> const& element : stored) {
                ++number;
                if (!isValidElement(element))
                    return inElement(number, textOfInvalidElement(json<StoredType<Element>>(element)));
            }
        }
        if constexpr (hasExpected<T>)
            return notValid(json<Kind>(stored), Stored<T>::expected());
        else
            return textOfInvalidElement(json<Kind>(stored));
    }

    static bool isValidElement(StoredType<Element> const& stored) {
        try {
            return Stored<Element>::load(stored).has_value();
        } catch (std::exception const&) {
            return false;
        }
    }

    [[nodiscard]] std::string textOfInvalidElement(std::string const& value) const {
        if constexpr (hasNames<Element>)
            return notAmong(value, choicesJson());
        else if constexpr (hasExpected<Element>)
            return notValid(value, Stored<Element>::expected());
        else
            return notWithin(value, minimumJson(), maximumJson());
    }

    /** For a value of another type that `T` cannot represent. */
    template <class From>
    [[nodiscard]] std::string textOfMissing(From const& from) const {
        if constexpr (isNumeric<From> && isLimited<T>)
            return notWithin(std::to_string(from), storedJson(std::numeric_limits<T>::lowest()),
                             storedJson(std::numeric_limits<T>::max()));
        else if constexpr (isNumeric<From>)
            return notRepresentable(std::to_string(from));
        else
            return notRepresentable();
    }

    [[nodiscard]] std::string textOf(Fault<Element> const& fault, std::string const& value) const {
        switch (fault.reason) {
        case Reason::limits:
            return inElement(fault.number, notWithin(value, minimumJson(), maximumJson()));
        case Reason::choices:
            return inElement(fault.number, notAmong(value, choicesJson()));
        case Reason::rule:
            break;
        }
        return inElement(fault.number, notValid(value, fault.rule->expected));
    }

    [[nodiscard]] Fault<Element> faultOf(T const& value) const {
        if constexpr (ElementOf<T>::isList) {
            std::size_t number = 0;
            for (auto const& element : value) {
                ++number;
                if (Fault<Element> fault = faultOfElement(element); fault.element) {
                    fault.number = number;
                    return fault;
                }
            }
            return {};
        } else {
            return faultOfElement(value);
        }
    }

    [[nodiscard]] Fault<Element> faultOfElement(Element const& value) const {
        if constexpr (hasOrder<Element>)
            if ((_minimum && !isOrdered(*_minimum, value)) || (_maximum && !isOrdered(value, *_maximum)))
                return {value, Reason::limits, nullptr};
        if constexpr (hasEquality<Element>)
            if (!_choices.empty() && !isChoice(value))
                return {value, Reason::choices, nullptr};
        for (Rule<Element> const& rule : _rules)
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

    /** Whether `smaller` is at most `greater`; false if one of them is NaN. */
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
    std::function<T()> const _compute; ///< used if `_fallback` is empty
    std::string _description;
    std::optional<Element> _minimum;
    std::optional<Element> _maximum;
    std::vector<Element> _choices;
    std::vector<Rule<Element>> _rules;
};

} // namespace velmorand::detail
