// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <utils/properties/Register.h>

#include "support/RegisterProbe.h"

/** The two forms of a register, which have the same contract. */
namespace forms {

using utils::properties::_Register;

/** The register of the process, which may use fast paths. */
struct Plain {
    static constexpr char const* name = "Plain";
    _Register& settings = *_Register::getInstance();
};

/** A derived register, which sees every file-system call. */
struct Derived {
    static constexpr char const* name = "Derived";
    support::RegisterProbe settings;
};

using Both = testing::Types<Plain, Derived>;

struct Names {
    template <class Form>
    static std::string GetName(int /*index*/) {
        return Form::name;
    }
};

template <class Form>
class Test : public testing::Test {
protected:
    std::unique_ptr<Form> const form = std::make_unique<Form>();
    _Register& settings = form->settings;
};

/** The pending names of a register. */
inline std::set<std::string>& pending(_Register& settings) {
    return settings.*(&support::RegisterProbe::_changedProperties);
}

/** Writes bytes to a path with the register's own file operations. */
inline void store(_Register& settings, std::string const& path, std::string const& bytes) {
    filesystem::FileHandle* handle = nullptr;
    ASSERT_TRUE(settings.open(QString::fromStdString(path), &handle, _Register::MODE_WRITE)) << path;
    EXPECT_EQ(static_cast<long>(bytes.size()),
              settings.write(handle, bytes.data(), static_cast<long>(bytes.size())));
    settings.close(handle);
}

/** Reads all bytes at a path with the register's own file operations. */
inline std::string content(_Register& settings, std::string const& path) {
    filesystem::FileHandle* handle = nullptr;
    if (!settings.open(QString::fromStdString(path), &handle, _Register::MODE_READ))
        return "nothing at " + path;
    std::string bytes = settings.readBytes(handle, static_cast<int>(settings.size(handle)));
    settings.close(handle);
    return bytes;
}

/** The result of a call: "done", the name of a property exception, or the message of another exception. */
template <class Call>
std::string outcome(Call&& call) {
    try {
        call();
    } catch (utils::properties::PropertyBadType const&) {
        return "PropertyBadType";
    } catch (utils::properties::PropertyNotFound const&) {
        return "PropertyNotFound";
    } catch (std::exception const& failure) {
        return failure.what();
    }
    return "done";
}

} // namespace forms
