// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <random>

#include "Tool.h"

using namespace tool;

namespace {

using Integers = std::map<std::string, int>;

/** Random settings in the user's and the global file. Many names share a prefix, and some are in both files. */
class TwoTrees : public Tool {
protected:
    TwoTrees() {
        for (Integers* const settings : {&ofUser, &ofGlobal})
            for (int i = 0; i < 200; ++i)
                settings->emplace(randomName(), static_cast<int>(below(2)));
        answer({"import", "-"}, json(ofUser));
        answer({"--global", global, "--scope", "global", "import", "-"}, json(ofGlobal));
    }

    Integers ofUser;
    Integers ofGlobal;

private:
    unsigned below(unsigned limit) { return static_cast<unsigned>(_random() % limit); }

    std::string randomName() {
        std::string name;
        for (unsigned levels = below(4); levels > 0; --levels)
            name += std::string("g") + "!-0a"[below(4)] + (below(2) == 0 ? "!/" : "/");
        return name + "p" + "!-0a"[below(4)];
    }

    static std::string json(Integers const& settings) {
        std::string text;
        for (auto const& [name, value] : settings)
            text += (text.empty() ? "{\"" : ",\"") + name + R"(": {"type": "integer", "value": )" +
                    std::to_string(value) + '}';
        return text + '}';
    }

    std::mt19937 _random{1};
};

} // namespace

TEST_F(TwoTrees, AreComparedNameByName) {
    std::map<std::string, std::string> lines;
    for (auto const& [name, value] : ofUser)
        if (auto const other = ofGlobal.find(name); other == ofGlobal.end() || other->second != value)
            lines[name] = "- " + name + ": integer " + std::to_string(value) + '\n';
    for (auto const& [name, value] : ofGlobal)
        if (auto const other = ofUser.find(name); other == ofUser.end() || other->second != value)
            lines[name] += "+ " + name + ": integer " + std::to_string(value) + '\n';
    std::string expected;
    for (auto const& [name, line] : lines)
        expected += line;
    EXPECT_EQ(expected, run({"diff", user, global}).out);
}

TEST_F(TwoTrees, AreListedAsOne) {
    Integers all = ofUser;
    all.insert(ofGlobal.begin(), ofGlobal.end());
    std::string expected;
    for (auto const& [name, value] : all)
        expected += std::string("integer   ") + (ofUser.count(name) > 0 ? "user   " : "global ") + name +
                    ": " + std::to_string(value) + '\n';
    EXPECT_EQ(expected, answer({"--global", global, "list", "-r", "-l"}));
}
