// SPDX-License-Identifier: Apache-2.0
#include "filesystem/ChangeLog.h"

#include <utility>

#include "DirectAccess.h"
#include "Journal.h"
#include "utils/Exception.h"

namespace filesystem {

ChangeLog::ChangeLog(RAMFileSystem& fileSystem, std::string const& directory, std::function<void()> wake)
    : _fileSystem(fileSystem) {
    Tree& tree = DirectAccess::tree(fileSystem);
    if (tree.hasJournal())
        throw utils::Exception("The file system has a change log already.");
    if (tree.find(TreePath::below(directory, {})) == noNode)
        throw utils::Exception("There is no directory " + directory + " to record changes in.");
    _journal = std::make_unique<Journal>(tree, directory, std::move(wake));
    tree.setJournal(_journal.get());
}

ChangeLog::~ChangeLog() {
    DirectAccess::tree(_fileSystem).setJournal(nullptr);
}

std::vector<std::string> ChangeLog::take() {
    return _journal->take();
}

} // namespace filesystem
