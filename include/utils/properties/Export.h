// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "utils/properties/QtCore.h"

/** Marks what the shared library exports; everything else in it is hidden. */
#define VELMORAND_REGISTER_EXPORT __attribute__((visibility("default")))
