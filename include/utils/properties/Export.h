// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "utils/properties/QtCore.h"

/** Exports a symbol from the shared library, which hides all others. */
#define VELMORAND_REGISTER_EXPORT __attribute__((visibility("default")))
