// SPDX-License-Identifier: Apache-2.0
//
// Declaring settings, including settings of custom types.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>

#include <velmorand/Catalogue.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

//! [enum]
enum class Theme { light, dark };
VELMORAND_ENUM(Theme, {Theme::light, "light"}, {Theme::dark, "dark"})
//! [enum]

//! [own type]
struct Colour {
    unsigned rgb;
};

template <>
struct velmorand::Stored<Colour> {
    using Type = std::string;
    static std::string store(Colour const& colour) {
        char text[8];
        static_cast<void>(std::snprintf(text, sizeof text, "#%06x", colour.rgb & 0xFFFFFFU));
        return text;
    }
    static std::optional<Colour> load(std::string const& text) {
        bool const isColour = text.size() == 7 && text[0] == '#' &&
                              text.find_first_not_of("0123456789abcdef", 1) == std::string::npos;
        return isColour
                   ? std::optional(Colour{static_cast<unsigned>(std::stoul(text.substr(1), nullptr, 16))})
                   : std::nullopt;
    }
    static std::string expected() { return "a colour such as #ff8000"; }
};
//! [own type]

//! [declare]
namespace settings {

using namespace velmorand;

inline Property<Theme> const theme{"editor/theme", Theme::light, description("Colours of the window")};
inline Property<double> const size{"editor/size", 11.0, range(6.0, 72.0),
                                   description("Font size, in points")};
inline Property<std::chrono::milliseconds> const blink{"editor/blink", std::chrono::milliseconds(500)};
inline Property<Colour> const paper{"editor/paper", Colour{0xFFFFFF}};

} // namespace settings
//! [declare]

int main() {
    velmorand::LiveSettings live{{"user", "global"}};

    //! [use]
    settings::theme.set(Theme::dark);
    settings::blink.set(std::chrono::seconds(1));
    settings::paper.set(Colour{0xFF8000});
    std::cout << settings::size.get() << '\n'; // the fallback, until a value is set
    //! [use]

    //! [wrong value]
    velmorand::write("editor/size", 500.0); // as if a user had edited the file
    if (std::string const problem = settings::size.problem(); !problem.empty())
        std::cout << problem << '\n';
    settings::size.reset();
    //! [wrong value]

    //! [catalogue]
    for (velmorand::DeclaredProperty const& setting : velmorand::declaredProperties())
        std::cout << setting.name << ": " << setting.kind << ", by default " << setting.fallback << '\n';
    //! [catalogue]
}
