// SPDX-License-Identifier: Apache-2.0
//
// usage: exchange write|check DIRECTORY
//
// Writes a register file with records of every kind, or checks that a register file has exactly these records. The exit
// status is 0 on success.
#include <climits>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <utils/properties/Register.h>

namespace {

using utils::properties::_Register;
using utils::properties::SCOPE_USER;

std::vector<double> numbers() {
    using Limits = std::numeric_limits<double>;
    std::vector<double> values{
        0.0, -0.0, 1.0, -1.5, 0.1, Limits::max(), Limits::min(), Limits::denorm_min(), -Limits::infinity()};
    // A quiet and a signalling NaN with payloads. Copied as bits, because a floating-point register may change them.
    for (std::uint64_t const bits : {0x7FF8DEAD0000BEEFU, 0xFFF0000000000001U})
        std::memcpy(&values.emplace_back(), &bits, sizeof bits);
    return values;
}

/** Calls `visit` with the name and the value of each property. */
template <class Visit>
void visitEach(Visit visit) {
    visit("string", std::string("plain"));
    visit("empty string", std::string());
    visit("bytes", std::string("\0\xFF\x80\n", 4));
    // Lengths of one, two and four bytes.
    visit("long/200", std::string(200, 'a'));
    visit("long/40000", std::string(40'000, 'b'));
    visit("long/70000", std::string(70'000, 'c'));
    visit("Größe/中文/😀", std::string("ž☃"));
    for (int number : {0, 1, -1, 127, 128, 255, 256, 0x01020304, INT_MIN, INT_MAX})
        visit("integers/" + std::to_string(number), number);
    std::vector<double> const doubles = numbers();
    for (std::size_t i = 0; i < doubles.size(); ++i)
        visit("numbers/" + std::to_string(i), doubles[i]);
    visit("booleans/true", true);
    visit("booleans/false", false);
    visit("lists/strings", std::vector<std::string>{"one", "", std::string("\0", 1)});
    visit("lists/numbers", doubles);
    visit("lists/integers", std::vector<int>{1, -1, INT_MIN, INT_MAX});
    std::vector<bool> booleans(33, true);
    booleans[31] = false;
    visit("lists/booleans", booleans);
    visit("lists/empty strings", std::vector<std::string>());
    visit("lists/empty numbers", std::vector<double>());
    visit("lists/empty integers", std::vector<int>());
    visit("lists/empty booleans", std::vector<bool>());
    for (int i = 0; i < 300; ++i)
        visit("many/" + std::to_string(i), i);
}

/** Writes properties to the register. */
struct Write {
    _Register& settings;

    void operator()(std::string const& name, std::string const& value) const {
        settings._writeString(nullptr, name, value, SCOPE_USER);
    }
    void operator()(std::string const& name, double const& value) const {
        settings._writeNumber(nullptr, name, value, SCOPE_USER);
    }
    void operator()(std::string const& name, int const& value) const {
        settings._writeInteger(nullptr, name, value, SCOPE_USER);
    }
    void operator()(std::string const& name, bool const& value) const {
        settings._writeBoolean(nullptr, name, value, SCOPE_USER);
    }
    void operator()(std::string const& name, std::vector<std::string> const& value) const {
        settings._writeStrings(nullptr, name, value, SCOPE_USER);
    }
    void operator()(std::string const& name, std::vector<double> const& value) const {
        settings._writeNumbers(nullptr, name, value, SCOPE_USER);
    }
    void operator()(std::string const& name, std::vector<int> const& value) const {
        settings._writeIntegers(nullptr, name, value, SCOPE_USER);
    }
    void operator()(std::string const& name, std::vector<bool> const& value) const {
        settings._writeBooleans(nullptr, name, value, SCOPE_USER);
    }
};

/** Reads properties from the register and notes whether each has its value. */
class Check {
public:
    Check(_Register& settings, bool& isSame) : _settings(settings), _isSame(isSame) {}

    void operator()(std::string const& name, std::string const& value) {
        check(name, value, &_Register::_readString);
    }
    void operator()(std::string const& name, double const& value) {
        check(name, value, &_Register::_readNumber);
    }
    void operator()(std::string const& name, int const& value) {
        check(name, value, &_Register::_readInteger);
    }
    void operator()(std::string const& name, bool const& value) {
        check(name, value, &_Register::_readBoolean);
    }
    void operator()(std::string const& name, std::vector<std::string> const& value) {
        check(name, value, &_Register::_readStrings);
    }
    void operator()(std::string const& name, std::vector<double> const& value) {
        check(name, value, &_Register::_readNumbers);
    }
    void operator()(std::string const& name, std::vector<int> const& value) {
        check(name, value, &_Register::_readIntegers);
    }
    void operator()(std::string const& name, std::vector<bool> const& value) {
        check(name, value, &_Register::_readBooleans);
    }

private:
    template <class Value>
    static bool isSame(Value const& left, Value const& right) {
        return left == right;
    }
    static bool isSame(double const& left, double const& right) {
        return std::memcmp(&left, &right, sizeof left) == 0;
    }
    static bool isSame(std::vector<double> const& left, std::vector<double> const& right) {
        return left.size() == right.size() &&
               (left.empty() || std::memcmp(left.data(), right.data(), left.size() * sizeof left[0]) == 0);
    }

    template <class Value>
    void check(std::string const& name, Value const& value,
               void (_Register::*read)(std::string const&, Value&)) {
        Value found{};
        (_settings.*read)(name, found);
        if (isSame(found, value))
            return;
        std::cerr << "exchange: another value: " << name << '\n';
        _isSame = false;
    }

    _Register& _settings;
    bool& _isSame;
};

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    std::string const directory = arguments[2];
    _Register::initialize("", directory);
    _Register& settings = *_Register::getInstance();
    if (std::string_view(arguments[1]) == "write") {
        visitEach(Write{settings});
        settings.addGroup("empty group", SCOPE_USER);
        settings.addProperty("never written", SCOPE_USER);
        settings.save();
        return 0;
    }
    bool isSame = settings.groupExists("empty group") && settings.propertyExists("never written");
    visitEach(Check(settings, isSame));
    return isSame ? 0 : 1;
}
