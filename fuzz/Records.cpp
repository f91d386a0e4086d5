// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>

#include "Kinds.h"
#include "Registers.h"
#include "support/Failure.h"

// Reads any bytes as a property, with the readers of all kinds. The process's register, which reads directly from
// memory, and a derived one, which reads field by field, must give the same results, in accordance with the record
// format. The input is the property's content.

using namespace fuzz;

namespace {

constexpr char const* name = "group/property";

/** The value of a variable, initially `before`, after a read, or the failure of the read. */
template <class Kind>
std::string reading(_Register& settings, typename Kind::Value const& before) {
    typename Kind::Value value = before;
    std::string const failure = support::failure([&] { Kind::read(settings, name, value); });
    check(failure == "nothing" || Kind::record(value) == Kind::record(before),
          "a failed read does not change the variable");
    return failure == "nothing" ? Kind::record(value) : failure;
}

template <class Kind>
std::string expectedReading(std::string const& content) {
    typename Kind::Value value{};
    return Kind::decode(content, value) ? Kind::record(value) : "PropertyBadType";
}

struct Types {
    int type;
    int elements;

    bool operator==(Types const& other) const { return type == other.type && elements == other.elements; }
};

constexpr auto untouched = static_cast<utils::properties::Type>(12345);

Types typesOf(_Register const& settings) {
    utils::properties::Type elements = untouched;
    auto const type = settings.readPropertyType(name, &elements);
    check(settings.readPropertyType(name, nullptr) == type, "the type is read without the elements' type");
    return {type, elements};
}

Types expectedTypes(std::string const& content) {
    auto const tag = [&](std::size_t i) {
        return i < content.size() ? static_cast<int>(static_cast<signed char>(content[i])) : 0;
    };
    return {tag(0), tag(0) == 'L' ? tag(1) : untouched};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const content = modestRecord({reinterpret_cast<char const*>(data), size});
    _Register& settings = emptied();
    Derived derived;
    for (_Register* const each : {&settings, static_cast<_Register*>(&derived)}) {
        each->addGroup("group", SCOPE_USER);
        store(*each, name, SCOPE_USER, content);
    }

    check(typesOf(settings) == expectedTypes(content), "the type is the record's first byte");
    check(typesOf(derived) == expectedTypes(content), "the type is the record's first byte");

    // Only one of the failing readers runs, because the handles they leave open remain until the process ends.
    unsigned failing = 0;
    for (char const byte : content)
        failing = (31 * failing + static_cast<unsigned char>(byte)) % kinds::count;
    for (unsigned number = 0; number < kinds::count; ++number)
        kinds::visit(number, [&](auto kind) {
            using Kind = decltype(kind);
            std::string const expected = expectedReading<Kind>(content);
            if (expected == "PropertyBadType" && number != failing)
                return;
            typename Kind::Value before{};
            Kind::decode(Kind::tags() + std::string("\3\0\0\0abcdefghijklmnopqrstuvwxyz", 30), before);
            check(reading<Kind>(settings, before) == expected,
                  "reading directly returns the value of the record");
            check(reading<Kind>(derived, before) == expected,
                  "reading field by field returns the value of the record");
        });
    for (_Register* const each : {&settings, static_cast<_Register*>(&derived)})
        check(readFile(*each, text("/user/group/property")) == content, "reading changes nothing");
    return 0;
}
