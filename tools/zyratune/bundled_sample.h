// Where `zyratune inspect` finds the bundled sample when given no file.
#pragma once

#include <string>

namespace zyratune {

// sample.bin beside the program in the build tree; in an installed tree, the sample in the
// data folder of the prefix the program lies in, wherever that prefix was moved.
std::string BundledSample();

}  // namespace zyratune
