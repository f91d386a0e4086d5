// SPDX-License-Identifier: Apache-2.0
#include "AccessList.h"

namespace {

using namespace support;

/** Files in a directory that supports access control lists. */
class OnDiskWithAccessLists : public ::testing::Test {
protected:
    ~OnDiskWithAccessLists() noexcept override = default;

    void SetUp() override {
        if (!hasAccessLists(directory.string()))
            GTEST_SKIP() << "no file system here supports access control lists";
    }

    [[nodiscard]] std::string at(std::string const& name) const { return (directory / name).string(); }

    /** Makes new files in the directory inherit a list. */
    void setDefaultList(std::string const& list) {
        ASSERT_TRUE(setAttribute(directory.string(), defaultListName, list));
    }

    TemporaryDirectory directory{parentWithAccessLists()};
    RealFileSystem files{text(directory.string())};
};

using ReplaceWithAccessList = OnDiskWithAccessLists;

TEST_F(ReplaceWithAccessList, KeepsTheList) {
    putFile(at("f"), "old");
    ASSERT_TRUE(setAttribute(at("f"), accessListName, listForOneUser()));
    ASSERT_EQ(0660U, permissions(at("f")));
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ("new", fileBytes(at("f")));
    EXPECT_EQ(listForOneUser(), attribute(at("f"), accessListName));
    EXPECT_EQ(0660U, permissions(at("f")));
}

TEST_F(ReplaceWithAccessList, KeepsTheListEvenIfNewFilesInheritAnother) {
    putFile(at("f"), "old");
    ASSERT_TRUE(setAttribute(at("f"), accessListName, listForOneUser()));
    setDefaultList(AccessList(7, 7, 7, 7).withUser(4321, 7).bytes());
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ(listForOneUser(), attribute(at("f"), accessListName));
    EXPECT_EQ(0660U, permissions(at("f")));
}

TEST_F(ReplaceWithAccessList, DoesNotAddAListThatNewFilesInherit) {
    putFile(at("f"), "old");
    ASSERT_EQ(0, ::chmod(at("f").c_str(), 0660));
    setDefaultList(AccessList(7, 7, 7, 7).withUser(4321, 7).bytes());
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ("new", fileBytes(at("f")));
    EXPECT_EQ(std::nullopt, attribute(at("f"), accessListName));
    EXPECT_EQ(0660U, permissions(at("f")));
}

TEST_F(ReplaceWithAccessList, HidesTheNewContentFromTheStart) {
    putFile(at("f"), "old");
    setDefaultList(AccessList(7, 7, 7, 7).withUser(4321, 7).bytes());
    ASSERT_TRUE(write(files, openedForWriting(files, "f"), "secret"));
    ASSERT_TRUE(files.remove(text("f")));
    for (std::string const& name : listing(files, "/"))
        EXPECT_EQ(0600U, permissions(at(name))) << name; // the group bits are the list's mask
}

TEST_F(ReplaceWithAccessList, GivesANewFileTheInheritedList) {
    setDefaultList(AccessList(6, 4, 0, 6).withUser(4321, 6).bytes());
    putFile(at("by the system"), "");
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_NE(std::nullopt, attribute(at("f"), accessListName));
    EXPECT_EQ(attribute(at("by the system"), accessListName), attribute(at("f"), accessListName));
    EXPECT_EQ(permissions(at("by the system")), permissions(at("f")));
}

TEST_F(ReplaceWithAccessList, DoesNotGrantAGroupTheRightsOfAnother) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to another group";
    putFile(at("f"), "old");
    ASSERT_EQ(0, ::chown(at("f").c_str(), 65534, 1234)); // owned by the user, in another group
    // Others may read the file, except the user 4321.
    ASSERT_TRUE(setAttribute(at("f"), accessListName, AccessList(6, 4, 4, 4).withUser(4321, 0).bytes()));
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] { EXPECT_TRUE(writeFile(files, "f", "new")); }));
    EXPECT_EQ("new", fileBytes(at("f")));
    EXPECT_EQ(std::nullopt, attribute(at("f"), accessListName));
    EXPECT_EQ(0600U, permissions(at("f")));
}

using ReplaceWithAttributes = OnDiskWithAccessLists;

TEST_F(ReplaceWithAttributes, KeepsTheAttributes) {
    putFile(at("f"), "old");
    ASSERT_TRUE(setAttribute(at("f"), "user.empty", ""));
    for (unsigned i = 0; i < 50; ++i)
        ASSERT_TRUE(setAttribute(at("f"), "user." + std::to_string(i), someBytes(i)));
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ("new", fileBytes(at("f")));
    EXPECT_EQ("", attribute(at("f"), "user.empty"));
    for (unsigned i = 0; i < 50; ++i)
        EXPECT_EQ(someBytes(i), attribute(at("f"), "user." + std::to_string(i))) << i;
}

TEST_F(ReplaceWithAttributes, KeepsALargeAttribute) {
    putFile(at("f"), "old");
    std::string value = someBytes(1 << 16); // the limit of Linux; some file systems allow less
    if (!setAttribute(at("f"), "user.large", value)) {
        value.resize(3'000);
        ASSERT_TRUE(setAttribute(at("f"), "user.large", value));
    }
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ(value, attribute(at("f"), "user.large"));
}

TEST_F(ReplaceWithAttributes, KeepsTheAttributesOfAnUnreadableFile) {
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] {
                  putFile(at("f"), "old");
                  EXPECT_TRUE(setAttribute(at("f"), accessListName,
                                           AccessList(2, 0, 0, 6).withUser(1234, 6).bytes()));
                  EXPECT_EQ(0260U, permissions(at("f")));
                  EXPECT_TRUE(writeFile(files, "f", "new"));
                  EXPECT_EQ(0260U, permissions(at("f")));
              }));
    EXPECT_EQ((AccessList(2, 0, 0, 6).withUser(1234, 6).bytes()), attribute(at("f"), accessListName));
    EXPECT_EQ("new", fileBytes(at("f")));
}

TEST_F(ReplaceWithAttributes, KeepsAttributesThatOnlyRootMaySet) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root may set these attributes";
    putFile(at("f"), "old");
    ASSERT_TRUE(setAttribute(at("f"), "trusted.test", "kept"));
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ("kept", attribute(at("f"), "trusted.test"));
}

TEST_F(ReplaceWithAttributes, LeavesOutAttributesThatItMayNotSet) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can set these attributes";
    putFile(at("f"), "old");
    ASSERT_EQ(0, ::chown(at("f").c_str(), 65534, 65534));
    ASSERT_EQ(0, ::chmod(at("f").c_str(), 0640));
    ASSERT_TRUE(setAttribute(at("f"), "security.test", "left out"));
    ASSERT_TRUE(setAttribute(at("f"), "user.test", "kept"));
    ASSERT_EQ(0, asOrdinaryUser(directory, [this] { EXPECT_TRUE(writeFile(files, "f", "new")); }));
    EXPECT_EQ("new", fileBytes(at("f")));
    EXPECT_EQ(std::nullopt, attribute(at("f"), "security.test"));
    EXPECT_EQ("kept", attribute(at("f"), "user.test"));
    EXPECT_EQ(0640U, permissions(at("f")));
}

TEST_F(ReplaceWithAttributes, LeavesOutAttributesThatTheSystemComputesFromTheContent) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can set such an attribute";
    putFile(at("f"), "old");
    if (!setAttribute(at("f"), "security.ima", std::string("\x01") + std::string(20, 'h')))
        GTEST_SKIP() << "the system does not allow setting this attribute";
    EXPECT_TRUE(writeFile(files, "f", "new"));
    EXPECT_EQ(std::nullopt, attribute(at("f"), "security.ima"));
}

} // namespace
