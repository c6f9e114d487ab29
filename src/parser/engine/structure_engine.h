// Loading and unloading of any plain structure, walked from its descriptor table.
#pragma once

#include <cstdint>

#include "parser/engine/descriptors.h"

class IParameterLoggingAPI;
class ParameterFileSymbolTable;
class ParameterFileSymbolTableEntry;

namespace ParameterEngine {

// How deep counted arrays of structures may nest on one walk. A tree deeper than this cannot
// load, so a walk over loaded data that goes deeper has met a loop of shared arrays.
constexpr unsigned int kMaxNesting = 64;

// Fills the structure at `pStructure` from the entry's cursor, field by field in declared
// order, and leaves the cursor behind it. Every member with bytes in the file is cleared first;
// the structure's own reservedID and a top structure's ModuleID stay as they are. After the
// first failure nothing more is read: each remaining scalar logs once, the rest stays zero,
// and the result is false. What was loaded stays for Unload to give back.
bool Load(const StructDescriptor& descriptor, void* pStructure,
          ParameterFileSymbolTableEntry* pEntry, unsigned char alignment);

// Gives back the strings and counted arrays below `pStructure`, shared ones through the
// table's duplicate references, and nulls their pointers. A null table frees nothing. Safe on a
// structure that loaded only in part.
void Unload(const StructDescriptor& descriptor, void* pStructure,
            ParameterFileSymbolTable* pTable);

// Makes `pTarget` a deep copy of `pSource`: the bytes first, then a private allocation for every
// string and counted array below, so the copy shares nothing. What cannot be copied (memory,
// an array that holds itself further down, or a copy beyond kMaxCloneBytes) is logged and left
// null with a count of 0, and the result is false. Unload with any table frees the copy, whose memory no table knows.
bool CloneFrom(const StructDescriptor& descriptor, void* pTarget, const void* pSource,
               IParameterLoggingAPI* pLogger);

// A structure of its own from ZyraCalloc holding a deep copy of `pSource`; null when out of
// memory.
void* Clone(const StructDescriptor& descriptor, const void* pSource);

// Bytes one copy may allocate. Shared arrays are copied at each place they are reached, so a
// hostile binary could otherwise make a small module expand without bound.
constexpr uint64_t kMaxCloneBytes = uint64_t{256} << 20;

}  // namespace ParameterEngine
