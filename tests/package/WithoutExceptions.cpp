// SPDX-License-Identifier: Apache-2.0
//
// Uses those parts of the headers for types of settings that work in a program that is compiled without exceptions.
#include <chrono>
#include <string>

#include <QString>
#include <QUrl>

#include <velmorand/Duration.h>
#include <velmorand/Enum.h>
#include <velmorand/QtTypes.h>

enum class Colour { red };
VELMORAND_ENUM(Colour, {Colour::red, "red"})

std::string use(Colour colour, QString const& text, std::chrono::seconds duration);
std::string use(Colour colour, QString const& text, std::chrono::seconds duration) {
    return velmorand::Stored<Colour>::store(colour) + velmorand::Stored<QString>::store(text) +
           velmorand::Stored<std::chrono::seconds>::store(duration) + velmorand::Stored<QUrl>::expected();
}
