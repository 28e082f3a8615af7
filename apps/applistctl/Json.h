// SPDX-License-Identifier: MIT

// Results for programs.
//
// Names and ids are bytes, but JSON is Unicode: what is not UTF-8 becomes U+FFFD, and is no reason
// to throw. Control characters are escaped, including those that JSON itself would let through to a
// terminal and those that turn the direction of text.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/applistctl/Differences.h"
#include "apps/applistctl/ListState.h"
#include "apps/applistctl/Status.h"

namespace applist::ctl {

enum class JsonStyle {
    Short,   // one line
    Pretty,  // indented, for people
};

// An array of objects with "name", "id" and "selected".
std::string JsonOf(const ListState& list, JsonStyle style);

// An array of objects with "name" and "id".
std::string JsonOf(const std::vector<Entry>& items, JsonStyle style);

// An object with "name" and "id"; null for nothing.
std::string JsonOf(const std::optional<Entry>& item, JsonStyle style);

// An object with "event" and, where they apply, "name", "id", "old_name", "old_id", "count"
// and the names of the tallies.
std::string JsonOf(const Event& event, JsonStyle style);

// An object with "bus", "owner", "pid", "program", "items", "selection", "partners" and "serial";
// null for what is not known, or not there.
std::string JsonOf(const Status& status, JsonStyle style);

// One string.
std::string JsonOf(const std::string& bytes, JsonStyle style);

}  // namespace applist::ctl
