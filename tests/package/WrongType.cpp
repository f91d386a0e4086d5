// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <velmorand/Property.h>

enum class Unnamed {};

// Must not compile: TYPE is not the type of a property.
velmorand::Property<TYPE> property{"a/b"};
