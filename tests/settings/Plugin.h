// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <velmorand/Listener.h>

/** What a plug-in offers to its host, under these names. */
extern "C" {

/** How many changes its static listener has heard. */
using PluginHeard = int();

/** Makes a listener that counts as well; it is given back to the `pluginRelease` of any plug-in, or deleted. */
using PluginMake = velmorand::Listener*();
using PluginRelease = void(velmorand::Listener*);
}
