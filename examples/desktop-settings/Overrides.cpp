// SPDX-License-Identifier: Apache-2.0
#include "Overrides.h"

namespace desktop {

std::map<std::string, Value> const& overrides() {
    static std::map<std::string, Value> const values = {
        {"org/gnome/desktop/input-sources/xkb-options",
         std::vector<std::string>{"compose:ralt", "caps:escape"}},
        {"org/gnome/desktop/interface/clock-format", std::string("12h")},
        {"org/gnome/desktop/interface/clock-show-seconds", true},
        {"org/gnome/desktop/interface/cursor-size", 48},
        {"org/gnome/desktop/interface/text-scaling-factor", 1.25},
        {"org/gnome/desktop/peripherals/tablet/area", std::vector<double>{0.1, 0.1, 0.9, 0.9}},
        {"org/gnome/desktop/peripherals/tablet/stylus/pressure-curve", std::vector<int>{0, 25, 75, 100}},
    };
    return values;
}

std::vector<std::string> const& shownSettings() {
    static std::vector<std::string> const names = {
        "org/gnome/desktop/input-sources/xkb-options",
        "org/gnome/desktop/interface/clock-format",
        "org/gnome/desktop/interface/clock-show-seconds",
        "org/gnome/desktop/interface/cursor-size",
        "org/gnome/desktop/interface/font-name",
        "org/gnome/desktop/interface/text-scaling-factor",
        "org/gnome/desktop/peripherals/tablet/area",
        "org/gnome/desktop/peripherals/tablet/stylus/pressure-curve",
        "org/gnome/desktop/session/idle-delay",
        "org/gnome/desktop/wm/keybindings/switch-windows",
    };
    return names;
}

} // namespace desktop
