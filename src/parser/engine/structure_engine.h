// Loading and unloading of any plain structure, walked from its descriptor table.
#pragma once

#include "parser/engine/descriptors.h"

class ParameterFileSymbolTable;
class ParameterFileSymbolTableEntry;

namespace ParameterEngine {

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

}  // namespace ParameterEngine
