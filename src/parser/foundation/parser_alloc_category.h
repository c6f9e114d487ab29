// Category the parser passes to ZyraCalloc for the stack's memory accounting.
#pragma once

#include <cstdint>

constexpr uint32_t kParserAllocCategory = 0;
