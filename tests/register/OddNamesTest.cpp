// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <string>
#include <utility>

#include <boost/thread/thread.hpp>
#include <gtest/gtest.h>

#include "register/RegisterFile.h"
#include "register/Scopes.h"
#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"
#include "values/Forms.h"

using support::failure;
using support::RegisterProbe;
using support::TemporaryDirectory;
using utils::properties::_Register;

namespace {

template <class Form>
class OddNames : public forms::Test<Form> {
protected:
    /** Writes 42 under `name`, saves, removes it, loads, and reads it back. */
    int throughAFile(std::string const& name) {
        TemporaryDirectory const directory;
        RegisterProbe::_UserRegisterPath = directory.string();
        this->settings._writeInteger(nullptr, name, 42, SCOPE_USER);
        this->settings.save();
        this->settings.delProperty("", SCOPE_USER);
        this->settings.load();
        RegisterProbe::_UserRegisterPath.clear();
        return integer(this->settings, name);
    }
};
TYPED_TEST_SUITE(OddNames, forms::Both, forms::Names);

} // namespace

TYPED_TEST(OddNames, DoubledSlashesAreIgnored) {
    this->settings.addProperty("a//b///x", SCOPE_USER);
    EXPECT_TRUE(this->settings.propertyExists("a/b/x", SCOPE_USER));
    EXPECT_EQ((Names{"x"}), names(this->settings.propertyList("a///b", SCOPE_USER)));
}

TYPED_TEST(OddNames, LeadingSlashesAreIgnored) {
    this->settings.addProperty("/a", SCOPE_USER);
    this->settings.addProperty("//g/x", SCOPE_USER);
    EXPECT_EQ((Names{"a", "g"}), names(this->settings.propertyList("", SCOPE_USER)));
    EXPECT_TRUE(this->settings.propertyExists("g/x", SCOPE_USER));
}

TYPED_TEST(OddNames, ALeadingSlashLeavesThePropertyInItsScope) {
    this->settings.addProperty("/global/x", SCOPE_USER);
    EXPECT_TRUE(this->settings.propertyExists("global/x", SCOPE_USER));
    EXPECT_FALSE(this->settings.propertyExists("x", SCOPE_GLOBAL));
}

TYPED_TEST(OddNames, TrailingSlashesOfAGroupAreIgnored) {
    this->settings.addGroup("a/b//", SCOPE_USER);
    EXPECT_TRUE(this->settings.groupExists("a/b", SCOPE_USER));
    EXPECT_TRUE(this->settings.groupExists("a/b/", SCOPE_USER));
}

TYPED_TEST(OddNames, APropertyEndingInASlashCreatesOnlyTheGroup) {
    this->settings.addProperty("a/", SCOPE_USER);
    EXPECT_TRUE(this->settings.groupExists("a", SCOPE_USER));
}

TYPED_TEST(OddNames, ANameOfOnlySlashesMeansTheScope) {
    this->settings.addGroup("//", SCOPE_USER);
    this->settings.addProperty("/", SCOPE_USER);
    EXPECT_EQ(Names{}, names(this->settings.propertyList("///", SCOPE_USER)));
}

TYPED_TEST(OddNames, NoNameLeadsOutOfItsScope) {
    this->settings.addProperty("x", SCOPE_GLOBAL);
    this->settings.addProperty("g/x", SCOPE_USER);
    for (std::string const name : {"../global/x", "../../global/x", "g/../../global/x", "..", "g/..",
                                   "g/../x", "./g", "g/./x", "g/x/.", "."}) {
        EXPECT_FALSE(this->settings.propertyExists(name, SCOPE_USER)) << name;
        this->settings.delProperty(name, SCOPE_USER);
    }
    EXPECT_TRUE(this->settings.propertyExists("x", SCOPE_GLOBAL));
    EXPECT_TRUE(this->settings.propertyExists("g/x", SCOPE_USER));
}

TYPED_TEST(OddNames, DotLevelsCannotBeCreated) {
    for (std::string const name : {".", "..", "./x", "../x", "../new/x", "../../x"}) {
        this->settings.addGroup(name, SCOPE_USER);
        this->settings.addProperty(name, SCOPE_USER);
        EXPECT_FALSE(this->settings.propertyExists(name)) << name;
    }
    EXPECT_EQ(Names{}, names(this->settings.propertyList("", SCOPE_USER)));
    EXPECT_EQ(3U, this->settings.getFileList("/").size());
}

TYPED_TEST(OddNames, NamesThatOnlyBeginWithDotsAreOrdinaryNames) {
    for (std::string const name : {"...", ".x", "..x"}) {
        this->settings.addProperty(name, SCOPE_USER);
        EXPECT_TRUE(this->settings.propertyExists(name, SCOPE_USER)) << name;
    }
}

TYPED_TEST(OddNames, AZeroByteDoesNotEndAName) {
    std::string const name("a\0b", 3);
    this->settings.addProperty(name, SCOPE_USER);
    EXPECT_TRUE(this->settings.propertyExists(name, SCOPE_USER));
    EXPECT_FALSE(this->settings.propertyExists("a", SCOPE_USER));
    EXPECT_FALSE(this->settings.propertyExists(std::string("a\0c", 3), SCOPE_USER));
    EXPECT_EQ((Names{name}), names(this->settings.propertyList("", SCOPE_USER)));
}

TYPED_TEST(OddNames, AZeroByteSurvivesTheRegisterFile) {
    EXPECT_EQ(42, this->throughAFile(std::string("g\0h/a\0b", 7)));
}

TYPED_TEST(OddNames, NonAsciiNamesSurviveTheRegisterFile) {
    EXPECT_EQ(42, this->throughAFile("Gr\xc3\xb6\xc3\x9f"
                                     "e/\xe6\x97\xa5\xe6\x9c\xac/\xf0\x9f\x8e\xa8"));
}

TYPED_TEST(OddNames, NonAsciiNamesAreListedAsTheyWereGiven) {
    std::string const name = "\xc3\xa4\xf0\x9f\x8e\xa8";
    this->settings.addProperty("g/" + name, SCOPE_USER);
    EXPECT_EQ((Names{name}), names(this->settings.propertyList("g", SCOPE_USER)));
}

TYPED_TEST(OddNames, ANameThatIsNotUtf8FindsThePropertyItCreated) {
    for (std::string const name : {"\xff", "a\x80/\xc3", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xc0\xaf"})
        EXPECT_EQ(42, this->throughAFile(name));
}

TYPED_TEST(OddNames, AByteOrderMarkIsPartOfTheName) {
    std::string const mark = "\xef\xbb\xbf";
    this->settings.addProperty(mark + "g/x", SCOPE_USER);
    EXPECT_TRUE(this->settings.groupExists(mark + "g"));
    EXPECT_FALSE(this->settings.groupExists("g"));
    filesystem::FileHandle* const handle =
        this->settings.openProperty(mark + "g/x", filesystem::FileSystem::MODE_READ, SCOPE_USER);
    ASSERT_NE(nullptr, handle);
    this->settings.closeProperty(*handle);
}

TYPED_TEST(OddNames, AByteOrderMarkIsListedWithTheName) {
    std::string const mark = "\xef\xbb\xbf";
    this->settings.addProperty(mark + "x", SCOPE_USER);
    this->settings.addProperty("x", SCOPE_USER);
    EXPECT_EQ((Names{"x", mark + "x"}), names(this->settings.propertyList("", SCOPE_USER)));
}

TYPED_TEST(OddNames, AByteOrderMarkSurvivesTheRegisterFile) {
    EXPECT_EQ(42, this->throughAFile("\xef\xbb\xbfg/\xef\xbb\xbfx"));
}

TYPED_TEST(OddNames, NamesOfManyCharactersSurviveTheRegisterFile) {
    EXPECT_EQ(42, this->throughAFile(std::string(1'000'000, 'n')));
}

TYPED_TEST(OddNames, MessagesContainTheNameAsGiven) {
    EXPECT_EQ("Cannot open property named /\xc3\xa4 !", failure([&] {
                  (void)this->settings.openProperty("/\xc3\xa4", filesystem::FileSystem::MODE_READ,
                                                    SCOPE_USER);
              }));
    EXPECT_EQ("\xff/ does not exist or is not a group.",
              failure([&] { (void)this->settings.propertyList("\xff/", SCOPE_USER); }));
}

namespace {

std::string deepName(int levels) {
    std::string name;
    for (int level = 0; level < levels; ++level)
        name += "g/";
    return name + "x";
}

/** Creates, saves, removes and loads `name` in the user scope. The register's destructor saves and releases it. */
void walkThrough(_Register& settings, std::string const& name, std::string const& directory) {
    RegisterProbe::_UserRegisterPath = directory;
    settings.addProperty(name, SCOPE_USER);
    bool const made = settings.propertyExists(name, SCOPE_USER);
    settings.save();
    settings.delProperty("g", SCOPE_USER);
    EXPECT_FALSE(settings.propertyExists("g", SCOPE_USER));
    settings.load();
    EXPECT_EQ(made, settings.propertyExists(name, SCOPE_USER));
    EXPECT_EQ(made ? "nothing" : "PropertyNotFound", failure([&] { (void)settings._locateProperty(name); }));
}

/** A derived register that does not list its calls, for names too long to be listed. */
class DerivedRegister : public _Register {};

/** Runs `body` on a stack that is too small for recursion over the levels of a name. */
template <class Body>
void onASmallStack(Body&& body) {
    boost::thread::attributes small;
    small.set_stack_size(std::size_t{256} * 1024);
    boost::thread(small, std::forward<Body>(body)).join();
}

} // namespace

TEST(DeepNames, WorkOrAreRefusedInTheRegisterOfTheProcess) {
    TemporaryDirectory const directory;
    EXPECT_EQ(0, support::inChild([&] {
                  onASmallStack(
                      [&] { walkThrough(*_Register::getInstance(), deepName(100'000), directory.string()); });
              }));
}

// Fewer levels, because a derived register looks up each group by its whole path.
TEST(DeepNames, WorkOrAreRefusedInADerivedRegister) {
    TemporaryDirectory const directory;
    EXPECT_EQ(0, support::inChild([&] {
                  onASmallStack([&] {
                      DerivedRegister settings;
                      walkThrough(settings, deepName(4'000), directory.string());
                  });
              }));
}
