// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <velmorand/Property.h>

enum class Unnamed {};

// Must not compile: properties cannot be of type TYPE.
velmorand::Property<TYPE> property{"a/b"};
