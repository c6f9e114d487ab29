// Lookup of a mode tree node by its index in the binary's mode table.
#pragma once

#include "zyra_api.h"

class ModeEntry;

class ZYRA_API IModeTable {
public:
    virtual ModeEntry* GetModeEntry(unsigned int id) = 0;
    virtual ~IModeTable() = default;
};
