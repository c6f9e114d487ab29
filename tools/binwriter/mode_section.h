// Bytes of the mode section: the prefix of newer versions, then one record per mode.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "binwriter/entries.h"
#include "binwriter/version.h"

namespace binwriter {

// A record's id is its index in `modes` unless it carries an override.
std::vector<uint8_t> EncodeModeSection(const std::vector<ModeRecord>& modes,
                                       const std::string& prefix,
                                       const Version& binaryVersion);

}  // namespace binwriter
