// SPDX-License-Identifier: Apache-2.0
//
// usage: plugin-host FIRST SECOND STEP...
//
// A program with two plug-ins. The steps are "load1", "unload2" and so on, "make1" (plug-in 1 creates a listener) and
// "release2" (plug-in 2 destroys it). After each step, every listener must be notified of a change exactly once. The
// program exits without unloading the plug-ins that are still loaded. The exit status is 0 on success.

#include <array>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <string>

#include <dlfcn.h>

#include <velmorand/Listener.h>
#include <velmorand/Property.h>

#include "Plugin.h"

namespace {

[[noreturn]] void fail(std::string const& what) {
    std::cerr << "plugin-host: " << what << '\n';
    std::_Exit(EXIT_FAILURE);
}

class Plugin {
public:
    explicit Plugin(char const* path) : _path(path) {}

    [[nodiscard]] bool isLoaded() const { return _module != nullptr; }

    void load() {
        _module = ::dlopen(_path, RTLD_NOW | RTLD_LOCAL);
        if (_module == nullptr)
            fail(::dlerror());
    }

    void unload() {
        if (::dlclose(std::exchange(_module, nullptr)) != 0)
            fail(::dlerror());
        if (::dlopen(_path, RTLD_NOW | RTLD_NOLOAD) != nullptr)
            fail(std::string(_path) + " is still loaded");
    }

    template <class Function>
    Function* function(char const* name) const {
        void* const address = ::dlsym(_module, name);
        if (address == nullptr)
            fail(::dlerror());
        return reinterpret_cast<Function*>(address);
    }

    [[nodiscard]] int heard() const { return isLoaded() ? function<PluginHeard>("pluginHeard")() : 0; }

private:
    char const* _path;
    void* _module = nullptr;
};

struct Host {
    explicit Host(char** paths) : plugins{Plugin(paths[0]), Plugin(paths[1])} {}

    void run(std::string const& step) {
        Plugin& plugin = plugins.at(step.back() == '1' ? 0 : 1);
        std::string const action = step.substr(0, step.size() - 1);
        if (action == "load") {
            plugin.load();
        } else if (action == "unload") {
            plugin.unload();
        } else if (action == "make") {
            made = plugin.function<PluginMake>("pluginMake")();
            maker = &plugin;
        } else if (action == "release") {
            plugin.function<PluginRelease>("pluginRelease")(std::exchange(made, nullptr));
        } else {
            fail("no such step: " + step);
        }
        expectAllHear(step);
    }

    /** Expects that the host's old and new listeners and all listeners of the plug-ins are notified. */
    void expectAllHear(std::string const& step) {
        velmorand::write(step + std::to_string(value), value); // a new name, for listeners to everything
        int newHeard = 0;
        velmorand::Listener const fresh{"shared", [&newHeard](std::string const&) { ++newHeard; }};
        int const oldBefore = oldHeard;
        std::array<int, 2> const before{plugins[0].heard(), plugins[1].heard()};
        velmorand::write("shared/value", ++value);
        if (newHeard != 1 || oldHeard != oldBefore + 1)
            fail(step + ": the host's listeners were notified of " + std::to_string(newHeard) + " and " +
                 std::to_string(oldHeard - oldBefore) + " changes");
        for (std::size_t i = 0; i < plugins.size(); ++i) {
            int const expected = (plugins[i].isLoaded() ? 1 : 0) + (made && maker == &plugins[i] ? 1 : 0);
            if (plugins[i].heard() != before[i] + expected)
                fail(step + ": plug-in " + std::to_string(i + 1) + " was notified of " +
                     std::to_string(plugins[i].heard() - before[i]) + " changes");
        }
    }

    std::array<Plugin, 2> plugins;
    velmorand::Listener* made = nullptr;
    Plugin* maker = nullptr;
    int value = 0;
    int oldHeard = 0;
    velmorand::Listener old{"shared", [this](std::string const&) { ++oldHeard; }};
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 3)
        fail("usage: plugin-host FIRST SECOND STEP...");
    Host host(argv + 1);
    for (int i = 3; i < argc; ++i)
        host.run(argv[i]);
    return EXIT_SUCCESS;
}
