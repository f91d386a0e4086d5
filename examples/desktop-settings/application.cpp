// SPDX-License-Identifier: Apache-2.0
//
// usage: desktop-settings-application GLOBAL-DIRECTORY USER-DIRECTORY
//
// Reads the administrator's settings, prefers some of its own, and listens to changes. It leaves without a
// word about saving: the register saves when the process exits.

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include <utils/properties/Register.h>

#include "Overrides.h"
#include "Settings.h"
#include "Table.h"

using namespace desktop;
using utils::properties::_Register;

namespace {

constexpr char const* clockFormat = "org/gnome/desktop/interface/clock-format";
constexpr char const* interfaceGroup = "org/gnome/desktop/interface";

/** Keeps what it hears. It stands in the register for as long as it lives. */
class Listener : public _Register::Callback {
public:
    Listener(std::string const& key, void* owner) : _owner(owner) {
        _Register::getInstance()->addCallback(key, this);
    }
    Listener(Listener const&) = delete;
    Listener& operator=(Listener const&) = delete;
    ~Listener() override { _Register::getInstance()->removeCallback(this); }

    void propertyChanged(std::string const& name) override { _heard.push_back(name); }
    void* owner() override { return _owner; }

    [[nodiscard]] bool heard(std::string const& name) const {
        return std::find(_heard.begin(), _heard.end(), name) != _heard.end();
    }
    [[nodiscard]] std::vector<std::string> const& everythingHeard() const { return _heard; }

private:
    void* _owner;
    std::vector<std::string> _heard;
};

/** A party that makes changes: its address says who it is. */
struct Party {
    std::string name;
};

/** A change, and who made it. */
struct Change {
    Party* by;
    std::string name;
    Value value;
    utils::properties::RegisterScope scope;
};

void showSettings(std::string const& heading) {
    std::cout << heading << "\n\n";
    Table table = settingsTable();
    for (std::string const& name : shownSettings())
        addSetting(table, name);
    if (scopeOf(sessionProperty) != "nowhere")
        addSetting(table, sessionProperty);
    table.print(std::cout);
    std::cout << '\n';
}

std::vector<Change> changes(Party& application, Party& panel) {
    std::vector<Change> made;
    for (auto const& [name, value] : overrides())
        made.push_back(
            {name == clockFormat ? &panel : &application, name, value, utils::properties::SCOPE_USER});
    made.push_back({&application, sessionProperty, true, utils::properties::SCOPE_TEMPORARY});
    return made;
}

void useSettings() {
    Party application{"application"};
    Party panel{"panel"};
    Listener const onClock(clockFormat, &application);
    Listener const onOwnGroup(interfaceGroup, &application);
    Listener const onPanelGroup(interfaceGroup, &panel);

    Table table({"changed", "by", "application: clock", "application: group", "panel: group"});
    for (Change const& change : changes(application, panel)) {
        write(change.by, change.name, change.value, change.scope);
        auto const told = [&change](Listener const& listener) {
            return std::string(listener.heard(change.name) ? "told" : "-");
        };
        table.add({change.name, change.by->name, told(onClock), told(onOwnGroup), told(onPanelGroup)});
    }
    std::cout << "Changes, and the listeners that were told: on the clock's format, and on the group "
              << interfaceGroup << ".\nNobody is told of their own changes.\n\n";
    table.print(std::cout);
    std::cout << '\n';

    std::vector<std::string> const byPanel = {clockFormat};
    std::vector<std::string> const byApplication = {"org/gnome/desktop/interface/clock-show-seconds",
                                                    "org/gnome/desktop/interface/cursor-size",
                                                    "org/gnome/desktop/interface/text-scaling-factor"};
    require(onClock.everythingHeard() == byPanel,
            "the clock listener was not told of the panel's change, once");
    require(onOwnGroup.everythingHeard() == byPanel,
            "the application's group listener was told of something else");
    require(onPanelGroup.everythingHeard() == byApplication,
            "the panel's group listener was told of something else");
}

void verify() {
    for (auto const& [name, value] : overrides())
        require(read(name) == value && scopeOf(name) == "user", name + " is not overridden");
    require(scopeOf(sessionProperty) == "temporary",
            std::string(sessionProperty) + " is not in the temporary scope");
}

void apply(std::string const& globalDirectory, std::string const& userDirectory) {
    _Register::initialize(globalDirectory, userDirectory);
    require(countProperties("", utils::properties::SCOPE_USER) == 0, "the user scope is not empty at first");
    showSettings("Application: the settings as the administrator left them.");
    useSettings();
    verify();
    showSettings("Application: the settings as they are when it leaves, without saving.");
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("application", [&] {
        require(argc == 3, "usage: desktop-settings-application GLOBAL-DIRECTORY USER-DIRECTORY");
        apply(argv[1], argv[2]);
    });
}
