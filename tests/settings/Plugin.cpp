// SPDX-License-Identifier: Apache-2.0
//
// A plug-in with listeners that exist while it is loaded.

#include "Plugin.h"

#include <string>

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

int heard = 0;

void count(std::string const& /*name*/) {
    ++heard;
}

velmorand::Listener const listener{"shared", count};
velmorand::QueuedListener const queued{"shared"};
velmorand::QueuedListener const all{velmorand::everything};

} // namespace

PLUGIN_EXPORT PluginHeard pluginHeard;
PLUGIN_EXPORT PluginMake pluginMake;
PLUGIN_EXPORT PluginRelease pluginRelease;

int pluginHeard() {
    return heard;
}

velmorand::Listener* pluginMake() {
    return new velmorand::Listener{velmorand::everything, count};
}

void pluginRelease(velmorand::Listener* made) {
    delete made;
}
