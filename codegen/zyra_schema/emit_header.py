"""The header of a namespace: its enums, plain structures and module classes."""

from typing import List

from .cpp_names import class_name, dims_suffix, element_type, table_name
from .emit_class import class_declaration, manager_glue_declarations
from .model import Enum, Field, Module, Namespace, Structure

INDENT = "    "


def _enum(enum: Enum, depth: int) -> List[str]:
    # Enums are kept by number only: the type fixes the width, the tables know the values.
    return [f"{INDENT * depth}enum {enum.name} : uint32_t {{}};"]


def _members(field: Field, depth: int, namespace: str) -> List[str]:
    pad = INDENT * depth
    cpp = element_type(field, namespace)
    if cpp.split("::")[0] == field.name:
        # A member named as its own type would hide the type inside the structure.
        cpp = f"::{field.element.home}::{field.element.cpp_path}"
    if field.shape == "counted":
        return [f"{pad}uint32_t {field.name}Count;", f"{pad}uint32_t {field.name}ID;",
                f"{pad}{cpp}* {field.name};"]
    if field.shape == "optional":
        return [f"{pad}uint32_t {field.name}Exists;", f"{pad}uint32_t {field.name}ID;",
                f"{pad}{cpp} {field.name};"]
    return [f"{pad}{cpp} {field.name}{dims_suffix(field)};"]


def _structure(structure: Structure, depth: int, is_top: bool, namespace: str,
               clone: bool) -> List[str]:
    pad = INDENT * depth
    lines = [f"{pad}struct {structure.name} {{"]
    for enum in structure.enums:
        lines += _enum(enum, depth + 1)
    for inner in structure.nested:
        lines += _structure(inner, depth + 1, False, namespace, clone)
    inner_pad = INDENT * (depth + 1)
    if is_top:
        lines.append(f"{inner_pad}uint32_t ModuleID;")
    if structure.reserved_id:
        lines.append(f"{inner_pad}uint32_t reservedID;")
    for field in structure.fields:
        lines += _members(field, depth + 1, namespace)
    if clone:
        lines += [
            "",
            f"{inner_pad}// A deep copy that shares no memory with `other`.",
            f"{inner_pad}void CloneFrom(const {structure.name}& other);",
            f"{inner_pad}// A copy of its own from ZyraCalloc; null when out of memory.",
            f"{inner_pad}{structure.name}* Clone() const;",
        ]
    if is_top:
        lines += [
            "",
            f"{inner_pad}// Loads and changes counted by the module this structure belongs to.",
            f"{inner_pad}ZYRA_API unsigned int GetModified() const;",
            f"{inner_pad}// Gives the module's reference back to the set manager.",
            f"{inner_pad}ZYRA_API void Release();",
        ]
    lines.append(f"{pad}}};")
    return lines


def _module_class(module: Module, reflection: bool, clone: bool) -> List[str]:
    extra: List[str] = []
    tree = module.tree
    if tree is not None:
        extra += [
            "    // The head words of `node` and the nodes below it; LoadModule runs it on each",
            "    // root.",
            f"    void UpdateTriggerType(const {tree.variables.element.cpp_path}& variables,",
            f"                           {tree.node.cpp_path}& node, unsigned int depth);",
        ]
    if clone:
        extra += [
            "    // A private copy, registered nowhere, that its caller deletes.",
            f"    virtual {class_name(module.top)}* Clone();",
        ]
    return class_declaration(module.top.name, reflection, extra)


def _shared_tables(namespace: Namespace) -> List[str]:
    lines = ["", "// Tables of the declarations above, for the namespaces that use them."]
    lines += [f"extern const ParameterEngine::EnumDescriptor "
              f"{table_name('kEnum', enum, namespace.name)};" for enum in namespace.enums]
    lines += [f"extern const ParameterEngine::StructDescriptor "
              f"{table_name('kStruct', structure, namespace.name)};"
              for structure in namespace.structures]
    return lines


def emit_header(namespace: Namespace, schema_name: str) -> str:
    tops = {module.top.name for module in namespace.modules}
    base = ("parser/engine/descriptors.h" if namespace.shared
            else "parser/setmanager/parameter_module.h")
    lines = [
        f"// Generated from {schema_name}; edit the schema, not this file.",
        "#pragma once",
        "",
        "#include <cstdint>",
        "",
        f'#include "{base}"',
    ]
    lines += [f'#include "{used.name}.h"' for used in namespace.uses]
    if not namespace.shared:
        lines += ["", "namespace ParameterEngine {", "struct ModuleDescriptor;", "}"]
    lines += ["", f"namespace {namespace.name} {{", ""]
    for enum in namespace.enums:
        lines += _enum(enum, 0)
    clone = "clone" in namespace.flags
    for structure in namespace.structures:
        lines += [""] + _structure(structure, 0, structure.name in tops, namespace.name,
                                   clone)
    if namespace.shared:
        lines += _shared_tables(namespace)
    for module in namespace.modules:
        lines += [""] + _module_class(module, "reflection" in namespace.flags, clone)
        lines += [""] + manager_glue_declarations(module.top.name)
    lines += ["", f"}}  // namespace {namespace.name}", ""]
    return "\n".join(lines)
