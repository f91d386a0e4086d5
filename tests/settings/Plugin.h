// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <velmorand/Listener.h>

/** The interface of a plug-in. */
extern "C" {

/** The number of changes that the plug-in's listeners were notified of. */
using PluginHeard = int();

/** Creates another listener that counts. The caller passes it to the `pluginRelease` of any plug-in, or deletes it. */
using PluginMake = velmorand::Listener*();
using PluginRelease = void(velmorand::Listener*);
}
