// SPDX-License-Identifier: Apache-2.0
#include "filesystem/ChangeLog.h"

#include <algorithm>
#include <utility>

#include "DirectAccess.h"
#include "Journal.h"
#include "utils/Exception.h"

namespace filesystem {

namespace {

int rankOf(char byte) {
    return byte == '/' ? 0 : static_cast<int>(static_cast<unsigned char>(byte)) + 1;
}

bool isBelow(std::string const& path, std::string const& above) {
    return above.empty() || (path.size() > above.size() && path[above.size()] == '/' &&
                             path.compare(0, above.size(), above) == 0);
}

} // namespace

ChangeLog::ChangeLog(RAMFileSystem& fileSystem, std::string const& directory, std::function<void()> wake)
    : _fileSystem(fileSystem) {
    Tree& tree = DirectAccess::tree(fileSystem);
    if (tree.journal() != nullptr)
        throw utils::Exception("the file system already has a change log");
    if (tree.find(TreePath::below(directory, {})) == noNode)
        throw utils::Exception("cannot record changes in " + directory + ": no such directory");
    _journal = std::make_unique<Journal>(tree, directory, std::move(wake));
    tree.setJournal(_journal.get());
}

ChangeLog::~ChangeLog() {
    DirectAccess::tree(_fileSystem).setJournal(nullptr);
}

std::vector<std::string> ChangeLog::take() {
    return _journal->take();
}

bool ChangeLog::isEmpty() const noexcept {
    return _journal->isEmpty();
}

bool ChangeLog::precedes(std::string const& left, std::string const& right) {
    // "/" ranks below all other bytes, so that of two levels, one of which is a prefix of the other, the shorter comes
    // first.
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](char a, char b) { return rankOf(a) < rankOf(b); });
}

std::vector<std::string> ChangeLog::outermost(std::vector<std::string> paths) {
    std::sort(paths.begin(), paths.end(), precedes);
    std::vector<std::string> result;
    for (std::string& path : paths)
        if (result.empty() || (path != result.back() && !isBelow(path, result.back())))
            result.push_back(std::move(path));
    return result;
}

} // namespace filesystem
