// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <typeinfo>

#include <cxxabi.h>

#include <boost/thread/recursive_mutex.hpp>
#include <gtest/gtest.h>

#include "support/RegisterProbe.h"

using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::RAMFileSystem;
using support::RegisterProbe;
using utils::properties::_Register;
using utils::properties::PropertyBadType;
using utils::properties::PropertyNotFound;

// The members and their signatures, checked at compile time.

static_assert(std::is_convertible_v<_Register*, RAMFileSystem*>);
static_assert(std::is_convertible_v<RAMFileSystem*, FileSystem*>);
static_assert(sizeof(_Register) == sizeof(RAMFileSystem) + sizeof(std::set<std::string>) +
                                       sizeof(std::multimap<std::string, _Register::Callback*>));
static_assert(!std::is_copy_constructible_v<_Register> && !std::is_copy_assignable_v<_Register>);
static_assert(!std::is_copy_constructible_v<RegisterProbe> && !std::is_copy_assignable_v<RegisterProbe>);
static_assert(!std::is_move_constructible_v<RegisterProbe> && !std::is_move_assignable_v<RegisterProbe>);
static_assert(!std::is_default_constructible_v<_Register>, "only getInstance() creates the register");
static_assert(std::has_virtual_destructor_v<_Register>);
static_assert(!std::is_nothrow_destructible_v<_Register>);
static_assert(!std::is_nothrow_destructible_v<RAMFileSystem>);
static_assert(!std::is_nothrow_destructible_v<FileSystem>);

static_assert(std::is_same_v<decltype(_Register::_mutex), boost::recursive_mutex*>);
static_assert(std::is_same_v<decltype(RegisterProbe::_VL_REGISTER_NAME), std::string>);
static_assert(std::is_same_v<decltype(RegisterProbe::_TempRegisterPath), std::string>);
static_assert(std::is_same_v<decltype(RegisterProbe::_GlobalRegisterPath), std::string>);
static_assert(std::is_same_v<decltype(RegisterProbe::_UserRegisterPath), std::string>);
static_assert(std::is_same_v<decltype(RegisterProbe::_haveGlobalRegister), bool>);
static_assert(std::is_same_v<decltype(RegisterProbe::_changedProperties), std::set<std::string>>);
static_assert(
    std::is_same_v<decltype(RegisterProbe::_callbacks), std::multimap<std::string, _Register::Callback*>>);

static_assert(utils::properties::SCOPE_GLOBAL == 0);
static_assert(utils::properties::SCOPE_USER == 1);
static_assert(utils::properties::SCOPE_TEMPORARY == 2);
static_assert(std::is_same_v<std::underlying_type_t<utils::properties::RegisterScope>, int>);
static_assert(utils::properties::TYPE_STRING == 83);
static_assert(utils::properties::TYPE_NUMBER == 78);
static_assert(utils::properties::TYPE_INTEGER == 73);
static_assert(utils::properties::TYPE_BOOLEAN == 66);
static_assert(utils::properties::TYPE_LIST == 76);
static_assert(std::is_same_v<std::underlying_type_t<utils::properties::Type>, std::int32_t>);
static_assert(std::is_convertible_v<utils::properties::RegisterScope, int>);
static_assert(std::is_convertible_v<utils::properties::Type, int>);
static_assert(FileSystem::MODE_READ == 0 && FileSystem::MODE_WRITE == 1);

static_assert(std::is_base_of_v<utils::Exception, PropertyBadType>);
static_assert(std::is_base_of_v<utils::Exception, PropertyNotFound>);
static_assert(!std::is_convertible_v<PropertyBadType*, utils::Exception*>);
static_assert(!std::is_convertible_v<PropertyNotFound*, utils::Exception*>);
static_assert(!std::is_convertible_v<PropertyBadType*, std::exception*>);
static_assert(!std::is_convertible_v<PropertyNotFound*, std::exception*>);
static_assert(sizeof(PropertyBadType) == sizeof(utils::Exception));
static_assert(sizeof(PropertyNotFound) == sizeof(utils::Exception));
static_assert(std::is_default_constructible_v<PropertyBadType> &&
              std::is_copy_constructible_v<PropertyBadType>);
static_assert(std::is_default_constructible_v<PropertyNotFound> &&
              std::is_copy_constructible_v<PropertyNotFound>);

namespace {

/** The index of a virtual operation in its class's table, from a pointer to it in the layout of the C++ ABI. */
template <class Operation>
std::size_t slot(Operation operation) {
    struct {
        std::size_t pointer;
        std::ptrdiff_t adjustment;
    } parts{};
    static_assert(sizeof parts == sizeof operation);
    std::memcpy(&parts, &operation, sizeof parts);
    bool const markedInAdjustment = (parts.adjustment & 1) != 0; // as on ARM
    return (markedInAdjustment ? parts.pointer : parts.pointer - 1) / sizeof(void*);
}

} // namespace

TEST(SlotOrder, BeginsWithTheFileSystem) {
    EXPECT_EQ(2U, slot(&FileSystem::getFileList));
    EXPECT_EQ(3U, slot(&FileSystem::exists));
    EXPECT_EQ(4U, slot(&FileSystem::remove));
    EXPECT_EQ(5U, slot(&FileSystem::mkdir));
    EXPECT_EQ(6U, slot(&FileSystem::open));
    EXPECT_EQ(7U, slot(&FileSystem::close));
    EXPECT_EQ(8U, slot(&FileSystem::read));
    EXPECT_EQ(9U, slot(&FileSystem::write));
    EXPECT_EQ(10U, slot(&FileSystem::seek));
    EXPECT_EQ(11U, slot(&FileSystem::tell));
    EXPECT_EQ(12U, slot<long (FileSystem::*)(FileHandle*)>(&FileSystem::size));
    EXPECT_EQ(13U, slot<long (FileSystem::*)(QString const&)>(&FileSystem::size));
    EXPECT_EQ(14U, slot(&FileSystem::readByte));
    EXPECT_EQ(15U, slot(&FileSystem::readShort));
    EXPECT_EQ(16U, slot(&FileSystem::readInt));
    EXPECT_EQ(17U, slot(&FileSystem::readFloat));
    EXPECT_EQ(18U, slot(&FileSystem::readBytes));
    EXPECT_EQ(19U, slot(&FileSystem::skip));
    EXPECT_EQ(20U, slot(&FileSystem::writeByte));
    EXPECT_EQ(21U, slot(&FileSystem::writeShort));
    EXPECT_EQ(22U, slot(&FileSystem::writeInt));
    EXPECT_EQ(23U, slot(&FileSystem::writeFloat));
    EXPECT_EQ(24U, slot(&FileSystem::loadModule));
    EXPECT_EQ(25U, slot(&FileSystem::unloadModule));
    EXPECT_EQ(26U, slot(&FileSystem::getSymbolAddress));
    EXPECT_EQ(27U, slot(&FileSystem::getUniqueFileName));
    EXPECT_EQ(28U, slot(&FileSystem::isDirectory));
    EXPECT_EQ(29U, slot(&FileSystem::isFile));
}

TEST(SlotOrder, ContinuesWithTheMemoryFileSystem) {
    EXPECT_EQ(30U, slot<bool (RAMFileSystem::*)(FileHandle&) const>(&RAMFileSystem::serialize));
    EXPECT_EQ(31U, slot<void (RAMFileSystem::*)(FileHandle&)>(&RAMFileSystem::unserialize));
    EXPECT_EQ(32U,
              slot<bool (RAMFileSystem::*)(QString const&, FileHandle&) const>(&RAMFileSystem::serialize));
    EXPECT_EQ(33U, slot<void (RAMFileSystem::*)(QString const&, FileHandle&)>(&RAMFileSystem::unserialize));
}

TEST(SlotOrder, OfAListenerHasPropertyChangedBeforeOwner) {
    EXPECT_EQ(2U, slot(&_Register::Callback::propertyChanged));
    EXPECT_EQ(3U, slot(&_Register::Callback::owner));
}

TEST(RegisterType, HasTheMemoryFileSystemAsItsOnlyPublicBase) {
    auto const* const type = dynamic_cast<abi::__si_class_type_info const*>(&typeid(_Register));
    ASSERT_NE(nullptr, type) << "not exactly one public base";
    EXPECT_EQ(typeid(RAMFileSystem), *type->__base_type);
}

namespace {

template <class Thrown>
void expectPrivateBase() {
    auto const* const type = dynamic_cast<abi::__vmi_class_type_info const*>(&typeid(Thrown));
    ASSERT_NE(nullptr, type) << "the base is public";
    ASSERT_EQ(1U, type->__base_count);
    EXPECT_EQ(typeid(utils::Exception), *type->__base_info[0].__base_type);
    EXPECT_FALSE(type->__base_info[0].__is_public_p());
    EXPECT_FALSE(type->__base_info[0].__is_virtual_p());
    EXPECT_EQ(0, type->__base_info[0].__offset());
}

/** The handler that catches a `Thrown`. The handlers of the base classes are inside, so that they see it first. */
template <class Thrown>
std::string handler() {
    try {
        try {
            throw Thrown();
        } catch (utils::Exception const&) {
            return "utils::Exception";
        } catch (std::exception const&) {
            return "std::exception";
        }
    } catch (Thrown const&) {
        return "its own";
    }
}

} // namespace

TEST(PropertyBadType, HasAPrivateBase) {
    expectPrivateBase<PropertyBadType>();
}

TEST(PropertyBadType, IsCaughtOnlyByItsOwnName) {
    EXPECT_EQ("its own", handler<PropertyBadType>());
}

TEST(PropertyNotFound, HasAPrivateBase) {
    expectPrivateBase<PropertyNotFound>();
}

TEST(PropertyNotFound, IsCaughtOnlyByItsOwnName) {
    EXPECT_EQ("its own", handler<PropertyNotFound>());
}

TEST(PropertyNotFound, IsNotAPropertyBadType) {
    EXPECT_FALSE((std::is_convertible_v<PropertyNotFound*, PropertyBadType*>));
    EXPECT_FALSE((std::is_convertible_v<PropertyBadType*, PropertyNotFound*>));
}
