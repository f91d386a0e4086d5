// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmorand/QtCore.h"

/** Marks what the shared library exports; everything else in it is hidden. */
#define VELMORAND_SETTINGS_EXPORT __attribute__((visibility("default")))
