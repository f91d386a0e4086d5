// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

class QString;

namespace filesystem {

/** Loads the shared object at `path`, which must contain a "/". Result: null on failure. */
[[nodiscard]] void* loadModuleFile(std::string const& path);

/** Loads the shared object with the content `bytes`, which are not kept. Result: null on failure. */
[[nodiscard]] void* loadModuleBytes(std::string_view bytes);

/** Unloads a module. False on failure and for null. */
bool unloadModule(void* module);

/** The address of a symbol; null if the module does not have it, and for a null module. */
[[nodiscard]] void* symbolAddress(void* module, QString const& symbol);

} // namespace filesystem
