// SPDX-License-Identifier: Apache-2.0
#include "Declared.h"

#include <filesystem>

namespace tool {

std::string catalogueOf(std::string const& settings) {
    return "{\n\"program\": \"editor\",\n\"settings\": {\n" + settings + "\n}\n}\n";
}

Declared::Declared() {
    std::filesystem::create_directories(installed);
    declare(R"(
"editor/autosave": {"type": "string", "format": "duration", "fallback": "30s", "minimum": "1s",
                    "description": "Time between two automatic saves"},
"editor/count": {"type": "number", "format": "whole", "fallback": 0, "minimum": 0, "maximum": 4294967295},
"editor/history": {"type": "string"},
"editor/id": {"type": "string", "format": "whole", "fallback": "0",
              "minimum": "-9223372036854775808", "maximum": "9223372036854775807"},
"editor/margins": {"type": "integers", "fallback": [1, 2], "minimum": 0, "maximum": 9},
"editor/size": {"type": "number", "fallback": 11, "minimum": 6, "maximum": 72,
                "description": "Font size, in points"},
"editor/theme": {"type": "string", "fallback": "light", "choices": ["light", "dark"]},
"editor/view/wrap": {"type": "boolean", "fallback": true},
"viewer/zoom": {"type": "integer", "fallback": 100})");
}

void Declared::declare(std::string const& settings) const {
    putBytes(installed + "/editor.json", catalogueOf(settings));
}

} // namespace tool
