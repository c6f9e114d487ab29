// The modes of a JSON description in the order a binary lists them: the tree under "modes"
// depth first, then each tree of "detachedModes" (modes that no path reaches). Each mode is
// named by its path, the mode names from its tree's root joined by '|'; where two modes have
// the same path, the later ones are told apart by "#2", "#3", ... behind it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "json_values.h"

namespace zyratune {

struct DescribedMode {
    std::string path;
    // Where the mode's object lies in the description, and the same as text for messages
    // ("modes.children[1]").
    Json::json_pointer pointer;
    std::string where;
    // Index of the parent in the list; unset for the root of a tree.
    std::optional<size_t> parent;
};

// ToolError naming the place, prefixed by `input`, for modes that are no objects, and children
// or detached modes that are no arrays.
std::vector<DescribedMode> DescribedModes(const Json& description, const std::string& input);

// The same path with the '#' number the given occurrence (from 0) takes.
std::string OccurrencePath(const std::string& path, size_t occurrence);

}  // namespace zyratune
