// SPDX-License-Identifier: Apache-2.0
#include "DirectAccess.h"
#include "FileSystemSupport.h"

// A node is found by the hash of its path, and then its path is compared. Paths with the same hash cannot be chosen,
// because the hash has a secret key. The tests change the tree directly instead, so that a node keeps the hash of
// another path.

namespace {

using namespace support;
using filesystem::Node;
using filesystem::NodeId;
using filesystem::Tree;

class PathComparison : public ::testing::Test {
protected:
    // The destructor of a file system may throw; the destructor of a test must not.
    ~PathComparison() noexcept override = default;

    void SetUp() override {
        for (char const* const directory :
             {"/user", "/user/group", "/user/group/part", "/user/group/part/more"})
            ASSERT_TRUE(files.mkdir(text(directory)));
    }

    /** The node of the only entry of a directory. */
    Node& only(Node const& directory) { return tree()[directory.children->ids.front()]; }
    Node& nodeOf(int level) {
        Node* node = &tree()[Tree::root];
        for (int i = 0; i < level; ++i)
            node = &only(*node);
        return *node;
    }
    Tree& tree() { return filesystem::DirectAccess::tree(files); }

    /** Changes each of these bytes in turn, and expects that the file or directory is then not found. */
    void expectEveryByteCompared(std::string const& path, char* bytes, std::size_t count) {
        ASSERT_TRUE(files.exists(text(path)));
        for (std::size_t i = 0; i < count; ++i) {
            char const before = bytes[i];
            bytes[i] = 'X';
            EXPECT_FALSE(files.exists(text(path))) << "byte " << i;
            bytes[i] = before;
        }
        EXPECT_TRUE(files.exists(text(path)));
    }

    /** `around` is the directory at `path`, with only the directory "more". */
    void expectSlashCompared(std::string const& path, Node& around) {
        ASSERT_TRUE(writeFile(files, path + "/more-file", "x"));
        NodeId const directory = around.children->ids.front();
        Node& file = tree()[around.children->ids.back()];
        ASSERT_EQ("more", tree()[directory].name());
        ASSERT_EQ("more-file", file.name());
        NodeId const parent = file.parent;
        // As if it were "more/file".
        file.parent = directory;
        file.nameLength = 4;
        std::string("file").copy(file.text(), 4);
        EXPECT_FALSE(files.exists(text(path + "/more-file")));
        file.parent = parent;
    }

    RAMFileSystem files;
};

TEST_F(PathComparison, IncludesEveryByteOfTheDirectoryPath) {
    Node& directory = nodeOf(4);
    ASSERT_EQ("user/group/part/more", directory.wholePath());
    expectEveryByteCompared("/user/group/part/more", directory.path.text, directory.wholePath().size());
}

TEST_F(PathComparison, IncludesEveryByteOfThePathAroundAFile) {
    ASSERT_TRUE(writeFile(files, "/user/group/part/more/file", "x"));
    Node& directory = nodeOf(4);
    expectEveryByteCompared("/user/group/part/more/file", directory.path.text, directory.wholePath().size());
    expectEveryByteCompared("/user/group/part/more/file", nodeOf(5).text(), std::string("file").size());
}

TEST_F(PathComparison, IncludesTheNamesBelowALongPath) {
    std::string path = "/user/group/part/more";
    for (int i = 0; i < 4; ++i) {
        path += "/directory";
        ASSERT_TRUE(files.mkdir(text(path)));
    }
    ASSERT_TRUE(writeFile(files, path + "/file", "x"));
    ASSERT_TRUE(nodeOf(5).hasPath());
    for (int level = 6; level <= 8; ++level) {
        ASSERT_FALSE(nodeOf(level).hasPath());
        expectEveryByteCompared(path + "/file", nodeOf(level).text(), std::string("directory").size());
    }
    expectEveryByteCompared(path + "/file", nodeOf(5).path.text, nodeOf(5).wholePath().size());
    expectEveryByteCompared(path, nodeOf(5).path.text, nodeOf(5).wholePath().size());
}

TEST_F(PathComparison, IncludesTheLengthOfADirectoryPath) {
    ASSERT_TRUE(writeFile(files, "/user/group/part/more/file", "x"));
    Node& directory = nodeOf(4);
    directory.path.text[directory.path.end - 1] = 'X';
    ++directory.path.end;
    EXPECT_FALSE(files.exists(text("/user/group/part/more")));
    EXPECT_FALSE(files.exists(text("/user/group/part/more/file")));
    --directory.path.end;
    EXPECT_TRUE(files.exists(text("/user/group/part/more/file")));
}

TEST_F(PathComparison, IncludesTheSlashBeforeAName) {
    expectSlashCompared("/user/group/part", nodeOf(3));
}

TEST_F(PathComparison, IncludesTheSlashBeforeANameBelowALongPath) {
    std::string const path = "/user/group/part/more/directory";
    ASSERT_TRUE(files.mkdir(text(path)));
    ASSERT_TRUE(files.mkdir(text(path + "/directory")));
    ASSERT_TRUE(files.mkdir(text(path + "/directory/more")));
    ASSERT_FALSE(nodeOf(6).hasPath());
    expectSlashCompared(path + "/directory", nodeOf(6));
}

TEST_F(PathComparison, IncludesTheParentOfAFileWithoutADirectory) {
    ASSERT_TRUE(writeFile(files, "/first", "x"));
    Node& file = tree()[tree()[Tree::root].children->ids.back()];
    ASSERT_EQ("first", file.name());
    expectEveryByteCompared("/first", file.text(), std::string("first").size());
    file.parent = tree()[Tree::root].children->ids.front();
    EXPECT_FALSE(files.exists(text("/first")));
    file.parent = Tree::root;
    EXPECT_TRUE(files.exists(text("/first")));
    ++file.nameLength;
    EXPECT_FALSE(files.exists(text("/first")));
    --file.nameLength;
}

} // namespace
