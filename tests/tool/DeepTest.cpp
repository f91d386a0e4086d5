// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include <sys/resource.h>
#include <sys/wait.h>

#include <utils/properties/Register.h>

#include "Tool.h"

using namespace tool;
using utils::properties::_Register;
using utils::properties::SCOPE_USER;

namespace {

/** The tool with deeply nested settings. The tests would take minutes if a command took time quadratic in the depth. */
class Deep : public Tool {
protected:
    static constexpr std::size_t levels = 100'000;

    Deep() { _Register::initialize("", user); }

    /** The prefix of the names in a group of `depth` levels. */
    static std::string group(std::size_t depth, std::string const& level = "d") {
        std::string name;
        while (depth-- > 0)
            name += level + '/';
        return name;
    }

    static void set(std::string const& name) {
        _Register::getInstance()->_writeInteger(nullptr, name, 1, SCOPE_USER);
    }

    static void save() { _Register::getInstance()->save(); }

    /** The peak memory, in bytes, of a run on the user directory. Its output is discarded. */
    long memoryOf(Arguments arguments) {
        std::filesystem::remove(outPath());
        std::filesystem::create_symlink("/dev/null", outPath());
        arguments.insert(arguments.begin(), {"--user", user});
        int status = 0;
        struct rusage usage = {};
        EXPECT_LT(0, ::wait4(start(arguments), &status, 0, &usage));
        EXPECT_EQ(0, status);
        std::filesystem::remove(outPath());
        return usage.ru_maxrss * 1024;
    }

    std::string const name = group(levels) + "x";
};

} // namespace

TEST_F(Deep, SettingsAreCheckedAndShown) {
    set(name);
    save();
    EXPECT_EQ(userFile + ": sound, 1 property\n", answer({"check"}));
    EXPECT_EQ("integer   user   " + name + "\n", answer({"list", "-r"}));
    EXPECT_EQ("{\n  \"" + name +
                  R"(": {"type": "integer", "value": 1})"
                  "\n}\n",
              answer({"export"}));
}

TEST_F(Deep, SettingsAreCompared) {
    std::string const innermost = group(4 * levels); // comparing paths of this length is fast
    set(innermost + "x");
    save();
    std::filesystem::copy_file(userFile, globalFile);
    EXPECT_EQ("", answer({"diff", user, global}));
    set(innermost + "y");
    save();
    EXPECT_EQ("+ " + innermost + "y: integer 1\n", run({"diff", global, user}).out);
}

TEST_F(Deep, SettingsAreImportedAndDeleted) {
    answer({"import", "-"}, "{\"" + name + R"(": {"type": "integer", "value": 1}})");
    set(name);
    std::string const imported = bytesOf(userFile);
    save();
    EXPECT_TRUE(imported == bytesOf(userFile));
    answer({"delete", "d"});
    EXPECT_EQ("", answer({"list", "-r"}));
}

TEST_F(Deep, SettingsOnEachLevelDoNotKeepAllNamesInMemory) {
    constexpr std::size_t depth = 1'000; // the names take 64 MB
    constexpr long room = 30'000'000;
    for (std::size_t level = 0; level < depth; ++level)
        set(group(level, std::string(128, 'd')) + "x");
    save();
    long const least = memoryOf({"get", "x"});
    EXPECT_GT(least + room, memoryOf({"check"}));
    EXPECT_GT(least + room, memoryOf({"list", "-r"}));
    EXPECT_GT(least + room, memoryOf({"export"}));
    EXPECT_GT(least + room, memoryOf({"diff", user, user}));
}
