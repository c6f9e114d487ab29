// The JSON description of a loaded binary, the form build writes binaries from: the header's
// fields, the mode tree with each mode's module entries in their order, modules whose fields
// the tool knows as values and the others as bytes, together with the entries their bytes may
// point to, which keep their ids (docs/zyratune-json.md). A module whose fields come from a
// run-time schema stays bytes, which build writes, with its values beside them to read.
#pragma once

#include <set>

#include "json_values.h"
#include "opened_binary.h"

namespace zyratune {

// `rewritten`: modules known by a run-time schema that are described by their values instead,
// to be written from them (BuildBinary with that schema's fields), for set to change them.
Json DescribeBinary(OpenedBinary& binary, const std::set<const ParameterModule*>& rewritten = {});

}  // namespace zyratune
