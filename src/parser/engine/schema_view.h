// An opaque module seen through the layout that a run-time schema gives its namespace: beside
// the raw bytes its top structure keeps, the module's values as that schema lays them out, in
// a structure of their own that the one engine loads, unloads and reflects like any compiled
// one.
#pragma once

#include <cstdint>

#include "parser/engine/descriptors.h"
#include "parser/foundation/plist.h"

class ParameterFileSymbolTableEntry;
class ParameterModule;
struct ParameterParserInfo;

namespace ParameterEngine {

// A module class as a run-time schema describes it, and the file that schema came from.
struct SchemaLayout {
    const ModuleDescriptor* module;
    const char* schemaPath;
};

struct SchemaView {
    // Both set while the module is loaded with a layout; both null otherwise.
    const ModuleDescriptor* module = nullptr;
    void* pTop = nullptr;
};

// Loads `view` from the module's symbol entry when the module's set manager has a layout for
// its name. A layout that the entry's bytes do not fit is logged with the module and the field
// and leaves the view empty: the module stays opaque.
void LoadSchemaView(ParameterModule& instance, SchemaView& view,
                    ParameterFileSymbolTableEntry& entry, unsigned char alignment);
void UnloadSchemaView(ParameterModule& instance, SchemaView& view);

// The text interface of a view whose layout has reflection; false for any other.
bool GetViewValue(const SchemaView& view, const char* pPath, char* pOut, unsigned int length);
bool SetViewValue(ParameterModule& instance, const SchemaView& view, uint32_t& moduleId,
                  const char* pPath, const char* pValue);
bool GetViewInfo(const SchemaView& view, const char* pPath, PList<ParameterParserInfo>& info);

}  // namespace ParameterEngine
