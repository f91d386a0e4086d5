// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

class QString;

namespace filesystem {

/** Loads the shared object in the file at `path`, which has a "/" in it. Result: null on failure. */
[[nodiscard]] void* loadModuleFile(std::string const& path);

/** Loads the shared object whose content is `bytes`; they are not kept. Result: null on failure. */
[[nodiscard]] void* loadModuleBytes(std::string_view bytes);

/** Gives back what one of the above returned. False on failure and for null. */
bool unloadModule(void* module);

/** The address of a symbol of a module; null when the module has no such symbol, and for a null module. */
[[nodiscard]] void* symbolAddress(void* module, QString const& symbol);

} // namespace filesystem
