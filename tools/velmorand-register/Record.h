// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Value.h"

namespace tool {

/** What a property's bytes, one value record, were found to be. */
struct Reading {
    /**
     * What applications read: missing elements as 0, nothing after the end. None for bytes of no kind, and for a
     * list that claims more elements than the record has bytes, which would fill an application's memory.
     */
    std::optional<Value> value;

    /** Why the record is not a whole one, or has something after its end; empty when it is sound. */
    std::string damage;

    /** The kind's name, or "bytes" when there is no value. */
    [[nodiscard]] std::string_view kind() const { return value ? kindNames.at(value->index()) : "bytes"; }
};

/** Reads a record. One without bytes is sound: a property that was made and never written. */
Reading decode(std::string_view record);

/** The record that applications write for a value. */
std::string encode(Value const& value);

} // namespace tool
