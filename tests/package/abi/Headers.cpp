// SPDX-License-Identifier: Apache-2.0
//
// Everything that the public headers compile into programs: classes that only programs instantiate, and values that
// programs hold or create for the libraries. Their layout must not change, like that of the libraries' own classes.
#include <chrono>
#include <string>
#include <vector>

#include <filesystem/ChangeCounter.h>
#include <filesystem/ChangeLog.h>
#include <filesystem/DirEntry.h>
#include <filesystem/Direct.h>
#include <filesystem/EntryNotice.h>
#include <filesystem/FileHandle.h>
#include <filesystem/FileWatch.h>
#include <filesystem/PrivateDirectory.h>
#include <filesystem/RAMFileSystem.h>
#include <filesystem/RealFileSystem.h>
#include <filesystem/TreeImage.h>
#include <utils/Exception.h>
#include <utils/properties/Register.h>
#include <utils/properties/Types.h>
#include <velmorand/AnyValue.h>
#include <velmorand/Catalogue.h>
#include <velmorand/Changes.h>
#include <velmorand/Declared.h>
#include <velmorand/Duration.h>
#include <velmorand/ForeignSettings.h>
#include <velmorand/Group.h>
#include <velmorand/Import.h>
#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>
#include <velmorand/QtThread.h>
#include <velmorand/QtTypes.h>
#include <velmorand/Save.h>

namespace velmorand {

enum class Colour { red, green };
VELMORAND_ENUM(Colour, {Colour::red, "red"}, {Colour::green, "green"})

template class detail::Declared<int>;
template class detail::Declared<std::vector<std::string>>;

} // namespace velmorand

// The comparison covers only the types of exported symbols, so each type gets an exported variable.
namespace velmorand::held {

#define VELMORAND_HOLDS(name, ...)                                                                           \
    [[gnu::visibility("default")]] __VA_ARGS__* name = nullptr;                                              \
    static_assert(sizeof(__VA_ARGS__) > 0)

// Declared settings: single values, a list, and types that are stored as values of another kind.
VELMORAND_HOLDS(stringProperty, Property<std::string>);
VELMORAND_HOLDS(numberProperty, Property<double>);
VELMORAND_HOLDS(integerProperty, Property<int>);
VELMORAND_HOLDS(booleanProperty, Property<bool>);
VELMORAND_HOLDS(stringsProperty, Property<std::vector<std::string>>);
VELMORAND_HOLDS(longProperty, Property<long>);
VELMORAND_HOLDS(enumProperty, Property<Colour>);
VELMORAND_HOLDS(durationProperty, Property<std::chrono::milliseconds>);
VELMORAND_HOLDS(textProperty, Property<QString>);
VELMORAND_HOLDS(declaredInteger, detail::Declared<int>);
VELMORAND_HOLDS(declaredStrings, detail::Declared<std::vector<std::string>>);
VELMORAND_HOLDS(constant, detail::Constant<int>);
VELMORAND_HOLDS(rule, detail::Rule<int>);
VELMORAND_HOLDS(reason, detail::Reason);
VELMORAND_HOLDS(fault, detail::Fault<int>);
VELMORAND_HOLDS(detailDescription, detail::Description);
VELMORAND_HOLDS(detailLimits, detail::Limits<int, int>);
VELMORAND_HOLDS(detailChoices, detail::Choices<int>);
VELMORAND_HOLDS(detailCheck, detail::Check<bool (*)(int)>);

// Values.
VELMORAND_HOLDS(anyValue, AnyValue);
VELMORAND_HOLDS(changes, Changes);
VELMORAND_HOLDS(declaredProperty, DeclaredProperty);
VELMORAND_HOLDS(decodedRecord, DecodedRecord);
VELMORAND_HOLDS(enumName, detail::EnumName<Colour>);
VELMORAND_HOLDS(enumNames, detail::EnumNames<Colour>);
VELMORAND_HOLDS(executor, Executor);
VELMORAND_HOLDS(foreignSetting, ForeignSetting);
VELMORAND_HOLDS(group, Group);
VELMORAND_HOLDS(importMap, ImportMap);
VELMORAND_HOLDS(importReport, ImportReport);
VELMORAND_HOLDS(importSource, ImportSource);
VELMORAND_HOLDS(importedSetting, ImportedSetting);
VELMORAND_HOLDS(listener, Listener);
VELMORAND_HOLDS(liveEvent, LiveEvent);
VELMORAND_HOLDS(liveOptions, LiveOptions);
VELMORAND_HOLDS(liveSettings, LiveSettings);
VELMORAND_HOLDS(lock, Lock);
VELMORAND_HOLDS(queuedListener, QueuedListener);
VELMORAND_HOLDS(saveResult, SaveResult);

VELMORAND_HOLDS(registerScope, RegisterScope);
VELMORAND_HOLDS(valueType, utils::properties::Type);
VELMORAND_HOLDS(exception, Exception);
VELMORAND_HOLDS(registerLock, decltype(utils::properties::_Register::_mutex));
VELMORAND_HOLDS(badType, PropertyBadType);
VELMORAND_HOLDS(notFound, PropertyNotFound);

VELMORAND_HOLDS(fileSystemMode, filesystem::FileSystem::FileSystemMode);
VELMORAND_HOLDS(fileSystemOrigin, filesystem::FileSystem::FileSystemOrigin);
VELMORAND_HOLDS(changeLog, filesystem::ChangeLog);
VELMORAND_HOLDS(dirEntry, filesystem::DirEntry);
VELMORAND_HOLDS(directChange, filesystem::direct::Change);
VELMORAND_HOLDS(directEntry, filesystem::direct::Entry);
VELMORAND_HOLDS(directWalk, filesystem::direct::Walk);
VELMORAND_HOLDS(directoryLock, filesystem::DirectoryLock);
VELMORAND_HOLDS(fileWatch, filesystem::FileWatch);
VELMORAND_HOLDS(newerFormat, filesystem::NewerFormat);
VELMORAND_HOLDS(realFileSystem, filesystem::RealFileSystem);
VELMORAND_HOLDS(realFileSystemStamp, filesystem::RealFileSystem::Stamp);
VELMORAND_HOLDS(treeChange, filesystem::TreeChange);
VELMORAND_HOLDS(treeImage, filesystem::TreeImage);

// Classes that programs derive from.
VELMORAND_HOLDS(fileHandle, filesystem::FileHandle);
VELMORAND_HOLDS(registerInstance, utils::properties::_Register);
VELMORAND_HOLDS(registerCallback, utils::properties::_Register::Callback);

} // namespace velmorand::held
