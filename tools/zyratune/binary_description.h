// The JSON description of a loaded binary, the form build writes binaries from: the header's
// fields, the mode tree with each mode's module entries in their order, modules whose fields
// the tool knows as values and the others as bytes, together with the entries their bytes may
// point to, which keep their ids (docs/zyratune-json.md).
#pragma once

#include "json_values.h"
#include "opened_binary.h"

namespace zyratune {

Json DescribeBinary(OpenedBinary& binary);

}  // namespace zyratune
