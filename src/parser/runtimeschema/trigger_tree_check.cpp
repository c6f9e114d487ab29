#include "parser/runtimeschema/trigger_tree_check.h"

#include <cstring>

namespace RuntimeSchema {
namespace {

using ParameterEngine::ElementKind;
using ParameterEngine::FieldDescriptor;
using ParameterEngine::FieldKind;
using ParameterEngine::ScalarType;
using ParameterEngine::StructDescriptor;

// The node of every tree: two head words that no file holds, its range, then its children.
const char* const kNodeHead[] = {"controlVarIndex", "controlVarType", "start", "end"};

const FieldDescriptor* FieldNamed(const StructDescriptor& type, const char* pName) {
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        if (std::strcmp(type.fields[i].name, pName) == 0) {
            return &type.fields[i];
        }
    }
    return nullptr;
}

// A structure held once, in line.
bool IsSingleStructure(const FieldDescriptor& field) {
    return field.kind == FieldKind::Inline && field.dimCount == 0 &&
           field.element.kind == ElementKind::Struct;
}

bool CheckNode(const StructDescriptor& node, TriggerTreeParts& parts, std::string& problem) {
    const std::string name = node.name;
    bool head = node.fieldCount >= 4;
    for (uint32_t i = 0; head && i < 4; ++i) {
        head = std::strcmp(node.fields[i].name, kNodeHead[i]) == 0;
    }
    if (!head) {
        problem = "'" + name + "' must begin with controlVarIndex, controlVarType, start, end";
        return false;
    }
    for (uint32_t i = 0; i < 2; ++i) {
        const FieldDescriptor& word = node.fields[i];
        if (word.kind != FieldKind::Memory || word.element.scalar != ScalarType::UInt32 ||
            word.element.heldAsFloat) {
            problem = "'" + name + "::" + word.name + "' must be 'UInt32 memory'";
            return false;
        }
    }
    parts.children = FieldNamed(node, "trigger");
    if (parts.children == nullptr || parts.children->kind != FieldKind::Counted ||
        parts.children->element.structType != &node) {
        problem = "'" + name + "' needs 'trigger " + name + " counted'";
        return false;
    }
    return true;
}

}  // namespace

bool FindTriggerTree(const StructDescriptor& top, TriggerTreeParts& parts, std::string& problem) {
    parts.variables = FieldNamed(top, "control_variables");
    parts.variableArray = nullptr;
    if (parts.variables != nullptr && IsSingleStructure(*parts.variables)) {
        parts.variableArray = FieldNamed(*parts.variables->element.structType, "control_var_type");
    }
    if (parts.variableArray == nullptr || parts.variableArray->kind != FieldKind::Counted ||
        parts.variableArray->element.kind != ElementKind::Enum) {
        problem = "'" + std::string(top.name) +
                  "' needs control_variables with a counted enum control_var_type";
        return false;
    }
    for (uint32_t i = 0; i < top.fieldCount; ++i) {
        const FieldDescriptor& core = top.fields[i];
        if (!IsSingleStructure(core)) {
            continue;
        }
        const StructDescriptor& holder = *core.element.structType;
        for (uint32_t j = 0; j < holder.fieldCount; ++j) {
            const FieldDescriptor& roots = holder.fields[j];
            if (roots.kind == FieldKind::Counted && roots.element.kind == ElementKind::Struct &&
                std::strcmp(roots.element.structType->name, "triggerType") == 0) {
                parts.core = &core;
                parts.roots = &roots;
                return CheckNode(*roots.element.structType, parts, problem);
            }
        }
    }
    problem = "'" + std::string(top.name) + "' has no core holding a counted array of triggerType";
    return false;
}

ParameterEngine::TriggerTreeDescriptor& MakeTriggerTree(const TriggerTreeParts& parts,
                                                        SchemaTables& tables) {
    ParameterEngine::TriggerTreeDescriptor& tree =
        tables.Item<ParameterEngine::TriggerTreeDescriptor>();
    const StructDescriptor& node = *parts.roots->element.structType;
    tree.variablesOffset = parts.variables->offset;
    tree.variableCountOffset = parts.variableArray->countOffset;
    tree.variableArrayOffset = parts.variableArray->offset;
    tree.rootCountOffset = parts.core->offset + parts.roots->countOffset;
    tree.rootArrayOffset = parts.core->offset + parts.roots->offset;
    tree.node = &node;
    tree.indexOffset = node.fields[0].offset;
    tree.typeOffset = node.fields[1].offset;
    tree.childCountOffset = parts.children->countOffset;
    tree.childArrayOffset = parts.children->offset;
    return tree;
}

}  // namespace RuntimeSchema
