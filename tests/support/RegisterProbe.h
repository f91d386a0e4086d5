// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <utils/properties/Register.h>

namespace support {

/** Whether another thread can take the register's lock. */
inline bool lockIsFree() {
    bool taken = false;
    std::thread([&taken] {
        taken = utils::properties::_Register::_mutex->try_lock();
        if (taken)
            utils::properties::_Register::_mutex->unlock();
    }).join();
    return taken;
}

/**
 * A register that exposes its protected members, lists the file-system calls that its operations make, and
 * fails them on demand.
 *
 * As in any register, the constructor loads from the static paths and the destructor saves to `_UserRegisterPath`:
 * set the paths first. With the initial, empty paths, a probe does not use the disk. Calls by the constructor and the
 * destructor are not listed.
 *
 * A call is listed as the operation and its argument ("exists /user/a", "open /user/a 1", "writeByte S",
 * "writeInt 42", "write text", "close"); bytes other than printable ASCII are written as "\x01". Only the register's
 * own calls are listed and failed, not those that the file system or `onCall` makes. A probe is not thread-safe.
 */
class RegisterProbe : public utils::properties::_Register {
public:
    using _Register::_callbacks;
    using _Register::_changedProperties;
    using _Register::_GlobalRegisterPath;
    using _Register::_haveGlobalRegister;
    using _Register::_TempRegisterPath;
    using _Register::_UserRegisterPath;
    using _Register::_VL_REGISTER_NAME;

    RegisterProbe() = default;

    /** Results that `exists` and `mkdir` return for a path instead of the real ones; `mkdir` then creates nothing. */
    std::map<std::string, bool> existsAnswers;
    std::map<std::string, bool> mkdirAnswers;

    /** Called before every call that is listed, with its text. */
    std::function<void(std::string const& call)> onCall;

    /** Makes the `nth` call of an operation from now on, such as "writeInt", throw `std::runtime_error`. */
    void failCall(std::string const& operation, int nth = 1) { _failures[operation] = nth; }

    /** Makes the `nth` opening of a path from now on return false. */
    void refuseOpen(std::string const& path, int nth = 1) { _refusals[path].insert(_openings[path] + nth); }

    /** Returns the calls made since the last call of this function. */
    std::vector<std::string> takeCalls() { return std::exchange(_calls, {}); }

    /** Writes a file, without listing the calls; its directory must exist. */
    void store(std::string const& path, std::string const& bytes) {
        Quiet const quiet(*this);
        filesystem::FileHandle* handle = nullptr;
        if (!RAMFileSystem::open(QString::fromUtf8(path.data(), static_cast<int>(path.size())), &handle,
                                 MODE_WRITE))
            throw std::runtime_error("cannot store " + path);
        RAMFileSystem::write(handle, bytes.data(), static_cast<long>(bytes.size()));
        RAMFileSystem::close(handle);
    }

    /** Reads a file, without listing the calls. */
    std::string content(std::string const& path) {
        Quiet const quiet(*this);
        filesystem::FileHandle* handle = nullptr;
        if (!RAMFileSystem::open(QString::fromUtf8(path.data(), static_cast<int>(path.size())), &handle,
                                 MODE_READ))
            throw std::runtime_error("cannot read " + path);
        std::string bytes = RAMFileSystem::readBytes(handle, static_cast<int>(RAMFileSystem::size(handle)));
        RAMFileSystem::close(handle);
        return bytes;
    }

    [[nodiscard]] std::set<filesystem::DirEntry> getFileList(QString const& path) const override {
        Call const call(*this, "getFileList", text(path));
        return RAMFileSystem::getFileList(path);
    }
    [[nodiscard]] bool exists(QString const& path) const override {
        Call const call(*this, "exists", text(path));
        auto const answer = existsAnswers.find(text(path));
        return call.isTheRegisters() && answer != existsAnswers.end() ? answer->second
                                                                      : RAMFileSystem::exists(path);
    }
    bool remove(QString const& path) override {
        Call const call(*this, "remove", text(path));
        return RAMFileSystem::remove(path);
    }
    bool mkdir(QString const& path) override {
        Call const call(*this, "mkdir", text(path));
        auto const answer = mkdirAnswers.find(text(path));
        return call.isTheRegisters() && answer != mkdirAnswers.end() ? answer->second
                                                                     : RAMFileSystem::mkdir(path);
    }
    bool open(QString const& path, filesystem::FileHandle** handle, FileSystemMode mode) override {
        Call const call(*this, "open", text(path) + " " + std::to_string(mode));
        if (call.isTheRegisters() && opensInVain(text(path))) {
            *handle = nullptr;
            return false;
        }
        return RAMFileSystem::open(path, handle, mode);
    }
    bool close(filesystem::FileHandle* handle) override {
        Call const call(*this, "close");
        return RAMFileSystem::close(handle);
    }
    long read(filesystem::FileHandle* handle, void* buffer, long count) override {
        Call const call(*this, "read", std::to_string(count));
        return RAMFileSystem::read(handle, buffer, count);
    }
    long write(filesystem::FileHandle* handle, void const* buffer, long count) override {
        Call const call(*this, "write",
                        printable({static_cast<char const*>(buffer), static_cast<std::size_t>(count)}));
        return RAMFileSystem::write(handle, buffer, count);
    }
    bool seek(filesystem::FileHandle* handle, long offset, FileSystemOrigin origin) override {
        Call const call(*this, "seek", std::to_string(offset) + " " + std::to_string(origin));
        return RAMFileSystem::seek(handle, offset, origin);
    }
    [[nodiscard]] long tell(filesystem::FileHandle* handle) override {
        Call const call(*this, "tell");
        return RAMFileSystem::tell(handle);
    }
    [[nodiscard]] long size(filesystem::FileHandle* handle) override {
        Call const call(*this, "size");
        return RAMFileSystem::size(handle);
    }
    [[nodiscard]] long size(QString const& path) override {
        Call const call(*this, "size", text(path));
        return RAMFileSystem::size(path);
    }
    [[nodiscard]] char readByte(filesystem::FileHandle* handle) override {
        Call const call(*this, "readByte");
        return RAMFileSystem::readByte(handle);
    }
    [[nodiscard]] short readShort(filesystem::FileHandle* handle) override {
        Call const call(*this, "readShort");
        return RAMFileSystem::readShort(handle);
    }
    [[nodiscard]] int readInt(filesystem::FileHandle* handle) override {
        Call const call(*this, "readInt");
        return RAMFileSystem::readInt(handle);
    }
    [[nodiscard]] float readFloat(filesystem::FileHandle* handle) override {
        Call const call(*this, "readFloat");
        return RAMFileSystem::readFloat(handle);
    }
    [[nodiscard]] std::string readBytes(filesystem::FileHandle* handle, int count) override {
        Call const call(*this, "readBytes", std::to_string(count));
        return RAMFileSystem::readBytes(handle, count);
    }
    void skip(filesystem::FileHandle* handle, int count) override {
        Call const call(*this, "skip", std::to_string(count));
        RAMFileSystem::skip(handle, count);
    }
    void writeByte(filesystem::FileHandle* handle, char value) override {
        Call const call(*this, "writeByte", printable({value}));
        RAMFileSystem::writeByte(handle, value);
    }
    void writeShort(filesystem::FileHandle* handle, short value) override {
        Call const call(*this, "writeShort", std::to_string(value));
        RAMFileSystem::writeShort(handle, value);
    }
    void writeInt(filesystem::FileHandle* handle, int value) override {
        Call const call(*this, "writeInt", std::to_string(value));
        RAMFileSystem::writeInt(handle, value);
    }
    void writeFloat(filesystem::FileHandle* handle, float value) override {
        Call const call(*this, "writeFloat", std::to_string(value));
        RAMFileSystem::writeFloat(handle, value);
    }
    [[nodiscard]] bool isDirectory(QString const& path) const override {
        Call const call(*this, "isDirectory", text(path));
        return RAMFileSystem::isDirectory(path);
    }
    [[nodiscard]] bool isFile(QString const& path) const override {
        Call const call(*this, "isFile", text(path));
        return RAMFileSystem::isFile(path);
    }
    bool serialize(filesystem::FileHandle& handle) const override {
        Call const call(*this, "serialize");
        return RAMFileSystem::serialize(handle);
    }
    void unserialize(filesystem::FileHandle& handle) override {
        Call const call(*this, "unserialize");
        RAMFileSystem::unserialize(handle);
    }
    bool serialize(QString const& path, filesystem::FileHandle& handle) const override {
        Call const call(*this, "serialize", text(path));
        return RAMFileSystem::serialize(path, handle);
    }
    void unserialize(QString const& path, filesystem::FileHandle& handle) override {
        Call const call(*this, "unserialize", text(path));
        RAMFileSystem::unserialize(path, handle);
    }

private:
    /** While an object exists, calls are the file system's own or the test's, and are not listed. */
    class Quiet {
    public:
        explicit Quiet(RegisterProbe const& probe) : _probe(probe) { ++_probe._depth; }
        Quiet(Quiet const&) = delete;
        Quiet& operator=(Quiet const&) = delete;
        ~Quiet() { --_probe._depth; }

    private:
        RegisterProbe const& _probe;
    };

    /**
     * Exists while an operation runs. If the register called the operation, the call is listed, and fails on demand.
     * Calls that the operation itself makes are neither listed nor failed.
     */
    class Call {
    public:
        Call(RegisterProbe const& probe, std::string const& operation, std::string const& argument = {})
            : _isTheRegisters(probe._depth == 0 && probe.begin(operation, argument)), _quiet(probe) {}

        [[nodiscard]] bool isTheRegisters() const { return _isTheRegisters; }

    private:
        bool _isTheRegisters;
        Quiet _quiet;
    };

    static std::string text(QString const& path) { return path.toUtf8().toStdString(); }

    static std::string printable(std::string const& bytes) {
        static char const digits[] = "0123456789abcdef";
        std::string result;
        for (char const byte : bytes) {
            auto const value = static_cast<unsigned char>(byte);
            if (value >= ' ' && value <= '~')
                result += byte;
            else
                (result += "\\x") += {digits[value >> 4U], digits[value & 15U]};
        }
        return result;
    }

    bool begin(std::string const& operation, std::string const& argument) const {
        std::string const call = argument.empty() ? operation : operation + " " + argument;
        _calls.push_back(call);
        if (onCall) {
            Quiet const quiet(*this);
            onCall(call);
        }
        auto const failure = _failures.find(operation);
        if (failure != _failures.end() && --failure->second == 0)
            throw std::runtime_error(operation + " fails");
        return true;
    }

    bool opensInVain(std::string const& path) { return _refusals[path].count(++_openings[path]) != 0; }

    mutable int _depth = 0;
    mutable std::vector<std::string> _calls;
    mutable std::map<std::string, int> _failures;
    std::map<std::string, std::set<int>> _refusals;
    std::map<std::string, int> _openings;
};

} // namespace support
