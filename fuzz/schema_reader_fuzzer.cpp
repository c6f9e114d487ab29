// The run-time schema reader on any text. It reads it or refuses it; what it reads has to be
// a layout the engine can walk: every member inside its structure, and reflection over a
// zeroed top structure of each module answering without leaving it (the sanitizers watch).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "parser/engine/field_memory.h"
#include "parser/engine/reflection_engine.h"
#include "parser/engine/structure_engine.h"
#include "parser/runtimeschema/compiled_namespaces.h"
#include "parser/runtimeschema/schema_namespace.h"
#include "parser/setmanager/parameter_parser_info.h"

namespace {

using ParameterEngine::FieldDescriptor;
using ParameterEngine::FieldKind;
using ParameterEngine::StructDescriptor;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

uint64_t Extent(const FieldDescriptor& field) {
    switch (field.kind) {
        case FieldKind::String:
        case FieldKind::Counted: return field.offset + uint64_t{sizeof(void*)};
        case FieldKind::Optional:
            return field.offset + uint64_t{ParameterEngine::ElementSize(field.element)};
        default:
            return field.offset +
                   uint64_t{field.count} * ParameterEngine::ElementSize(field.element);
    }
}

void CheckLayout(const StructDescriptor& type, std::set<const StructDescriptor*>& checked) {
    if (!checked.insert(&type).second) {
        return;
    }
    Require(type.size > 0 && (type.fieldCount == 0) == (type.fields == nullptr));
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        const FieldDescriptor& field = type.fields[i];
        Require(Extent(field) <= type.size);
        if (field.kind == FieldKind::Counted || field.kind == FieldKind::Optional) {
            Require(field.countOffset + 4 <= field.offset && field.idOffset + 4 <= field.offset);
        }
        if (field.element.structType != nullptr) {
            CheckLayout(*field.element.structType, checked);
        }
    }
}

// Every field that reflection describes below `path`, read back.
void Walk(const StructDescriptor& top, void* pTop, const std::string& path, unsigned int depth) {
    PList<ParameterParserInfo> info;
    if (depth > 8 || !ParameterEngine::GetInfo(top, pTop, path.c_str(), info)) {
        return;
    }
    for (uint32_t i = 0; i < info.Count(); ++i) {
        const std::string field =
            (path.empty() ? "" : path + ".") + (info[i].Name != nullptr ? info[i].Name : "");
        char value[256];
        ParameterEngine::GetValue(top, pTop, field.c_str(), value, sizeof(value));
        if (info[i].IsArray) {
            Walk(top, pTop, field + "[0]", depth + 1);
        } else {
            Walk(top, pTop, field, depth + 1);
        }
    }
}

// Uses resolve to the namespaces compiled into the library.
const RuntimeSchema::DeclaredNames* FindCompiled(const std::string& name,
                                                 RuntimeSchema::SchemaError&) {
    static std::map<std::string, std::unique_ptr<RuntimeSchema::DeclaredNames>> names;
    std::unique_ptr<RuntimeSchema::DeclaredNames>& known = names[name];
    const RuntimeSchema::CompiledNamespace* pCompiled = RuntimeSchema::FindCompiledNamespace(name);
    if (known == nullptr && pCompiled != nullptr) {
        known = RuntimeSchema::DeclaredNamesOf(*pCompiled);
    }
    return known.get();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
    const std::string text(reinterpret_cast<const char*>(pData), size);
    RuntimeSchema::SchemaError error;
    std::unique_ptr<RuntimeSchema::SchemaNamespace> schema =
        RuntimeSchema::ReadSchema("fuzz.schema", text, &FindCompiled, error);
    if (schema == nullptr) {
        Require(!error.message.empty());
        return 0;
    }
    std::set<const StructDescriptor*> checked;
    for (const auto& structure : schema->names.structures) {
        CheckLayout(*structure.second, checked);
    }
    for (const RuntimeSchema::SchemaModule& module : schema->modules) {
        const StructDescriptor& top = *module.descriptor->top;
        std::vector<unsigned char> values(top.size);
        Walk(top, values.data(), "", 0);
        ParameterEngine::Unload(top, values.data(), nullptr);
    }
    return 0;
}
