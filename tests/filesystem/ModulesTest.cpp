// SPDX-License-Identifier: Apache-2.0
#include "DiskSupport.h"

namespace {

using namespace support;

char const* const symbol = "velmorandTestModuleNumber";

/** The result of the function of a loaded test module. */
int numberOf(FileSystem& files, void* module) {
    void* const address = files.getSymbolAddress(module, text(symbol));
    return address != nullptr ? reinterpret_cast<int (*)()>(address)() : 0;
}

template <class Form>
using LoadModule = EachFileSystem<Form>;
TYPED_TEST_SUITE(LoadModule, Forms, FormNames);

TYPED_TEST(LoadModule, GivesAccessToTheSymbolsOfASharedObject) {
    ASSERT_TRUE(writeFile(this->files, "/module.so", fileBytes(VELMORAND_TEST_MODULE_1)));
    void* const module = this->files.loadModule(text("/module.so"));
    ASSERT_NE(nullptr, module);
    EXPECT_EQ(1, numberOf(this->files, module));
    EXPECT_TRUE(this->files.unloadModule(module));
}

TYPED_TEST(LoadModule, DistinguishesTwoModules) {
    ASSERT_TRUE(writeFile(this->files, "/1.so", fileBytes(VELMORAND_TEST_MODULE_1)));
    ASSERT_TRUE(writeFile(this->files, "/2.so", fileBytes(VELMORAND_TEST_MODULE_2)));
    void* const first = this->files.loadModule(text("/1.so"));
    void* const second = this->files.loadModule(text("/2.so"));
    EXPECT_EQ(1, numberOf(this->files, first));
    EXPECT_EQ(2, numberOf(this->files, second));
    EXPECT_TRUE(this->files.unloadModule(first));
    EXPECT_TRUE(this->files.unloadModule(second));
}

TYPED_TEST(LoadModule, FailsForAFileThatIsNotASharedObject) {
    ASSERT_TRUE(writeFile(this->files, "/text", "not a shared object"));
    ASSERT_TRUE(writeFile(this->files, "/empty", ""));
    ASSERT_TRUE(this->files.mkdir(text("/directory")));
    EXPECT_EQ(nullptr, this->files.loadModule(text("/text")));
    EXPECT_EQ(nullptr, this->files.loadModule(text("/empty")));
    EXPECT_EQ(nullptr, this->files.loadModule(text("/directory")));
}

TYPED_TEST(LoadModule, FailsForAMissingFileAndTheRoot) {
    EXPECT_EQ(nullptr, this->files.loadModule(text("/missing.so")));
    EXPECT_EQ(nullptr, this->files.loadModule(text("libc.so.6")));
    EXPECT_EQ(nullptr, this->files.loadModule(text("/")));
    EXPECT_EQ(nullptr, this->files.loadModule(QString()));
}

template <class Form>
using GetSymbolAddress = EachFileSystem<Form>;
TYPED_TEST_SUITE(GetSymbolAddress, Forms, FormNames);

TYPED_TEST(GetSymbolAddress, IsNullForAMissingSymbol) {
    ASSERT_TRUE(writeFile(this->files, "/module.so", fileBytes(VELMORAND_TEST_MODULE_1)));
    void* const module = this->files.loadModule(text("/module.so"));
    ASSERT_NE(nullptr, module);
    EXPECT_EQ(nullptr, this->files.getSymbolAddress(module, text("velmorandNoSuchSymbol")));
    EXPECT_EQ(nullptr, this->files.getSymbolAddress(module, text(symbol) + QChar(QChar::Null)));
    EXPECT_TRUE(this->files.unloadModule(module));
}

TYPED_TEST(GetSymbolAddress, IsNullForANullModule) {
    EXPECT_EQ(nullptr, this->files.getSymbolAddress(nullptr, text("malloc")));
}

template <class Form>
using UnloadModule = EachFileSystem<Form>;
TYPED_TEST_SUITE(UnloadModule, Forms, FormNames);

TYPED_TEST(UnloadModule, RefusesNull) {
    EXPECT_FALSE(this->files.unloadModule(nullptr));
}

} // namespace
