// SPDX-License-Identifier: Apache-2.0
#include "filesystem/RAMFileSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "LastListing.h"
#include "Lifetimes.h"
#include "Module.h"
#include "Number.h"
#include "RAMHandles.h"
#include "Tree.h"
#include "TreeFormat.h"
#include "utils/Exception.h"

namespace filesystem {

namespace {

NodeId find(Tree const& tree, QString const& path) {
    CanonicalPath const canonical(path);
    return canonical.isValid() ? tree.find(canonical.path()) : noNode;
}

bool isDirectoryAt(Tree const& tree, NodeId id) {
    return id != noNode && tree[id].directory != 0;
}

bool isFileAt(Tree const& tree, NodeId id) {
    return id != noNode && tree[id].directory == 0;
}

/** The file of a handle; null if it has been removed or replaced. */
Node* fileOf(Tree& tree, RAMHandle const& handle) {
    Node& node = tree[handle.node];
    return node.generation == handle.generation ? &node : nullptr;
}

/** The handle, if it is open and belongs to this file system; otherwise null. */
RAMHandle* ownHandle(FileSystem const& fileSystem, FileHandle* handle) {
    if (handle == nullptr || &handle->fileSystem() != &fileSystem)
        return nullptr;
    auto* const own = static_cast<RAMHandle*>(handle);
    return own->open ? own : nullptr;
}

RAMHandle* ownHandle(FileSystem const& fileSystem, FileHandle* handle, FileSystem::FileSystemMode mode) {
    RAMHandle* const own = ownHandle(fileSystem, handle);
    return own != nullptr && own->mode == mode ? own : nullptr;
}

std::set<DirEntry> entriesOf(Tree& tree, NodeId directory) {
    std::set<DirEntry> entries;
    for (NodeId const child : tree.children(directory))
        entries.insert(entries.end(), {textOfName(tree[child].name())});
    return entries;
}

[[noreturn]] void refuseAsUnreadable() {
    throw utils::Exception("cannot be read: " + std::generic_category().message(errno));
}

/** Reads up to `count` bytes. Errors: `utils::Exception` if the file cannot be read. */
std::string_view readSome(FileHandle& handle, char* buffer, std::size_t count) {
    errno = 0; // for a file system that does not set it
    long const moved = handle.fileSystem().read(&handle, buffer, static_cast<long>(count));
    if (static_cast<std::size_t>(moved) != count && errno != 0)
        refuseAsUnreadable();
    return {buffer, static_cast<std::size_t>(moved)};
}

/**
 * Reads the payload, which starts at `position`. Allocates nothing if the file is too short for it.
 * Errors: `utils::Exception` if the file cannot be read, or does not fit into memory.
 */
Bytes readPayload(FileHandle& handle, long position, std::uint64_t announced) {
    FileSystem& source = handle.fileSystem();
    long const end = source.size(&handle);
    if (end < 0)
        refuseAsUnreadable();
    if (position > end || announced > static_cast<std::uint64_t>(end - position))
        return {};
    auto const size = numberAs<std::size_t>(announced);
    if (!source.seek(&handle, position, FileSystem::ORIGIN_BEGIN))
        refuseAsUnreadable();
    std::unique_ptr<char[]> block(new (std::nothrow) char[size]);
    if (!block)
        throw utils::Exception("not enough memory to read " + std::to_string(size) + " bytes");
    std::string_view const content = readSome(handle, block.get(), size);
    return {std::move(block), content};
}

/** The beginning of a message about a file from which a tree cannot be read. */
std::string subject(FileHandle const& handle, QString const& path) {
    return handle.path().empty() ? "Can't read a register file into " + path.toStdString()
                                 : std::string(handle.path());
}

} // namespace

RAMFileSystem::RAMFileSystem()
    : _tree(std::make_unique<Tree>()), _handles(std::make_unique<RAMHandles>()),
      _lastListing(std::make_unique<LastListing>()) {
    lifetimes::begin(this);
}

RAMFileSystem::~RAMFileSystem() noexcept(false) {
    lifetimes::end(this);
}

std::set<DirEntry> RAMFileSystem::getFileList(QString const& path) const {
    NodeId const directory = find(*_tree, path);
    if (!isDirectoryAt(*_tree, directory))
        return {};
    return _lastListing->get(directory, _tree->version(), [&] { return entriesOf(*_tree, directory); });
}

bool RAMFileSystem::exists(QString const& path) const {
    return find(*_tree, path) != noNode;
}

bool RAMFileSystem::remove(QString const& path) {
    NodeId const id = find(*_tree, path);
    if (id == noNode || id == Tree::root)
        return false;
    _tree->remove(id);
    return true;
}

bool RAMFileSystem::mkdir(QString const& path) {
    CanonicalPath const canonical(path);
    return canonical.isValid() && _tree->find(canonical.path()) == noNode &&
           _tree->make(canonical.path(), true) != noNode;
}

bool RAMFileSystem::open(QString const& path, FileHandle** handle, FileSystemMode mode) {
    if (handle == nullptr)
        return false;
    *handle = nullptr;
    CanonicalPath const canonical(path);
    if (!canonical.isValid() || (mode != MODE_READ && mode != MODE_WRITE))
        return false;

    NodeId id = _tree->find(canonical.path());
    if (isDirectoryAt(*_tree, id) || (id == noNode && mode == MODE_READ))
        return false;
    RAMHandle& opened = _handles->take(*this);
    if (id == noNode) {
        try {
            id = _tree->make(canonical.path(), false);
        } catch (...) {
            _handles->giveBack(opened);
            throw;
        }
        if (id == noNode) {
            _handles->giveBack(opened);
            return false;
        }
    } else if (mode == MODE_WRITE) {
        _tree->touch(id);
        (*_tree)[id].dropContent();
    }
    opened.node = id;
    opened.generation = (*_tree)[id].generation;
    opened.mode = mode;
    opened.position = 0;
    *handle = &opened;
    return true;
}

bool RAMFileSystem::close(FileHandle* handle) {
    RAMHandle* const own = ownHandle(*this, handle);
    if (own == nullptr)
        return false;
    _handles->giveBack(*own);
    return true;
}

long RAMFileSystem::read(FileHandle* handle, void* buffer, long count) {
    RAMHandle* const own = ownHandle(*this, handle, MODE_READ);
    Node const* const file = own != nullptr ? fileOf(*_tree, *own) : nullptr;
    if (file == nullptr || count <= 0 || own->position >= file->file.size) {
        errno = own != nullptr ? 0 : EBADF;
        return 0;
    }
    std::size_t const moved = std::min(static_cast<std::size_t>(count), file->file.size - own->position);
    if (moved < static_cast<std::size_t>(count))
        errno = 0;
    std::memcpy(buffer, file->content().data() + own->position, moved);
    own->position += moved;
    return static_cast<long>(moved);
}

long RAMFileSystem::write(FileHandle* handle, void const* buffer, long count) {
    RAMHandle* const own = ownHandle(*this, handle, MODE_WRITE);
    Node* const file = own != nullptr ? fileOf(*_tree, *own) : nullptr;
    if (file == nullptr || buffer == nullptr || count <= 0)
        return 0;
    std::size_t const most = Node::longestText - file->nameLength;
    std::size_t const moved = std::min(static_cast<std::size_t>(count), most - std::min(own->position, most));
    std::size_t const end = own->position + moved;
    _tree->touch(own->node);
    if (end > file->file.size) {
        file->growContent(end);
        // Another handle may have emptied the file meanwhile. The gap reads as zeros.
        if (own->position > file->file.size)
            std::memset(file->contentBegin() + file->file.size, 0, own->position - file->file.size);
        file->file.size = static_cast<std::uint32_t>(end);
    }
    std::memcpy(file->contentBegin() + own->position, buffer, moved);
    own->position = end;
    return static_cast<long>(moved);
}

bool RAMFileSystem::seek(FileHandle* handle, long offset, FileSystemOrigin origin) {
    RAMHandle* const own = ownHandle(*this, handle);
    if (own == nullptr)
        return false;
    Node const* const file = fileOf(*_tree, *own);
    long const size = file != nullptr ? static_cast<long>(file->file.size) : 0;
    long const position = static_cast<long>(own->position);
    if (origin != ORIGIN_BEGIN && origin != ORIGIN_CURRENT && origin != ORIGIN_END)
        return false;
    long const from = origin == ORIGIN_BEGIN ? 0 : origin == ORIGIN_CURRENT ? position : size;
    if (offset < -from || offset > size - from)
        return false;
    own->position = static_cast<std::size_t>(from + offset);
    return true;
}

long RAMFileSystem::tell(FileHandle* handle) {
    RAMHandle const* const own = ownHandle(*this, handle);
    return own != nullptr ? static_cast<long>(own->position) : -1;
}

void* RAMFileSystem::loadModule(QString const& path) {
    NodeId const id = find(*_tree, path);
    return isFileAt(*_tree, id) ? loadModuleBytes((*_tree)[id].content()) : nullptr;
}

bool RAMFileSystem::unloadModule(void* module) {
    return filesystem::unloadModule(module);
}

void* RAMFileSystem::getSymbolAddress(void* module, QString const& symbol) {
    return symbolAddress(module, symbol);
}

bool RAMFileSystem::isDirectory(QString const& path) const {
    return isDirectoryAt(*_tree, find(*_tree, path));
}

bool RAMFileSystem::isFile(QString const& path) const {
    return isFileAt(*_tree, find(*_tree, path));
}

bool RAMFileSystem::serialize(FileHandle& handle) const {
    return serialize(QStringLiteral("/"), handle);
}

void RAMFileSystem::unserialize(FileHandle& handle) {
    unserialize(QStringLiteral("/"), handle);
}

bool RAMFileSystem::serialize(QString const& path, FileHandle& handle) const {
    NodeId const id = find(*_tree, path);
    FileSystem& target = handle.fileSystem();
    auto const bytes = encodeTree(*_tree, isDirectoryAt(*_tree, id) ? id : noNode);
    if (!bytes) {
        // Fails on purpose: after a failed write, closing the handle leaves the existing file unchanged.
        target.write(&handle, nullptr, 1);
        errno = EAGAIN;
        return false;
    }
    auto const size = static_cast<long>(bytes->content.size());
    return target.write(&handle, bytes->content.data(), size) == size;
}

void RAMFileSystem::unserialize(QString const& path, FileHandle& handle) {
    CanonicalPath const canonical(path);
    long const start = handle.fileSystem().tell(&handle);
    try {
        if (!canonical.isValid())
            throw utils::Exception("invalid path in memory");
        char first[longestTreeHead];
        TreeHead const head = decodeTreeHead(readSome(handle, first, sizeof first));
        Bytes const payload = readPayload(handle, start + static_cast<long>(head.size), head.payloadSize);
        Tree::Apart result(*_tree, canonical.path());
        decodeTree(*_tree, result, canonical.path(), head, payload.content);
        if (!_tree->graft(std::move(result), canonical.path()))
            throw utils::Exception("cannot create the directory");
    } catch (utils::Exception const& failure) {
        throw utils::Exception(subject(handle, path) + ": " + failure.what());
    }
}

} // namespace filesystem
