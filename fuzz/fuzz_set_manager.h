// What the fuzz targets share: a set manager that knows the module types of their binaries,
// and the questions a client puts to a loaded one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "binwriter/version.h"
#include "set_manager_test_support.h"

namespace zyra_fuzz {

// The module types of the set manager tests' mode tree and the generated enginetest class.
class FuzzSetManager : public setmanager_test::TestSetManager {
public:
    explicit FuzzSetManager(bool onDemand);
};

// A root, a child, and a second child linked to the first, holding test modules and an
// enginetest module with every kind of field, in the layout of `format`.
std::vector<uint8_t> EngineTree(const binwriter::Version& format);

// Asks for every known module along each of a few branches, the previous one handed back
// each time, reads and writes fields by text, and unloads the branches again.
void QueryModules(ParameterSetManager& manager);

// Formats every log line of the parser and drops it: the formatting is part of what runs,
// the output would only slow the fuzzer down.
void DropLogLines();

// The input as a binary whose CRC tail is right, so that mutations reach the readers behind
// the CRC check instead of ending at it (a wrong CRC is one refusal the unit tests cover).
std::vector<unsigned char> WithValidCrc(const uint8_t* pData, size_t size);

}  // namespace zyra_fuzz
