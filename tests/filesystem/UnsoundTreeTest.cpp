// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <functional>

#include "DirectAccess.h"
#include "DiskSupport.h"

// Saving an inconsistent tree, which can result from changes by several threads without a lock. The tests damage the
// tree directly.

namespace {

using namespace support;
using filesystem::NodeId;
using filesystem::Tree;

using Children = std::vector<NodeId>;

class UnsoundTree : public OnDisk {
protected:
    // The destructor of a file system may throw; the destructor of a test must not.
    ~UnsoundTree() noexcept override = default;

    /** Creates "/d" with the files "a", "b" and "c" and the empty directory "e", in this order. */
    void fill(RAMFileSystem& memory) {
        ASSERT_TRUE(memory.mkdir("/d"));
        for (char const* const path : {"/d/a", "/d/b", "/d/c"})
            ASSERT_TRUE(writeFile(memory, path, "1"));
        ASSERT_TRUE(memory.mkdir("/d/e"));
    }

    static Children& childrenOf(Tree& tree, NodeId directory) { return tree[directory].children->ids; }

    /** Saves a tree, damaged by `breakIt`, over the file "f". Result: whether it was saved. */
    bool isSaved(std::function<void(Tree&, Children&)> const& breakIt) {
        putFile(at("f"), "old");
        RAMFileSystem memory;
        fill(memory);
        Tree& tree = filesystem::DirectAccess::tree(memory);
        Children& children = childrenOf(tree, childrenOf(tree, Tree::root)[0]);
        Children const whole = children;
        breakIt(tree, children);
        FileHandle* const handle = openedForWriting(files, "f");
        bool const serialized = memory.serialize(*handle);
        EXPECT_TRUE(serialized || errno == EAGAIN);
        EXPECT_EQ(serialized, files.close(handle));
        children = whole; // so that the destructor releases all nodes
        return serialized;
    }

    void expectNotSaved(std::function<void(Tree&, Children&)> const& breakIt) {
        EXPECT_FALSE(isSaved(breakIt));
        EXPECT_EQ("old", fileBytes(at("f")));
        EXPECT_EQ((std::vector<std::string>{"f"}), listing(files, "/"));
    }

    /** Renames a node; the length of the name stays the same. */
    static void rename(Tree& tree, NodeId node, char name) {
        *const_cast<char*>(tree[node].name().data()) = name;
    }
};

TEST_F(UnsoundTree, WithoutDamageIsSaved) {
    EXPECT_TRUE(isSaved([](Tree&, Children&) {}));
    RAMFileSystem memory;
    memory.unserialize(*openedForReading(files, "f"));
    EXPECT_EQ((std::vector<std::string>{"a", "b", "c", "e"}), listing(memory, "/d"));
}

TEST_F(UnsoundTree, WithNamesOutOfOrderIsNotSaved) {
    expectNotSaved([](Tree&, Children& children) { std::swap(children[0], children[1]); });
    expectNotSaved([](Tree&, Children& children) { std::swap(children[2], children[3]); });
}

TEST_F(UnsoundTree, WithADuplicateNameIsNotSaved) {
    expectNotSaved([](Tree& tree, Children& children) { rename(tree, children[1], 'a'); });
    expectNotSaved([](Tree& tree, Children& children) { rename(tree, children[3], 'c'); });
    expectNotSaved([](Tree&, Children& children) { children[1] = children[0]; });
}

TEST_F(UnsoundTree, WithAnInvalidNameIsNotSaved) {
    for (char const name : {'/', '.', '\xFF'})
        for (std::size_t const child : {0U, 3U})
            expectNotSaved([=](Tree& tree, Children& children) { rename(tree, children[child], name); });
    expectNotSaved([](Tree& tree, Children& children) { tree[children[0]].nameLength = 0; });
    expectNotSaved([](Tree& tree, Children& children) { tree[children[3]].nameLength = 5; });
}

TEST_F(UnsoundTree, WithAReleasedNodeIsNotSaved) {
    expectNotSaved([](Tree&, Children& children) { children[1] = filesystem::noNode; });
}

using NullBuffer = OnDisk;

TEST_F(NullBuffer, MakesTheSaveFail) {
    putFile(at("f"), "old");
    FileHandle* const handle = openedForWriting(files, "f");
    ASSERT_TRUE(write(files, handle, "new"));
    EXPECT_EQ(0, files.write(handle, nullptr, 1));
    EXPECT_FALSE(files.close(handle));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ("old", fileBytes(at("f")));
}

TEST_F(NullBuffer, IsIgnoredIfItIsEmpty) {
    FileHandle* const handle = openedForWriting(files, "f");
    EXPECT_EQ(0, files.write(handle, nullptr, 0));
    EXPECT_TRUE(files.close(handle));
}

TEST_F(NullBuffer, ChangesNothingInMemory) {
    RAMFileSystem memory;
    FileHandle* const handle = openedForWriting(memory, "/f");
    ASSERT_TRUE(write(memory, handle, "new"));
    EXPECT_EQ(0, memory.write(handle, nullptr, 1));
    EXPECT_TRUE(memory.close(handle));
    EXPECT_EQ("new", readFile(memory, "/f"));
}

} // namespace
