// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem/RAMFileSystem.h>
#include <filesystem/TreeImage.h>

#include "RegisterFileBytes.h"
#include "support/MemoryPeak.h"

namespace {

using filesystem::FileHandle;
using filesystem::RAMFileSystem;
using filesystem::TreeChange;
using filesystem::TreeImage;
using testing::ElementsAre;
using testing::IsEmpty;

using Kind = TreeChange::Kind;

/** A change in a line: "- path", "+ path/" for a directory, "+ path=content" for a file. */
std::string line(TreeChange const& change) {
    switch (change.kind) {
    case Kind::removed:
        return "- " + change.path;
    case Kind::directory:
        return "+ " + change.path + '/';
    case Kind::file:
        break;
    }
    return "+ " + change.path + '=' + change.content;
}

std::vector<std::string> lines(std::vector<TreeChange> const& changes) {
    std::vector<std::string> result;
    for (TreeChange const& change : changes)
        result.push_back(line(change));
    return result;
}

TreeChange file(std::string const& path, std::string const& content) {
    return {path, Kind::file, content};
}
TreeChange directory(std::string const& path) {
    return {path, Kind::directory, {}};
}
TreeChange removed(std::string const& path) {
    return {path, Kind::removed, {}};
}

TreeImage tree(std::vector<TreeChange> const& content) {
    return TreeImage().with(content);
}

/** The content of a tree. */
std::vector<std::string> content(TreeImage const& image) {
    return lines(TreeImage().differencesTo(image));
}

TreeImage const sample = tree({directory("a"), file("a/x", "1"), file("a/y", "2"), directory("b"),
                               directory("b/empty"), file("c", "3")});

} // namespace

TEST(TreeImage, ContainsTheTreeItWasBuiltFrom) {
    EXPECT_THAT(content(sample), ElementsAre("+ a/", "+ a/x=1", "+ a/y=2", "+ b/", "+ b/empty/", "+ c=3"));
    EXPECT_EQ(3U, sample.fileCount());
}

TEST(TreeImage, IsReadFromItsBytes) {
    EXPECT_THAT(TreeImage(std::string(sample.bytes())).differencesTo(sample), IsEmpty());
}

TEST(TreeImage, DropsBytesAfterTheTree) {
    EXPECT_EQ(sample.bytes(), TreeImage(std::string(sample.bytes()) + "more").bytes());
}

TEST(TreeImage, IsTakenFromAFileSystemInMemory) {
    RAMFileSystem memory;
    memory.mkdir(QStringLiteral("/user"));
    memory.mkdir(QStringLiteral("/user/a"));
    FileHandle* handle = nullptr;
    memory.open(QStringLiteral("/user/a/x"), &handle, RAMFileSystem::MODE_WRITE);
    memory.writeByte(handle, '1');
    memory.close(handle);
    EXPECT_THAT(content(TreeImage::of(memory, "/user/")), ElementsAre("+ a/", "+ a/x=1"));
    EXPECT_THAT(content(TreeImage::of(memory, "/nothing")), IsEmpty());
}

TEST(TreeImage, ReplacesADirectoryOfAFileSystemInMemory) {
    RAMFileSystem files;
    tree({file("old", "0"), file("a/y", "9")}).putInto(files, "/there");
    sample.putInto(files, "/there");
    EXPECT_EQ(content(sample), content(TreeImage::of(files, "/there")));
    EXPECT_TRUE(files.isFile("/there/a/x"));
    EXPECT_FALSE(files.exists("/there/old"));
}

TEST(TreeImage, ReplacesAFileOfAFileSystemInMemory) {
    RAMFileSystem files;
    tree({file("there", "0")}).putInto(files, "/top");
    sample.putInto(files, "/top/there/");
    EXPECT_EQ(content(sample), content(TreeImage::of(files, "/top/there")));
}

TEST(TreeImage, CannotReplaceAPathThatCannotBeADirectory) {
    RAMFileSystem files;
    EXPECT_THROW(sample.putInto(files, "/missing/there"), utils::Exception);
    EXPECT_TRUE(files.getFileList("/").empty());
}

TEST(TreeImage, HasTheBytesThatAFileSystemWritesForTheSameTree) {
    RAMFileSystem memory;
    memory.mkdir(QStringLiteral("/user"));
    for (char const* const name : {"b", "a", "c"}) {
        memory.mkdir(QStringLiteral("/user/") + QLatin1String(name));
        FileHandle* handle = nullptr;
        memory.open(QStringLiteral("/user/") + QLatin1String(name) + QStringLiteral("/x"), &handle,
                    RAMFileSystem::MODE_WRITE);
        memory.write(handle, "content", 7);
        memory.close(handle);
    }
    EXPECT_EQ(TreeImage::of(memory, "/user").bytes(),
              tree({file("a/x", "content"), file("b/x", "content"), file("c/x", "content")}).bytes());
}

TEST(TreeImageDifferences, NameEveryChangedPath) {
    TreeImage const other = sample.with({file("a/x", "9"), file("d/new", "4"), removed("c")});
    EXPECT_THAT(lines(sample.differencesTo(other)), ElementsAre("+ a/x=9", "- c", "+ d/", "+ d/new=4"));
}

TEST(TreeImageDifferences, OfARemovedDirectoryNameItsContents) {
    TreeImage const other = sample.with({removed("a"), removed("a/x"), removed("a/y")});
    EXPECT_THAT(lines(sample.differencesTo(other)), ElementsAre("- a", "- a/x", "- a/y"));
}

TEST(TreeImageDifferences, DistinguishAFileFromADirectory) {
    TreeImage const other = sample.with({file("a", "file"), file("c/x", "1")});
    EXPECT_THAT(lines(sample.differencesTo(other)),
                ElementsAre("+ a=file", "- a/x", "- a/y", "+ c/", "+ c/x=1"));
}

TEST(TreeImageDifferences, ToNothingAtAPathAreRemovals) {
    EXPECT_THAT(lines(sample.differencesToNothing("a")), ElementsAre("- a", "- a/x", "- a/y"));
    EXPECT_THAT(lines(sample.differencesToNothing("missing/x")), IsEmpty());
}

TEST(TreeImageDifferences, ToAFileAtAPathReplaceTheEntry) {
    EXPECT_THAT(lines(sample.differencesToFile("c", "3")), IsEmpty());
    EXPECT_THAT(lines(sample.differencesToFile("c", "4")), ElementsAre("+ c=4"));
    EXPECT_THAT(lines(sample.differencesToFile("a", "4")), ElementsAre("+ a=4", "- a/x", "- a/y"));
    EXPECT_THAT(lines(sample.differencesToFile("a/x/z", "4")), ElementsAre("+ a/x/z=4"));
}

TEST(TreeImageDifferences, ToADirectoryAtAPathAreTheDifferencesOfItsEntries) {
    TreeImage const below = tree({file("x", "1"), file("z", "5")});
    EXPECT_THAT(lines(sample.differencesToDirectory("a", below)), ElementsAre("- a/y", "+ a/z=5"));
    EXPECT_THAT(lines(sample.differencesToDirectory("c", below)), ElementsAre("+ c/", "+ c/x=1", "+ c/z=5"));
}

TEST(TreeImageWithChanges, IsUnchangedIfThereAreNone) {
    EXPECT_EQ(sample.bytes(), sample.with({}).bytes());
}

TEST(TreeImageWithChanges, KeepsTheDirectoryOfARemovedFile) {
    EXPECT_THAT(content(tree({file("a/x", "1")}).with({removed("a/x")})), ElementsAre("+ a/"));
}

TEST(TreeImageWithChanges, RemovesADirectoryOnlyIfItIsEmpty) {
    EXPECT_THAT(content(sample.with({removed("a"), removed("a/x")})),
                ElementsAre("+ a/", "+ a/y=2", "+ b/", "+ b/empty/", "+ c=3"));
}

TEST(TreeImageWithChanges, IgnoresARemovalOfAMissingPath) {
    EXPECT_EQ(sample.bytes(), sample.with({removed("a/missing"), removed("c/x"), removed("z/y")}).bytes());
}

TEST(TreeImageWithChanges, CreatesTheDirectoriesAroundAFile) {
    EXPECT_THAT(content(TreeImage().with({file("p/q/r", "1")})), ElementsAre("+ p/", "+ p/q/", "+ p/q/r=1"));
}

TEST(TreeImageWithChanges, ReplacesADirectoryWithAFile) {
    EXPECT_THAT(content(sample.with({file("a", "file")})),
                ElementsAre("+ a=file", "+ b/", "+ b/empty/", "+ c=3"));
}

TEST(TreeImageWithChanges, ReplacesAFileWithADirectory) {
    EXPECT_THAT(content(tree({file("c", "3")}).with({directory("c")})), ElementsAre("+ c/"));
    EXPECT_THAT(content(tree({file("c", "3")}).with({file("c/x", "1")})), ElementsAre("+ c/", "+ c/x=1"));
}

TEST(TreeImageWithChanges, AppliesTheOuterOfTwoContradictoryChanges) {
    EXPECT_THAT(content(TreeImage().with({file("a", "1"), file("a/x", "2")})), ElementsAre("+ a=1"));
}

namespace {

/** Generates random trees from a few names, so that they have much in common. */
class RandomTree {
public:
    explicit RandomTree(unsigned seed) : _random(seed) {}

    TreeImage make() {
        RAMFileSystem memory;
        memory.mkdir(QStringLiteral("/user"));
        for (int i = 0; i < 40; ++i)
            add(memory, QStringLiteral("/user"), 4);
        return TreeImage::of(memory, "/user");
    }

private:
    void add(RAMFileSystem& memory, QString const& around, int depth) {
        QString const path = around + QStringLiteral("/") + QLatin1String(names[number(5)]);
        if (number(2) == 0 && depth > 0) {
            memory.mkdir(path);
            add(memory, path, depth - 1);
            return;
        }
        FileHandle* handle = nullptr;
        if (!memory.open(path, &handle, RAMFileSystem::MODE_WRITE))
            return;
        std::string const content(static_cast<std::size_t>(number(40)), static_cast<char>('0' + number(3)));
        memory.write(handle, content.data(), static_cast<long>(content.size()));
        memory.close(handle);
    }

    int number(int below) { return std::uniform_int_distribution<int>(0, below - 1)(_random); }

    static constexpr char const* names[] = {"a", "a-b", "b", "long enough for a head of two bytes", "z"};

    std::mt19937 _random;
};

} // namespace

TEST(TreeImageWithChanges, FromTheDifferencesToAnotherTreeEqualsThatTree) {
    RandomTree random(1);
    for (int round = 0; round < 300; ++round) {
        TreeImage const from = random.make();
        TreeImage const to = random.make();
        ASSERT_EQ(to.bytes(), from.with(from.differencesTo(to)).bytes()) << "round " << round;
    }
}

namespace {

/** The result of reading some bytes: the content of the tree, or why they are refused. */
template <class... Similar>
std::vector<std::string> outcome(std::string const& bytes, Similar const&... similar) {
    try {
        TreeImage const image(bytes, similar...);
        std::vector<std::string> result = content(image);
        result.push_back(std::to_string(image.fileCount()));
        result.emplace_back(image.bytes());
        return result;
    } catch (utils::Exception const& refusal) {
        return {refusal.what()};
    }
}

/** Bytes with a few random changes, insertions and removals. */
class Damage {
public:
    explicit Damage(unsigned seed) : _random(seed) {}

    std::string to(std::string bytes) {
        for (std::size_t change = number(3) + 1; change > 0; --change)
            changeOne(bytes);
        return bytes;
    }

private:
    void changeOne(std::string& bytes) {
        std::size_t const place = number(bytes.size() + 1);
        std::size_t const size = number(4);
        switch (number(3)) {
        case 0:
            bytes.insert(place, bytes.substr(number(bytes.size()), size));
            break;
        case 1:
            bytes.erase(place, size);
            break;
        default:
            if (place < bytes.size())
                bytes[place] = static_cast<char>(bytes[place] ^ 1 << number(8));
        }
    }

    std::size_t number(std::size_t below) {
        return std::uniform_int_distribution<std::size_t>(0, below - 1)(_random);
    }

    std::mt19937 _random;
};

/** The payload of a tree whose checksum is computed in more than one piece. */
std::string largePayload() {
    std::vector<TreeChange> changes;
    for (int group = 100; group < 200; ++group)
        for (int i = 100; i < 120; ++i)
            changes.push_back(file("group" + std::to_string(group) + "/name" + std::to_string(i), "content"));
    std::string const bytes(tree(changes).bytes());
    return bytes.substr(bytes.find("group100") - 3); // with the heads of the map and the name
}

} // namespace

TEST(TreeImage, RefusesLengthsThatAreCorrectOnlyInTheirLow32Bits) {
    for (std::uint64_t const upper : {1ULL << 32, 1ULL << 62}) {
        auto const tooLong = [upper](std::uint64_t length) { return support::bigEndian(upper + length, 8); };
        std::string const file = support::registerFile("\xA0");
        std::string const item = support::name("f") + support::content("x");
        for (std::string const& bytes : {
                 file.substr(0, file.size() - 2) + '\x5B' + tooLong(1) + '\xA0',
                 support::registerFile("\xBB" + tooLong(1) + item),
                 support::registerFile("\xA1\x7B" + tooLong(1) + item.substr(1)),
                 support::registerFile("\xA1" + support::name("f") + '\x5B' + tooLong(1) + 'x'),
                 support::registerFile("\xA1" + support::name("d") + '\xBB' + tooLong(0)),
             })
            EXPECT_THAT(outcome(bytes), testing::ElementsAre("damaged: truncated"));
    }
}

TEST(TreeImageLikeAnother, IsTheSameAsIfReadAlone) {
    RandomTree random(2);
    TreeImage similar;
    for (int round = 0; round < 300; ++round) {
        TreeImage const image = random.make();
        std::string const bytes(image.bytes());
        ASSERT_EQ(outcome(bytes), outcome(bytes, similar)) << "round " << round;
        TreeImage const like(bytes, similar);
        TreeImage const next = random.make();
        ASSERT_EQ(next.bytes(), like.with(like.differencesTo(next)).bytes()) << "round " << round;
        similar = like;
    }
}

TEST(TreeImageLikeAnother, IsRefusedForTheSameReasonAsIfReadAlone) {
    std::string const payload = largePayload();
    TreeImage const similar(support::registerFile(payload));
    ASSERT_EQ(2'000U, similar.fileCount());
    Damage damage(3);
    for (int round = 0; round < 2'000; ++round) {
        std::string const bytes = support::registerFile(damage.to(payload));
        ASSERT_EQ(outcome(bytes), outcome(bytes, similar)) << "round " << round;
    }
}

TEST(TreeImageLikeAnother, IsCheckedByItsChecksum) {
    std::string const payload = largePayload();
    std::string bytes = support::registerFile(payload);
    TreeImage const similar(bytes);
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
    EXPECT_THAT(outcome(bytes, similar), ElementsAre("damaged: its checksum does not match"));
}

TEST(TreeImageLikeAnother, UsesMemoryForItsOwnSizeOnly) {
    TreeImage const similar(support::registerFile(largePayload()));
    std::string const bytes(tree({file("a", "1")}).bytes());
    support::MemoryPeak const counting;
    TreeImage const small(bytes, similar);
    EXPECT_LE(support::MemoryPeak::bytes(), 1'024);
}

TEST(TreeImageLikeAnother, MayResembleATreeWithUnorderedNames) {
    using support::content;
    using support::name;
    std::string const bytes =
        support::registerFile("\xA3" + name("c") + "\xA1" + name("x") + content("1") + name("b") + "\xA1" +
                              name("y") + content("2") + name("a") + "\xA1" + name("z") + content("3"));
    EXPECT_EQ(outcome(bytes), outcome(bytes, TreeImage(bytes)));
}

namespace {

/** Small random changes of a tree of three levels. */
class SmallChanges {
public:
    explicit SmallChanges(unsigned seed) : _random(seed) {}

    std::vector<TreeChange> next() {
        std::map<std::string, TreeChange> changes;
        for (int count = number(3) + 1; count > 0; --count) {
            std::string const path = name(12) + '/' + name(4) + '/' + name(4);
            changes.insert({path, number(4) == 0 ? removed(path) : file(path, contentOf(number(60)))});
        }
        if (number(4) == 0)
            return {file("new" + name(9) + "/x/y", "1")};
        std::vector<TreeChange> sorted;
        for (auto const& [path, change] : changes)
            sorted.push_back(change);
        return sorted;
    }

private:
    static std::string contentOf(int size) { return std::string(static_cast<std::size_t>(size), '='); }
    std::string name(int count) { return std::string(1, static_cast<char>('a' + number(count))); }
    int number(int below) { return std::uniform_int_distribution<int>(0, below - 1)(_random); }

    std::mt19937 _random;
};

} // namespace

TEST(TreeImageLikeAnother, StaysCorrectThroughManySmallChanges) {
    SmallChanges random(4);
    TreeImage changed;
    TreeImage read;
    for (int step = 0; step < 1'000; ++step) {
        auto const changes = random.next();
        changed = changed.with(changes);
        std::string const bytes(changed.bytes());
        read = TreeImage(bytes, read);
        TreeImage const alone(bytes);
        ASSERT_EQ(content(alone), content(changed)) << "step " << step;
        ASSERT_EQ(content(alone), content(read)) << "step " << step;
        auto const further = random.next();
        ASSERT_EQ(alone.with(further).bytes(), read.with(further).bytes()) << "step " << step;
        ASSERT_EQ(lines(alone.differencesTo(alone.with(further))),
                  lines(read.differencesTo(changed.with(further))))
            << "step " << step;
    }
}

TEST(TreeImage, AcceptsATreeOfManyLevels) {
    std::string path = "x";
    for (int level = 0; level < 100'000; ++level)
        path.insert(0, "x/");
    TreeImage const deep = TreeImage().with({file(path, "1")});
    EXPECT_EQ(1U, deep.fileCount());
    EXPECT_THAT(lines(deep.differencesToFile(path, "1")), IsEmpty());
}
