// Names of the Mode numbers and of the SubModes within each Mode, as tuning tools print them.
#pragma once

namespace ModeNames {

// Name of `mode`, or null when the number has none.
const char* ModeName(unsigned int mode);

// Name of `subMode` within `mode`, or null. Default and Sensor have no submode names.
const char* SubModeName(unsigned int mode, unsigned int subMode);

}  // namespace ModeNames
