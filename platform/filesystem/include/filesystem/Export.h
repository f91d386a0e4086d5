// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "filesystem/QtCore.h"

/** Exports a symbol from the shared library, which hides all others. */
#define VELMORAND_FILESYSTEM_EXPORT __attribute__((visibility("default")))
