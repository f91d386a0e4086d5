// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "filesystem/QtCore.h"

/** Marks what the shared library exports; everything else in it is hidden. */
#define VELMORAND_FILESYSTEM_EXPORT __attribute__((visibility("default")))
