// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Failure.h"
#include "Moving.h"
#include "Places.h"

/** The program's commands. Each prints its result on standard output. Errors: `Failure`. */
namespace tool {

Status list(Places const& places, std::string const& group, bool isRecursive, bool isLong);
Status listDeclared(Places const& places, std::string const& group, bool isRecursive, bool isLong);
Status get(Places const& places, std::string const& name);
Status set(Places const& places, std::string const& kind, std::string const& name,
           std::vector<std::string> const& texts, bool isForced);
Status lock(Places const& places, std::vector<std::string> const& names);
Status unlock(Places const& places, std::vector<std::string> const& names);
Status remove(Places const& places, std::string const& name);
Status exportGroup(Places const& places, std::string const& group);
Status import(Places const& places, std::string const& source, bool isReplacing);
Status previewImport(Places const& places, std::string const& source, bool isReplacing);
Status importFrom(Places const& places, std::string const& store, Moving const& moving);
Status diff(std::string const& before, std::string const& after);
Status check(Places const& places, std::optional<std::string> const& path);
Status checkDeclared(Places const& places, std::optional<std::string> const& path);
Status restore(Places const& places, std::optional<std::string> const& name);
Status watch(Places const& places);

} // namespace tool
