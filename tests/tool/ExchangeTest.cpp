// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>

#include <utils/properties/Register.h>
#include <velmorand/Property.h>
#include <velmorand/Save.h>

#include "Tool.h"

using namespace tool;
using namespace velmorand;
using utils::properties::_Register;

namespace {

/** An application's settings, exported and imported. */
class Exchange : public Tool {
protected:
    Exchange() { _Register::initialize("", user); }

    static _Register& settings() { return *_Register::getInstance(); }

    /** Stores any bytes as a property. */
    static void put(std::string const& name, std::string const& bytes) {
        settings().addProperty(name, SCOPE_USER);
        filesystem::FileHandle* const handle =
            settings().openProperty(name, filesystem::FileSystem::MODE_WRITE, SCOPE_USER);
        settings().write(handle, bytes.data(), static_cast<long>(bytes.size()));
        settings().closeProperty(*handle);
    }

    /** Saves and exports the settings, and expects that importing them gives the same file and the same export. */
    std::string exported() {
        EXPECT_TRUE(saveSettings().saved);
        std::string json = answer({"export"});
        std::filesystem::remove(globalFile);
        Outcome const import = runBare({"--user", global, "import", "-"}, json);
        EXPECT_EQ(0, import.status) << import.err;
        EXPECT_TRUE(bytesOf(userFile) == bytesOf(globalFile)) << json;
        EXPECT_EQ(json, runBare({"--user", global, "export"}).out);
        return json;
    }

    /** The line for the property "x" in an export. */
    std::string lineOf(std::function<void()> const& make) {
        settings().delProperty("", SCOPE_USER);
        make();
        std::string const json = exported();
        std::string const before = "{\n  \"x\": ";
        EXPECT_EQ(0U, json.find(before));
        return json.substr(before.size(), json.size() - before.size() - 3);
    }

    template <class T>
    std::string lineOfValue(T const& value) {
        return lineOf([&] { write("x", value); });
    }
};

double fromBits(std::uint64_t bits) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

} // namespace

TEST_F(Exchange, OfNothingIsAnEmptyObject) {
    EXPECT_EQ("{}\n", exported());
}

TEST_F(Exchange, IsSortedByFullName) {
    write("a/b/x", 42);
    write("a!", true);
    write("a/l", std::vector<std::string>{"p", "q"});
    settings().addGroup("a/g", SCOPE_USER);
    EXPECT_EQ("{\n"
              "  \"a!\": {\"type\": \"boolean\", \"value\": true},\n"
              "  \"a/b/x\": {\"type\": \"integer\", \"value\": 42},\n"
              "  \"a/g\": {\"type\": \"group\"},\n"
              "  \"a/l\": {\"type\": \"strings\", \"value\": [\"p\", \"q\"]}\n"
              "}\n",
              exported());
}

TEST_F(Exchange, OfAGroupHasFullNames) {
    write("a/b/x", 42);
    write("c", true);
    ASSERT_TRUE(saveSettings().saved);
    EXPECT_EQ("{\n  \"a/b/x\": {\"type\": \"integer\", \"value\": 42}\n}\n", answer({"export", "a"}));
}

TEST_F(Exchange, OfEachKind) {
    EXPECT_EQ(R"({"type": "string", "value": "a\"b\n\u0000é"})", lineOfValue(std::string("a\"b\n\0é", 7)));
    EXPECT_EQ(R"({"type": "number", "value": 0.1})", lineOfValue(0.1));
    EXPECT_EQ(R"({"type": "number", "value": -0.0})", lineOfValue(-0.0));
    EXPECT_EQ(R"({"type": "number", "value": 5e-324})", lineOfValue(5e-324));
    EXPECT_EQ(R"({"type": "integer", "value": -2147483648})", lineOfValue(std::numeric_limits<int>::min()));
    EXPECT_EQ(R"({"type": "boolean", "value": false})", lineOfValue(false));
    EXPECT_EQ(R"({"type": "strings", "value": []})", lineOfValue(std::vector<std::string>()));
    EXPECT_EQ(R"({"type": "numbers", "value": [1.0, 1e+300]})", lineOfValue(std::vector<double>{1, 1e300}));
    EXPECT_EQ(R"({"type": "integers", "value": [1, -2]})", lineOfValue(std::vector<int>{1, -2}));
    EXPECT_EQ(R"({"type": "booleans", "value": [true, false]})", lineOfValue(std::vector<bool>{true, false}));
}

TEST_F(Exchange, OfNumbersThatJsonLacks) {
    double const infinity = std::numeric_limits<double>::infinity();
    double const nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(R"({"type": "number", "value": "nan"})", lineOfValue(nan));
    EXPECT_EQ(R"({"type": "numbers", "value": ["inf", "-inf", "nan"]})",
              lineOfValue(std::vector<double>{infinity, -infinity, nan}));
}

TEST_F(Exchange, OfTextThatIsNotUtf8) {
    EXPECT_EQ(R"({"type": "string", "base64": "/2E="})", lineOfValue(std::string("\xFF"
                                                                                 "a")));
    EXPECT_EQ(R"({"type": "strings", "base64": ["cA==", "/w==", ""]})",
              lineOfValue(std::vector<std::string>{"p", "\xFF", ""}));
}

TEST_F(Exchange, OfBytesAfterTheValue) {
    EXPECT_EQ(R"({"type": "number", "value": "nan", "record": "TgAAAAAAAPj/"})",
              lineOfValue(fromBits(0xFFF8000000000000U)));
    EXPECT_EQ(R"({"type": "boolean", "value": true, "record": "QgI="})", lineOf([] { put("x", "B\x02"); }));
    EXPECT_EQ(R"({"type": "integer", "value": 1, "record": "SQEAAAB4"})",
              lineOf([] { put("x", std::string("I\x01\0\0\0x", 6)); }));
    EXPECT_EQ(R"({"type": "string", "value": "a", "record": "UwkAAABh"})",
              lineOf([] { put("x", std::string("S\x09\0\0\0a", 6)); }));
}

TEST_F(Exchange, OfBytesThatAreNotAValue) {
    EXPECT_EQ(R"({"type": "bytes", "base64": ""})", lineOf([] { settings().addProperty("x", SCOPE_USER); }));
    EXPECT_EQ(R"({"type": "bytes", "base64": "eHl6"})", lineOf([] { put("x", "xyz"); }));
    EXPECT_EQ(R"({"type": "bytes", "base64": "TA=="})", lineOf([] { put("x", "L"); }));
}

TEST_F(Exchange, OfAListThatClaimsToBeLongerThanMemory) {
    EXPECT_EQ(R"({"type": "bytes", "base64": "TEn///9/"})", lineOf([] { put("x", "LI\xFF\xFF\xFF\x7F"); }));
}

TEST_F(Exchange, OfAnyTextAsName) {
    for (std::string const& name :
         {std::string(" "), std::string("a\nb\\\""), std::string("\0", 1), std::string("\xEF\xBB\xBF"),
          std::string("é/\xF0\x9F\x98\x80"), std::string(10'000, 'n'), std::string("...")}) {
        settings().delProperty("", SCOPE_USER);
        write(name, 1);
        exported();
    }
}

TEST_F(Exchange, OfADeepTree) {
    std::string name = "d";
    for (int level = 0; level < 2'000; ++level)
        name += "/d";
    write(name, 1);
    exported();
}

TEST_F(Exchange, OfRandomTrees) {
    std::mt19937 random(1);
    auto const below = [&random](unsigned limit) { return random() % limit; };
    auto const bytes = [&] {
        std::string text(below(12), '\0');
        for (char& byte : text)
            byte = below(4) == 0 ? static_cast<char>(below(256)) : "SNIBL\0\1\2"[below(8)];
        return text;
    };
    for (int tree = 0; tree < 20; ++tree) {
        settings().delProperty("", SCOPE_USER);
        for (int i = 0; i < 50; ++i) {
            std::string name;
            for (unsigned level = 0; level <= below(3); ++level)
                name += "/" + std::string(1, static_cast<char>('a' + below(6)));
            if (settings().propertyExists(name, SCOPE_USER))
                continue;
            if (below(8) == 0)
                settings().addGroup(name, SCOPE_USER);
            settings().addProperty(name, SCOPE_USER);
            if (settings().propertyExists(name, SCOPE_USER) && !settings().groupExists(name, SCOPE_USER))
                put(name, bytes());
        }
        exported();
        if (HasFailure())
            return;
    }
}
