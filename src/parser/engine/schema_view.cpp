#include "parser/engine/schema_view.h"

#include "parser/engine/failed_field_trace.h"
#include "parser/engine/module_engine.h"
#include "parser/engine/reflection_engine.h"
#include "parser/engine/structure_engine.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parser_alloc_category.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/memory.h"

namespace ParameterEngine {
namespace {

bool Reflects(const SchemaView& view) { return view.pTop != nullptr && view.module->hasReflection; }

}  // namespace

void LoadSchemaView(ParameterModule& instance, SchemaView& view,
                    ParameterFileSymbolTableEntry& entry, unsigned char alignment) {
    ParameterSetManager* pManager = instance.Data != nullptr ? instance.Data->SetManager : nullptr;
    const SchemaLayout* pLayout =
        pManager != nullptr ? pManager->GetSchemaLayout(instance.Name) : nullptr;
    if (pLayout == nullptr) {
        return;
    }
    const StructDescriptor& top = *pLayout->module->top;
    void* pTop = ZyraCalloc(1, top.size, kParserAllocCategory);
    if (pTop == nullptr) {
        ParameterLogging::Write(pManager, ParameterLogging::Error, __FILE__, __LINE__,
                                "Module %s: failed to allocate %u bytes for its schema %s\n",
                                instance.Name, top.size, pLayout->schemaPath);
        return;
    }
    FailedFieldTrace trace;
    if (LoadTopStructure(*pLayout->module, pTop, entry, alignment, pManager)) {
        view.module = pLayout->module;
        view.pTop = pTop;
        return;
    }
    ParameterLogging::Write(pManager, ParameterLogging::Error, __FILE__, __LINE__,
                            "Module %s does not fit its schema %s: field %s\n", instance.Name,
                            pLayout->schemaPath, trace.Path().c_str());
    Unload(top, pTop, instance.Data->SymbolTable);
    ZyraFree(pTop);
}

void UnloadSchemaView(ParameterModule& instance, SchemaView& view) {
    if (view.pTop == nullptr) {
        return;
    }
    // Without a table nothing below is freed, as with the module itself.
    Unload(*view.module->top, view.pTop,
           instance.Data != nullptr ? instance.Data->SymbolTable : nullptr);
    ZyraFree(view.pTop);
    view = SchemaView{};
}

bool GetViewValue(const SchemaView& view, const char* pPath, char* pOut, unsigned int length) {
    return Reflects(view) && GetValue(*view.module->top, view.pTop, pPath, pOut, length);
}

bool SetViewValue(ParameterModule& instance, const SchemaView& view, uint32_t& moduleId,
                  const char* pPath, const char* pValue) {
    return Reflects(view) &&
           SetModuleValue(instance, *view.module->top, view.pTop, moduleId, pPath, pValue);
}

bool GetViewInfo(const SchemaView& view, const char* pPath, PList<ParameterParserInfo>& info) {
    return Reflects(view) && GetInfo(*view.module->top, view.pTop, pPath, info);
}

}  // namespace ParameterEngine
