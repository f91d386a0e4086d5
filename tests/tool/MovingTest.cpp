// SPDX-License-Identifier: Apache-2.0
//
// import --from: importing settings from other stores.

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <QDateTime>
#include <QPoint>
#include <QRect>
#include <QSettings>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QUuid>
#include <sys/stat.h>

#include "Tool.h"

namespace tool {

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class Moving : public Tool {
protected:
    /** The output of an import, which must succeed. */
    std::string moved(std::string const& store, std::string const& file, Arguments more = {}) {
        more.insert(more.begin(), {"import", "--from", store, file});
        return answer(more);
    }

    /** All settings, with kinds and values. */
    std::string all() { return answer({"list", "-r", "-l"}); }

    [[nodiscard]] std::string file(std::string const& content) const {
        putBytes(at("old"), content);
        return at("old");
    }

    [[nodiscard]] Arguments map(std::string const& content) const {
        putBytes(at("map"), content);
        return {"--map", at("map")};
    }
};

/** Settings as QSettings writes them. */
class FromIni : public Moving {
protected:
    template <class Write>
    [[nodiscard]] std::string ini(Write write) const {
        QSettings settings(QString::fromStdString(at("old")), QSettings::IniFormat);
        write(settings);
        settings.sync();
        EXPECT_EQ(QSettings::NoError, settings.status());
        return at("old");
    }
};

TEST_F(FromIni, TextStaysText) {
    moved("ini", ini([](QSettings& settings) {
              settings.setValue("title", QString::fromUtf8(" J\u00fcrgen \u2192 \"a, b\"; \\x\n\t"));
              settings.setValue("width", 800);
              settings.setValue("open", true);
          }));
    EXPECT_EQ("string    user   open: \"true\"\n"
              "string    user   title: \" J\u00fcrgen \u2192 \\\"a, b\\\"; \\\\x\\n\\t\"\n"
              "string    user   width: \"800\"\n",
              all());
}

TEST_F(FromIni, ListsAreLists) {
    moved("ini", ini([](QSettings& settings) {
              settings.setValue("files", QStringList{"a, b", "", "c\"d"});
              settings.setValue("one", QStringList{"x"});
          }),
          map("one -> one as strings"));
    EXPECT_EQ("strings   user   files: [\"a, b\", \"\", \"c\\\"d\"]\n"
              "strings   user   one: [\"x\"]\n",
              all());
}

TEST_F(FromIni, GeometryIsAListOfNumbers) {
    moved("ini", ini([](QSettings& settings) {
              settings.setValue("at", QPoint(-1, 2));
              settings.setValue("rect", QRect(1, 2, 30, 40));
              settings.setValue("size", QSize(800, 600));
              settings.setValue("ratio", QSizeF(0.5, 2));
          }));
    EXPECT_EQ("integers  user   at: [-1, 2]\n"
              "numbers   user   ratio: [0.5, 2.0]\n"
              "integers  user   rect: [1, 2, 30, 40]\n"
              "integers  user   size: [800, 600]\n",
              all());
}

TEST_F(FromIni, ABooleanMayBeADigitAndInAnyCase) {
    moved("ini", file("a=1\nb=0\nc=TRUE\nd=False\nlist=1, false, True\n"),
          map("/ -> x/ as boolean\nlist -> list as booleans"));
    EXPECT_EQ("booleans  user   list: [true, false, true]\n"
              "boolean   user   x/a: true\n"
              "boolean   user   x/b: false\n"
              "boolean   user   x/c: true\n"
              "boolean   user   x/d: false\n",
              all());
}

TEST_F(FromIni, OtherTextIsNotABoolean) {
    Outcome const outcome = run({"import", "--from", "ini", file("a=no\nb=On\nc=\nd=2\ne=01\n"), "--map",
                                 map("/ -> x/ as boolean")[1]});
    EXPECT_EQ("refused   a -> x/a: \"no\" is not a boolean (use true or false)\n"
              "refused   b -> x/b: \"On\" is not a boolean (use true or false)\n"
              "refused   c -> x/c: \"\" is not a boolean (use true or false)\n"
              "refused   d -> x/d: \"2\" is not a boolean (use true or false)\n"
              "refused   e -> x/e: \"01\" is not a boolean (use true or false)\n"
              "5 refused\n",
              outcome.out);
}

TEST_F(FromIni, TypedValuesAreStoredAsTheLibraryStoresThem) {
    moved("ini", ini([](QSettings& settings) {
              settings.setValue("bytes", QByteArray("\x01z", 2));
              settings.setValue("long", QVariantList{Q_INT64_C(99999999999), Q_INT64_C(1)});
              settings.setValue("map", QVariantMap{{"inner", 1}, {"other", QVariantMap{{"x", 1.5}}}});
          }));
    EXPECT_EQ("string    user   bytes: \"\\u0001z\"\n"
              "strings   user   long: [\"99999999999\", \"1\"]\n"
              "integer   user   map/inner: 1\n"
              "number    user   map/other/x: 1.5\n",
              all());
}

TEST_F(FromIni, NumbersOfAllSizesAreNumbers) {
    moved("ini", ini([](QSettings& settings) {
              settings.setValue("char", QVariant::fromValue('\x05'));
              settings.setValue("float", QVariantList{QVariant::fromValue(0.5F)});
              settings.setValue("long", QVariant::fromValue(-3L));
              settings.setValue("short", QVariant::fromValue(short{-2}));
              settings.setValue("signed char", QVariant::fromValue(static_cast<signed char>(-1)));
              settings.setValue("unsigned char", QVariant::fromValue(static_cast<unsigned char>(255)));
              settings.setValue("unsigned long", QVariant::fromValue(4UL));
              settings.setValue("unsigned short", QVariant::fromValue(static_cast<unsigned short>(65535)));
              settings.setValue("unsigned", QVariantList{4'000'000'000U});
              settings.setValue("whole", QVariantList{Q_UINT64_C(18446744073709551615)});
          }));
    EXPECT_EQ("integer   user   char: 5\n"
              "numbers   user   float: [0.5]\n"
              "string    user   long: \"-3\"\n"
              "integer   user   short: -2\n"
              "integer   user   signed char: -1\n"
              "numbers   user   unsigned: [4000000000.0]\n"
              "integer   user   unsigned char: 255\n"
              "string    user   unsigned long: \"4\"\n"
              "integer   user   unsigned short: 65535\n"
              "strings   user   whole: [\"18446744073709551615\"]\n",
              all());
}

TEST_F(FromIni, AddressesDatesAndIdentifiersAreText) {
    moved("ini", ini([](QSettings& settings) {
              settings.setValue("address", QUrl("https://example.org/a b"));
              settings.setValue("char", QChar('x'));
              settings.setValue("date", QDate(2026, 11, 22));
              settings.setValue("id", QUuid("{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"));
              settings.setValue("moment", QDateTime(QDate(2026, 11, 22), QTime(9, 30), Qt::UTC));
              settings.setValue("time", QTime(9, 30));
          }));
    EXPECT_EQ("string    user   address: \"https://example.org/a%20b\"\n"
              "string    user   char: \"x\"\n"
              "string    user   date: \"2026-11-22\"\n"
              "string    user   id: \"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}\"\n"
              "string    user   moment: \"2026-11-22T09:30:00.000Z\"\n"
              "string    user   time: \"09:30:00.000\"\n",
              all());
}

TEST_F(FromIni, FractionalGeometryIsAListOfNumbers) {
    moved("ini", ini([](QSettings& settings) {
              settings.setValue("at", QPointF(-0.5, 2));
              settings.setValue("rect", QRectF(0.5, 1.5, 30, 40));
          }));
    EXPECT_EQ("numbers   user   at: [-0.5, 2.0]\n"
              "numbers   user   rect: [0.5, 1.5, 30.0, 40.0]\n",
              all());
}

TEST_F(FromIni, AHashIsAGroup) {
    moved("ini", ini([](QSettings& settings) { settings.setValue("hash", QVariantHash{{"inner", 1}}); }));
    EXPECT_EQ("integer   user   hash/inner: 1\n", all());
}

TEST_F(FromIni, GroupsAndArraysAreGroups) {
    moved("ini", ini([](QSettings& settings) {
              settings.setValue("main window/tool bars/a", "1");
              settings.setValue("General/b", "2");
              settings.setValue("a%b", "3");
              settings.beginWriteArray("sites");
              settings.setArrayIndex(0);
              settings.setValue("url", "x");
              settings.endArray();
          }));
    EXPECT_EQ("string    user   General/b: \"2\"\n"
              "string    user   a%25b: \"3\"\n"
              "string    user   main window/tool bars/a: \"1\"\n"
              "string    user   sites/1/url: \"x\"\n"
              "string    user   sites/size: \"1\"\n",
              all());
}

TEST_F(FromIni, AValueOfAnUnknownTypeIsRefusedAndTheRestIsImported) {
    // A QFont, as a GUI application writes it.
    Outcome const outcome =
        run({"import", "--from", "ini",
             file("[General]\n"
                  "font=@Variant(\\0\\0\\0@\\0\\0\\0\\x12\\0M\\0o\\0n\\0o@$\\0\\0\\0\\0\\0\\0\\xff"
                  "\\xff\\xff\\xff\\x5\\x1\\0\\x32\\x10)\n"
                  "gone=@Invalid()\n"
                  "kept=1\n")});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.err);
    EXPECT_THAT(outcome.out, StartsWith("refused   font: "));
    EXPECT_THAT(outcome.out, HasSubstr("\nrefused   gone: no value"));
    EXPECT_THAT(outcome.out, EndsWith("\nset       kept: string \"1\"\n1 set, 2 refused\n"));
    EXPECT_EQ("string    user   kept: \"1\"\n", all());
}

#ifdef KCONFIG_WRITER

class FromKConfig : public Moving {
protected:
    FromKConfig() {
        std::string const command = "'" KCONFIG_WRITER "' '" + at("old") + "'";
        EXPECT_EQ(0, std::system(command.c_str()));
    }
};

TEST_F(FromKConfig, TextAndNestedGroupsKeepEveryCharacter) {
    moved("kconfig", at("old"));
    EXPECT_EQ("string    user   Main Window/Maximized: \"true\"\n"
              "string    user   Main Window/Opacity: \"0.5\"\n"
              "string    user   Main Window/Title: \" J\u00fcrgen\\t\\\\ \\n\"\n"
              "string    user   Main Window/Tool%2FBars/None: \"\"\n"
              "string    user   Main Window/Tool%2FBars/Order: \"a,b\\\\,c,,d\\\\\\\\\"\n"
              "string    user   Main Window/Tool%2FBars/Sizes: \"1,2,3\"\n"
              "string    user   Main Window/Width: \"800\"\n"
              "string    user   version: \"5\"\n",
              all());
}

TEST_F(FromKConfig, TheMapGivesKindsAndListsAreReadAsInKConfig) {
    moved("kconfig", at("old"),
          map("Main Window/Tool%2FBars/Order -> order as strings\n"
              "Main Window/Tool%2FBars/Sizes -> sizes as integers\n"
              "Main Window/Tool%2FBars/None -> none as strings\n"
              "Main Window/Width -> width as integer\n"
              "Main Window/Opacity -> opacity as number\n"
              "Main Window/Maximized -> maximized as boolean\n"
              "drop /\n"));
    EXPECT_EQ("boolean   user   maximized: true\n"
              "strings   user   none: []\n"
              "number    user   opacity: 0.5\n"
              "strings   user   order: [\"a\", \"b,c\", \"\", \"d\\\\\"]\n"
              "integers  user   sizes: [1, 2, 3]\n"
              "integer   user   width: 800\n",
              all());
}

TEST_F(FromKConfig, StandardInputIsAccepted) {
    EXPECT_THAT(answer({"import", "--from", "kconfig", "-"}, bytesOf(at("old"))), EndsWith("\n8 set\n"));
}

TEST_F(FromKConfig, ARelativePathIsRelativeToTheWorkingDirectory) {
    std::filesystem::current_path(directory.path());
    EXPECT_THAT(moved("kconfig", "old"), EndsWith("\n8 set\n"));
}

TEST_F(FromKConfig, AnInvalidLineIsReportedAndNothingIsWritten) {
    EXPECT_THAT(run({"import", "--from", "kconfig", file("[A]\nx=1\ny\n")}),
                Complains(2, at("old") + ":3: Invalid entry (missing '=')"));
    EXPECT_THAT(run({"import", "--from", "kconfig", file("x=1\n[A\ny=1\n")}),
                Complains(2, at("old") + ":2: Invalid group header"));
    EXPECT_EQ("no file", bytesOf(userFile));
}

TEST_F(FromKConfig, DeeplyNestedGroupsAreRefused) {
    std::string header;
    for (int i = 0; i < 10'000; ++i)
        header += "[a]";
    EXPECT_THAT(run({"import", "--from", "kconfig", file(header + "\nx=1\n")}),
                Complains(2, "more than 100 levels deep"));
}

#endif

#ifdef IMPORTS_DCONF

/** A dconf database, compiled by its tools from text. */
class FromDconf : public Moving {
protected:
    void SetUp() override {
        if (std::system("dconf help >/dev/null 2>&1") != 0)
            GTEST_SKIP() << "dconf is not installed";
        std::filesystem::create_directories(at("source"));
        std::filesystem::create_directories(at("configuration/dconf"));
        ::setenv("XDG_CONFIG_HOME", at("configuration").c_str(), 1);
        ::unsetenv("DCONF_PROFILE");
    }

    void put(std::string const& content) const {
        putBytes(at("source/all"), content);
        std::string const command =
            "dconf compile '" + at("configuration/dconf/user") + "' '" + at("source") + "'";
        EXPECT_EQ(0, std::system(command.c_str()));
    }

    [[nodiscard]] std::string dump() const {
        std::string const command = "dconf dump /org/example/ >'" + at("old") + "'";
        EXPECT_EQ(0, std::system(command.c_str()));
        return at("old");
    }
};

char const* const everyType = "[org/example]\n"
                              "b=true\n"
                              "y=byte 0x07\n"
                              "n=int16 -3\n"
                              "u=uint32 4000000000\n"
                              "x=int64 -9999999999\n"
                              "t=uint64 18446744073709551615\n"
                              "d=0.1\n"
                              "s='it\\'s \\n \u00fc'\n"
                              "as=['a', 'b,c']\n"
                              "ai=[1, 2]\n"
                              "none=@as []\n"
                              "size=(800, 600)\n"
                              "path=b'/tmp/\\377'\n"
                              "dict={'x/y': <1>, 'z': <['t']>}\n"
                              "maybe=@mi 5\n"
                              "\n"
                              "[org/example/window/main]\n"
                              "width=640\n"
                              "[org/other]\n"
                              "not=1\n";

char const* const everySetting = "integers  user   ai: [1, 2]\n"
                                 "strings   user   as: [\"a\", \"b,c\"]\n"
                                 "boolean   user   b: true\n"
                                 "number    user   d: 0.1\n"
                                 "integer   user   dict/x%2Fy: 1\n"
                                 "strings   user   dict/z: [\"t\"]\n"
                                 "integer   user   maybe: 5\n"
                                 "integer   user   n: -3\n"
                                 "strings   user   none: []\n"
                                 "string    user   path: \"/tmp/\uFFFD\"\n"
                                 "string    user   s: \"it's \\n \u00fc\"\n"
                                 "integers  user   size: [800, 600]\n"
                                 "string    user   t: \"18446744073709551615\"\n"
                                 "number    user   u: 4000000000.0\n"
                                 "integer   user   window/main/width: 640\n"
                                 "string    user   x: \"-9999999999\"\n"
                                 "integer   user   y: 7\n";

TEST_F(FromDconf, AValueOfADumpHasTheKindOfItsType) {
    put(everyType);
    moved("dconf", dump());
    EXPECT_EQ(everySetting, all());
}

TEST_F(FromDconf, ADirectoryOfTheUsersDatabaseGivesTheSameSettings) {
    put(everyType);
    moved("dconf", "/org/example/");
    EXPECT_EQ(everySetting, all());
}

TEST_F(FromDconf, ADumpMayBeReadFromAPipe) {
    put(everyType);
    EXPECT_THAT(answer({"import", "--from", "dconf", "-"}, bytesOf(dump())), EndsWith("\n17 set\n"));
}

TEST_F(FromDconf, ValuesThatTheRegisterCannotStoreAreRefused) {
    Outcome const outcome =
        run({"import", "--from", "dconf",
             file("[/]\nlists=[[1]]\nmixed=(1, 'a')\nwrong=zzz\nnothing=@mi nothing\nunit=()\n"
                  "kept=1\n")});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.err);
    EXPECT_EQ("refused   lists: values of type aai cannot be imported\n"
              "refused   mixed: values of type (is) cannot be imported\n"
              "refused   wrong: not a dconf value: 0-3:unknown keyword\n"
              "refused   nothing: no value\n"
              "refused   unit: values of type () cannot be imported\n"
              "set       kept: integer 1\n"
              "1 set, 5 refused\n",
              outcome.out);
}

TEST_F(FromDconf, RareTypesHaveTheKindsOfCommonOnes) {
    moved("dconf",
          file("[/]\nn=uint16 65535\nb=false\nobject=objectpath '/a/b'\nsignature=signature 'ai'\n"));
    EXPECT_EQ("boolean   user   b: false\n"
              "integer   user   n: 65535\n"
              "string    user   object: \"/a/b\"\n"
              "string    user   signature: \"ai\"\n",
              all());
}

TEST_F(FromDconf, BytesNeedNotEndWithAZeroByte) {
    moved("dconf", file("[/]\nbytes=[byte 0x41, 0x42]\nnone=@ay []\n"));
    EXPECT_EQ("string    user   bytes: \"AB\"\n"
              "string    user   none: \"\"\n",
              all());
}

TEST_F(FromDconf, AnEmptyListOfListsIsRefused) {
    EXPECT_EQ("refused   lists: values of type aai cannot be imported\n1 refused\n",
              run({"import", "--from", "dconf", file("[/]\nlists=@aai []\n")}).out);
}

TEST_F(FromDconf, AFileThatIsNotADumpIsRefused) {
    EXPECT_THAT(run({"import", "--from", "dconf", file("[/]\nx=1\n[/\n")}), Complains(2, at("old") + ": "));
    EXPECT_EQ("no file", bytesOf(userFile));
}

TEST_F(FromDconf, DeeplyNestedValuesAreRefused) {
    std::string const deep = "[/]\nx=" + std::string(100'000, '[') + std::string(100'000, ']') + "\ny=1\n";
    Outcome const outcome = run({"import", "--from", "dconf", file(deep)});
    EXPECT_THAT(outcome.out, EndsWith("\n1 set, 1 refused\n"));
}

#endif

using FromJson = Moving;

TEST_F(FromJson, ObjectsAreGroups) {
    moved("json", file(R"({"editor": {"font": {"size": 11.5}, "a/b": true}, "title": "J\u00fcrgen"})"));
    EXPECT_EQ("boolean   user   editor/a%2Fb: true\n"
              "number    user   editor/font/size: 11.5\n"
              "string    user   title: \"J\u00fcrgen\"\n",
              all());
}

TEST_F(FromJson, WholeNumbersGetTheSmallestPossibleKind) {
    moved("json",
          file(R"({"a": 2147483647, "b": -2147483649, "c": 9007199254740993, "d": -9007199254740993})"));
    EXPECT_EQ("integer   user   a: 2147483647\n"
              "number    user   b: -2147483649.0\n"
              "string    user   c: \"9007199254740993\"\n"
              "string    user   d: \"-9007199254740993\"\n",
              all());
}

TEST_F(FromJson, ListsOfOneKindAreLists) {
    moved("json", file(R"({"a": [1, 2.5], "b": ["x"], "c": [true], "d": [], "e": [1]})"));
    EXPECT_EQ("numbers   user   a: [1.0, 2.5]\n"
              "strings   user   b: [\"x\"]\n"
              "booleans  user   c: [true]\n"
              "strings   user   d: []\n"
              "integers  user   e: [1]\n",
              all());
}

TEST_F(FromJson, ValuesThatTheRegisterCannotStoreAreRefused) {
    Outcome const outcome = run(
        {"import", "--from", "json", file(R"({"a": null, "b": [1, "x"], "c": [[1]], "d": [{}], "e": 1})")});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("refused   a: null is not a value\n"
              "refused   b: a list of values of different kinds cannot be imported\n"
              "refused   c: a list of lists, groups or unknown values cannot be imported\n"
              "refused   d: a list of lists, groups or unknown values cannot be imported\n"
              "set       e: integer 1\n"
              "1 set, 4 refused\n",
              outcome.out);
}

TEST_F(FromJson, RefusesTheExchangeFormat) {
    std::string const complaint =
        ": in the exchange format, which \"import\" reads without --from (leave out --from json)\n";
    EXPECT_THAT(
        run({"import", "--from", "json",
             file(R"({"a": {"type": "integer", "value": 1}, "b": {"type": "strings", "value": []}})")}),
        Complains(2, at("old") + complaint));
    EXPECT_THAT(run({"import", "--from", "json", "-"},
                    R"({"a/b": {"type": "string", "base64": "/w=="}, "c": {"type": "group"},
                        "d": {"type": "bytes", "base64": ""},
                        "e": {"type": "integer", "value": 1, "record": "SQEAAAB4"}})"),
                Complains(2, "standard input" + complaint));
    EXPECT_EQ("no file", bytesOf(userFile));
}

TEST_F(FromJson, AcceptsObjectsThatResembleTheExchangeFormat) {
    for (char const* const entry :
         {R"({"type": "font", "value": 1})", R"({"type": 3, "value": 1})", R"({"type": "integer"})",
          R"({"type": "integer", "value": 1, "unit": "pt"})", R"({"value": 1})",
          R"({"type": "group", "value": 1})", R"({"type": "bytes", "value": 1})", "1"})
        EXPECT_THAT(moved("json",
                          file(R"({"a": {"type": "integer", "value": 1}, "b": )" + std::string(entry) + '}'),
                          {"--dry-run"}),
                    EndsWith("set; not written (--dry-run)\n"))
            << entry;
}

/** A file that cannot be read as a whole. */
struct BadFile {
    char const* name;
    char const* store;
    std::string content;
    std::string complaint;
};

void PrintTo(BadFile const& file, std::ostream* out) {
    *out << file.name;
}

class FromBadFile : public Moving, public testing::WithParamInterface<BadFile> {};

std::vector<BadFile> badFiles() {
    std::string const notText = "[A]\nx=\xff\n";
    std::string deep;
    for (int i = 0; i < 100'000; ++i)
        deep += "{\"a\":";
    return {{"NotUtf8Ini", "ini", notText, " not UTF-8 text"},
            {"NotUtf8KConfig", "kconfig", notText, " not UTF-8 text"},
            {"NotUtf8Dconf", "dconf", notText, " not UTF-8 text"},
            {"NotUtf8Json", "json", "{\"x\": \"\xff\"}", " not UTF-8 text"},
            {"TruncatedIni", "ini", "[A]\nx=1\n[B", " not a QSettings INI file"},
            {"IniWithoutAnEqualsSign", "ini", "[A]\nx\n", " not a QSettings INI file"},
            {"IniWithAByteOrderMark", "ini", "\xEF\xBB\xBFx=1\n", " begins with a byte order mark"},
            {"KConfigWithAByteOrderMark", "kconfig", "\xEF\xBB\xBFx=1\n", " begins with a byte order mark"},
            {"DconfWithAByteOrderMark", "dconf", "\xEF\xBB\xBF[/]\nx=1\n", " begins with a byte order mark"},
            {"IniWithAZeroByte", "ini", std::string("[A]\nx=\0\n", 8), " not UTF-8 text"},
            {"TruncatedJson", "json", "{\"a\":\n{\"b\": 1", "2: not valid JSON: "},
            {"AListInPlaceOfAnObject", "json", "[1]", " not a JSON object"},
            {"EmptyJson", "json", "", "1: not valid JSON"},
            {"DeepJson", "json", deep, "1: not valid JSON: too deeply nested"},
            {"AHugeNumber", "json", R"({"a": 1e999})", "1: not valid JSON"}};
}

TEST_P(FromBadFile, IsRefusedWithTheReasonAndNothingIsWritten) {
    EXPECT_THAT(run({"import", "--from", GetParam().store, file(GetParam().content)}),
                Complains(2, at("old") + ":" + GetParam().complaint));
    EXPECT_EQ("no file", bytesOf(userFile));
}

INSTANTIATE_TEST_SUITE_P(Each, FromBadFile, testing::ValuesIn(badFiles()),
                         [](auto const& test) { return test.param.name; });

TEST_F(Moving, NeedsAFileThatExists) {
    EXPECT_THAT(run({"import", "--from", "ini", at("none")}), Complains(2, at("none") + ": No such file"));
    EXPECT_THAT(run({"import", "--from", "json", at("")}), Complains(2, "not a regular file"));
}

TEST_F(Moving, DoesNotWaitForAPipeInPlaceOfAFile) {
    ASSERT_EQ(0, ::mkfifo(at("pipe").c_str(), 0600));
    EXPECT_THAT(run({"import", "--from", "ini", at("pipe")}), Complains(2, "not a regular file"));
}

TEST_F(Moving, ReportsStoresThatThisInstallationCannotRead) {
    std::filesystem::create_directory(at("lib"));
    std::filesystem::path const library = VELMORAND_SETTINGS_LIBRARY;
    std::filesystem::copy_file(library, at("lib") / library.filename());
    std::string const others = library.parent_path().string();
    ::setenv("LD_LIBRARY_PATH", (at("lib") + ':' + others).c_str(), 1);
    EXPECT_THAT(run({"import", "--from", "kconfig", file("x=1\n")}),
                Complains(2, "cannot import settings of kconfig: " +
                                 at("lib/velmorand-register/import-kconfig") + " is not installed"));
    EXPECT_THAT(run({"import", "--from", "dconf", file("[/]\nx=1\n")}),
                Complains(2, "import-dconf is not installed"));
    moved("ini", file("x=1\n"));
}

TEST_F(Moving, RefusesContradictoryOptions) {
    EXPECT_THAT(run({"import", "--from", "registry", "x"}),
                ShowsUsage("no such store: registry (stores: ini, kconfig, dconf, json)"));
    EXPECT_THAT(run({"import", "--from", "ini", "--replace", "x"}),
                ShowsUsage("--replace cannot be used with --from"));
    EXPECT_THAT(run({"import", "--overwrite", "x"}), ShowsUsage("need --from"));
    EXPECT_THAT(run({"import", "--force", "x"}), ShowsUsage("need --from"));
    EXPECT_THAT(run({"import", "--map", "x", "x"}), ShowsUsage("need --from"));
    EXPECT_THAT(run({"import", "--from", "json", "--map", "-", "-"}), ShowsUsage("only one of"));
}

TEST_F(Moving, PrintsTheOutcomeOfEachSetting) {
    answer({"set", "string", "new/theme", "light"});
    answer({"set", "string", "new/same", "x"});
    Outcome const outcome =
        run({"import", "--from", "json",
             file(R"({"cache": 1, "none": null, "same": "x", "size": 12, "theme": "dark"})"), "--map",
             map("drop cache\nsize -> text size\n/ -> new/\n").back()});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(
        "dropped   cache\n"
        "refused   none -> new/none: null is not a value\n"
        "unchanged same -> new/same: string \"x\"\n"
        "set       size -> text size: integer 12\n"
        "kept      theme -> new/theme: string \"light\" (--overwrite replaces it with string \"dark\")\n"
        "1 set, 1 unchanged, 1 kept, 1 dropped, 1 refused\n",
        outcome.out);
    EXPECT_EQ("light\n", answer({"get", "new/theme"}));
}

TEST_F(Moving, AKeptValueThatCannotBeReadIsPrintedInBase64) {
    answer({"import", "-"}, R"({"a": {"type": "bytes", "base64": "QUJD"}})");
    EXPECT_THAT(moved("json", file(R"({"a": 1})"), {"--dry-run"}),
                StartsWith("kept      a: bytes QUJD (--overwrite replaces it with integer 1)\n"));
}

TEST_F(Moving, OverwritesOnRequest) {
    answer({"set", "string", "theme", "light"});
    EXPECT_EQ("set       theme: string \"dark\"\n1 set\n",
              moved("json", file(R"({"theme": "dark"})"), {"--overwrite"}));
    EXPECT_EQ("dark\n", answer({"get", "theme"}));
}

TEST_F(Moving, ASecondRunDoesNotReplaceTheFile) {
    moved("json", file(R"({"theme": "dark"})"));
    auto const written = std::filesystem::last_write_time(userFile);
    EXPECT_EQ("unchanged theme: string \"dark\"\n1 unchanged; nothing changed\n", moved("json", at("old")));
    EXPECT_EQ(written, std::filesystem::last_write_time(userFile));
}

TEST_F(Moving, CreatesAMissingFileEvenWithoutSettings) {
    EXPECT_EQ("no settings; nothing changed\n", moved("json", file("{}"), {"--dry-run"}));
    EXPECT_EQ("no settings\n", moved("json", at("old")));
    EXPECT_EQ("no settings; nothing changed\n", moved("json", at("old")));
}

TEST_F(Moving, ADryRunPrintsTheSameButWritesNothing) {
    EXPECT_EQ("set       theme: string \"dark\"\n1 set; not written (--dry-run)\n",
              moved("json", file(R"({"theme": "dark"})"), {"--dry-run"}));
    EXPECT_EQ("no file", bytesOf(userFile));
}

TEST_F(Moving, ADryRunConsidersExistingSettings) {
    answer({"set", "string", "theme", "light"});
    EXPECT_THAT(moved("json", file(R"({"theme": "dark"})"), {"--dry-run"}), StartsWith("kept      theme"));
}

TEST_F(Moving, ANameThatIsAGroupIsRefused) {
    answer({"set", "integer", "a/b", "1"});
    answer({"set", "integer", "c", "1"});
    Outcome const outcome = run({"import", "--from", "json", file(R"({"a": 1, "c": {"d": 1}, "e": 1})")});
    EXPECT_EQ("refused   a: a group of this name exists\n"
              "refused   c/d: \"c\" is a property\n"
              "set       e: integer 1\n"
              "1 set, 2 refused\n",
              outcome.out);
}

TEST_F(Moving, OfTwoSettingsWithTheSameNewNameTheFirstIsImported) {
    Outcome const outcome = run({"import", "--from", "json", file(R"({"a": 1, "b": 2})"), "--map",
                                 map("a -> x\nb -> x\n").back(), "--overwrite"});
    EXPECT_EQ("set       a -> x: integer 1\n"
              "refused   b -> x: already the new name of \"a\"\n"
              "1 set, 1 refused\n",
              outcome.out);
}

TEST_F(Moving, ChangesTheGlobalFileOnRequest) {
    answer({"--global", global, "--scope", "global", "import", "--from", "json", file(R"({"x": 1})")});
    EXPECT_EQ("no file", bytesOf(userFile));
    EXPECT_EQ("integer   global x\n", answer({"--global", global, "list"}));
}

TEST_F(Moving, TheCatalogueGivesKindsAndLimits) {
    putBytes(at("catalogue.json"), R"({"settings": {
        "size": {"type": "number", "maximum": 72},
        "tabs": {"type": "integer"},
        "recent": {"type": "strings"},
        "large": {"type": "integer", "maximum": 5}}})");
    Outcome const outcome = run({"--catalogue", at("catalogue.json"), "import", "--from", "ini",
                                 file("size=12\ntabs=x\nrecent=a\nlarge=6\n")});
    EXPECT_EQ("refused   large: 6 is not allowed: expected an integer of at most 5 (--force sets it anyway)\n"
              "set       recent: strings [\"a\"]\n"
              "set       size: number 12.0\n"
              "refused   tabs: \"x\" is not an integer\n"
              "2 set, 2 refused\n",
              outcome.out);
}

TEST_F(Moving, TheMapsKindTakesPrecedenceOverTheCatalogues) {
    putBytes(at("catalogue.json"), R"({"settings": {"size": {"type": "number"}}})");
    Outcome const outcome = run({"--catalogue", at("catalogue.json"), "import", "--from", "ini",
                                 file("size=12\n"), "--map", map("size -> size as integer\n").back()});
    EXPECT_THAT(outcome.out, StartsWith("refused   size: "));
}

TEST_F(Moving, LockedSettingsAreRefusedAndTheRestIsImported) {
    answer({"--global", global, "lock", "editor/theme", "window"});
    Outcome const outcome = run({"--global", global, "import", "--from", "json", "--overwrite",
                                 file(R"({"editor": {"size": 12, "theme": "dark"}, "window": {"x": 1}})")});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("set       editor/size: integer 12\n"
              "refused   editor/theme: the administrator has locked it (--force sets it anyway)\n"
              "refused   window/x: the administrator has locked \"window\" (--force sets it anyway)\n"
              "1 set, 2 refused\n",
              outcome.out);
    EXPECT_EQ("integer   user   editor/size: 12\n", all());
}

TEST_F(Moving, LocksApplyToTheNewNames) {
    answer({"--global", global, "lock", "old"});
    EXPECT_EQ("set       old -> new: integer 1\n1 set\n",
              answer({"--global", global, "--scope", "user", "import", "--from", "json",
                      file(R"({"old": 1})"), "--map", map("old -> new\n").back()}));
}

TEST_F(Moving, LocksDoNotApplyToTheAdministratorOrWithoutTheGlobalDirectory) {
    answer({"--global", global, "lock", "theme"});
    EXPECT_EQ("set       theme: string \"dark\"\n1 set\n", moved("json", file(R"({"theme": "dark"})")));
    EXPECT_EQ("set       theme: string \"dark\"\n1 set\n",
              answer({"--global", global, "--scope", "global", "import", "--from", "json", at("old")}));
}

TEST_F(Moving, ForceImportsSettingsThatAreLockedOrNotAllowed) {
    answer({"--global", global, "lock", "theme"});
    putBytes(at("catalogue.json"), R"({"settings": {"size": {"type": "integer", "maximum": 5}}})");
    EXPECT_EQ("set       size: integer 6\nset       theme: string \"dark\"\n2 set\n",
              answer({"--global", global, "--scope", "user", "--catalogue", at("catalogue.json"), "import",
                      "--from", "json", "--force", file(R"({"size": 6, "theme": "dark"})")}));
}

using MapOfNames = Moving;

TEST_F(MapOfNames, TheMostSpecificRuleApplies) {
    moved("json", file(R"({"a": {"b": {"c": 1, "d": 2}, "e": 3}, "f": 4, "g": {"h": 5}})"),
          map("# the editor's\n"
              "\n"
              "  a/  ->  one/ \n"
              "a/b/ -> two\u00fc/x/\r\n"
              "a/b/c -> c as string\n"
              "/ -> rest/\n"
              "g/ -> /\n"));
    EXPECT_EQ("string    user   c: \"1\"\n"
              "integer   user   h: 5\n"
              "integer   user   one/e: 3\n"
              "integer   user   rest/f: 4\n"
              "integer   user   two\u00fc/x/d: 2\n",
              all());
}

TEST_F(MapOfNames, OldNamesMayHaveEscapes) {
    moved("json", file(R"({"a/b": 1, "x -> y": 2, "save as": 3})"),
          map("a%2Fb -> slash\nx %2D> y -> arrow\nsave as -> save as file as number\n"));
    EXPECT_EQ("integer   user   arrow: 2\n"
              "number    user   save as file: 3.0\n"
              "integer   user   slash: 1\n",
              all());
}

TEST_F(MapOfNames, DropsGroupsAndSettings) {
    moved("json", file(R"({"a": {"b": 1, "c": 2}, "d": 3, "e": 4})"), map("drop a/\na/c -> c\ndrop d\n"));
    EXPECT_EQ("integer   user   c: 2\ninteger   user   e: 4\n", all());
}

struct BadRule {
    char const* name;
    char const* map;
    char const* complaint;
};

void PrintTo(BadRule const& rule, std::ostream* out) {
    *out << rule.name;
}

class BadMap : public Moving, public testing::WithParamInterface<BadRule> {};

TEST_P(BadMap, IsRefusedWithTheLineAndNothingIsWritten) {
    Arguments arguments = map(GetParam().map);
    arguments.insert(arguments.begin(), {"import", "--from", "json", file(R"({"a": 1})")});
    EXPECT_THAT(run(arguments), Complains(2, at("map") + ":" + GetParam().complaint));
    EXPECT_EQ("no file", bytesOf(userFile));
}

BadRule const badRules[] = {
    {"NoArrow", "# x\nfoo\n", R"(2: expected "OLD -> NEW" or "drop OLD", found: foo)"},
    {"NoOldName", "\n -> x\n", "2: expected"},
    {"AnUnknownKind", "a -> b as int\n",
     "1: no such kind: int (kinds: string, number, integer, boolean, strings, numbers, integers, "
     "booleans)\n"},
    {"AGroupRenamedToAProperty", "a/ -> b\n", "1: a group cannot become a property"},
    {"APropertyRenamedToAGroup", "a -> b/\n", "1: a property cannot become a group"},
    {"TwoRulesForOneName", "a -> b\nc -> d\na -> e\n", "3: duplicate rule: line 1 is for the same name"},
    {"NotAName", "a -> b/../c\n", "1: invalid name: \"b/../c\""},
    {"DropWithoutAName", "drop \n", "1: expected"},
    {"NotUtf8", "a -> \xff\n", " not UTF-8 text"},
};

INSTANTIATE_TEST_SUITE_P(Each, BadMap, testing::ValuesIn(badRules),
                         [](auto const& test) { return test.param.name; });

} // namespace

} // namespace tool
