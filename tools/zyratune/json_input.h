// JSON files the tool reads. A file that does not parse is refused with the place where
// parsing stopped, as a JSON path and as line and column.
#pragma once

#include <string>

#include "json_values.h"

namespace zyratune {

Json ReadJsonFile(const std::string& path);

}  // namespace zyratune
