// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <filesystem>
#include <vector>

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <velmorand/Property.h>
#include <velmorand/QtTypes.h>

/** All settings of the editor: their names, types, fallbacks and allowed values. */
namespace editor {

Q_NAMESPACE

/** Users also type these names after `--theme`. */
enum class Theme { System, Light, Dark };
VELMORAND_ENUM(Theme, {Theme::System, "system"}, {Theme::Light, "light"}, {Theme::Dark, "dark"})

enum class Wrap { Off, Window, Column };
Q_ENUM_NS(Wrap)

enum class StartWith { EmptyFile, LastSession };
Q_ENUM_NS(StartWith)

/** The names are older than the enum: users' files contain them. */
enum class LineEnd { Lf, CrLf };
VELMORAND_ENUM(LineEnd, {LineEnd::Lf, "unix"}, {LineEnd::CrLf, "dos"}, {LineEnd::CrLf, "windows"})

/** Whether a text is a colour such as #ff8000. */
bool isColour(QString const& text);

/** The directory for backup copies, unless the user chooses one. */
std::filesystem::path backupDirectory();

namespace settings {

using namespace std::chrono_literals;
using velmorand::atLeast;
using velmorand::atMost;
using velmorand::check;
using velmorand::choices;
using velmorand::description;
using velmorand::Property;
using velmorand::range;
using Days = std::chrono::duration<int, std::ratio<86'400>>;

inline Property<QByteArray> const geometry{"window/geometry"};
inline Property<QByteArray> const toolBars{"window/tool bars"};
inline Property<bool> const isFullScreen{"window/full screen", false};
inline Property<Qt::ToolButtonStyle> const buttons{"window/buttons", Qt::ToolButtonIconOnly,
                                                   description("What tool buttons show")};
inline Property<StartWith> const startWith{"window/start with", StartWith::LastSession};

inline Property<QString> const font{"view/font", "Monospace"};
inline Property<double> const fontSize{"view/font size", 11.0, range(6.0, 72.0),
                                       description("Font size, in points")};
inline Property<Theme> const theme{"view/theme", Theme::System, description("Colours of the window")};
inline Property<QString> const lineColour{"view/line colour", "#fff8dc",
                                          check(isColour, "a colour such as #ff8000"),
                                          description("Background of the line with the cursor")};
inline Property<bool> const hasLineNumbers{"view/line numbers", true};
inline Property<Wrap> const wrap{"view/wrap", Wrap::Window, description("Where long lines are wrapped")};
inline Property<int> const wrapColumn{"view/wrap column", 80, range(20, 500)};
inline Property<std::vector<int>> const rulers{
    "view/rulers", {80}, range(1, 500), description("Columns with a vertical line")};
inline Property<std::chrono::milliseconds> const blink{
    "view/blink", 500ms, range(0ms, 5000ms), description("Time between two blinks; 0ms: no blinking")};
inline Property<float> const opacity{"view/opacity", 1.0F, range(0.2F, 1.0F)};

inline Property<int> const tabWidth{"edit/tab width", 8, range(1, 16), description("Tab width, in columns")};
inline Property<bool> const insertsSpaces{"edit/insert spaces", false,
                                          description("Insert spaces instead of tabs")};
inline Property<bool> const indents{"edit/indent", true};
inline Property<unsigned> const undoSteps{"edit/undo steps", 1000U, atMost(1'000'000)};
inline Property<QStringList> const languages{"edit/languages",
                                             {"en"},
                                             choices({"de", "en", "fr", "pl"}),
                                             description("Languages to check spelling in")};

inline Property<QStringList> const recent{"files/recent"};
inline Property<quint8> const recentCount{"files/recent count", 10, atMost(50)};
inline Property<QString> const encoding{"files/encoding", "UTF-8",
                                        choices({"UTF-8", "UTF-16", "ISO-8859-1"})};
inline Property<LineEnd> const lineEnd{"files/line end", LineEnd::Lf};
inline Property<std::chrono::seconds> const autosave{"files/autosave", 30s, atLeast(1s),
                                                     description("Time between automatic saves")};
inline Property<qint64> const large{"files/large", 100'000'000, atLeast(0),
                                    description("Size from which the editor asks before opening, in bytes")};
inline Property<bool> const hasBackup{"files/backup", true};
inline Property<std::filesystem::path> const backups{"files/backup directory", backupDirectory};

inline Property<QStringList> const searched{"search/history"};
inline Property<Qt::CaseSensitivity> const searchCase{"search/case", Qt::CaseInsensitive};

inline Property<QUrl> const updates{"updates/server", QUrl("https://example.org/editor/")};
inline Property<Days> const updateInterval{"updates/interval", Days(7), atLeast(Days(1))};
inline Property<QDateTime> const lastUpdate{"updates/last"};

} // namespace settings

} // namespace editor
