// Where the JSON descriptions of two binaries (binary_description.h) differ: header fields,
// modes on one side only and their links and pins, and per mode the module entries on one side
// only, the fields of values and the ranges of bytes that differ, and the entries of bytes.
// Bytes that a run-time schema shows as values are compared by those values' fields, and by
// their bytes only where the values are equal.
#pragma once

#include <string>
#include <vector>

#include "json_values.h"

namespace zyratune {

enum class Presence { Both, OnlyA, OnlyB };

struct Difference {
    // The mode's path; empty for the header.
    std::string mode;
    // The module's name, with "#2", "#3", ... for later entries of that name in the mode; empty
    // for the mode itself.
    std::string module;
    // A field path below the values, "bytes[4-7]", "entries[12]", "version", a mode's "link" or
    // "pinned", a header field; empty for the mode or module as a whole.
    std::string field;
    Presence presence = Presence::Both;
    // The two sides where both have something.
    Json a;
    Json b;
};

std::vector<Difference> DiffDescriptions(const Json& a, const Json& b);

// "Default|Usecase.Preview aecxconvergence.unitStepSize: 0.3 -> 0.25", "Default abf21_tfe:
// only in B", "header.tool: \"x\" -> \"y\"".
std::string DifferenceText(const Difference& difference);
Json DifferenceJson(const Difference& difference);

}  // namespace zyratune
