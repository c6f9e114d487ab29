"""Opaque module classes: a catalogue class without a schema. Its top structure holds the
module's ID and a copy of the raw bytes of its symbol entry, which is enough to find, version
check, load, hand out and release it before its fields are described. A run-time schema of its
namespace lays the same bytes out in a view beside them, which the text interface reflects."""

from typing import List

from .catalogue import CatalogueClass
from .emit_class import (class_declaration, class_definitions, manager_glue_declarations,
                         manager_glue_definitions, module_descriptor, top_members)


def opaque_header(entry: CatalogueClass) -> List[str]:
    top = entry.top
    return ([
        f"struct {top} {{",
        "    uint32_t ModuleID;",
        "    // The bytes of the module's symbol entry, as the binary holds them.",
        "    uint32_t rawDataSize;",
        "    uint8_t* rawData;",
    ] + top_members() + ["};", ""] + class_declaration(top, True, extra=[
        "    // The values of the run-time schema, for tools that show and change them offline.",
        "    const ParameterEngine::SchemaView& SchemaValues() const { return m_schemaView; }",
    ], members=[
        "    // The module's values as a run-time schema lays them out, while it has one.",
        "    ParameterEngine::SchemaView m_schemaView;",
    ]) + [""] + manager_glue_declarations(top))


def opaque_tables(entry: CatalogueClass) -> List[str]:
    return module_descriptor(entry.top, entry.version, entry.names, entry.family == "tuning")


def _view_glue(cls: str) -> str:
    return f"""

bool {cls}::GetValue(const char* pPath, char* pValue, unsigned int size) {{
    return ParameterEngine::GetViewValue(m_schemaView, pPath, pValue, size);
}}

bool {cls}::SetValue(const char* pPath, const char* pValue) {{
    return ParameterEngine::SetViewValue(*this, m_schemaView, ModuleID, pPath, pValue);
}}

bool {cls}::GetInfo(const char* pPath, PList<ParameterParserInfo>& info) {{
    return ParameterEngine::GetViewInfo(m_schemaView, pPath, info);
}}"""


def opaque_definitions(entry: CatalogueClass) -> List[str]:
    top = entry.top
    load = (f"ParameterEngine::LoadRawModule(*this, kModule_{top}, ModuleID, rawDataSize, "
            "rawData, m_schemaView,\n                                          pTable)")
    unload = "ParameterEngine::UnloadRawModule(*this, rawDataSize, rawData, m_schemaView)"
    return (class_definitions(top, load, unload, _view_glue(f"{top}Class"))
            + manager_glue_definitions(top))


def opaque_namespace_header(namespace: str, entries: List[CatalogueClass]) -> str:
    lines = [
        "// Generated from the module catalogue; add a schema to describe the fields.",
        "#pragma once",
        "",
        "#include <cstdint>",
        "",
        '#include "parser/engine/schema_view.h"',
        '#include "parser/setmanager/parameter_module.h"',
        "",
        "namespace ParameterEngine {",
        "struct ModuleDescriptor;",
        "}",
        "",
        f"namespace {namespace} {{",
        "",
    ]
    for entry in entries:
        lines += opaque_header(entry) + [""]
    lines += [f"}}  // namespace {namespace}", ""]
    return "\n".join(lines)


def opaque_source(namespaces: List[List[CatalogueClass]]) -> str:
    """One translation unit for the opaque classes of several namespaces, each list holding
    the classes of one namespace."""
    lines = [
        "// Generated from the module catalogue: opaque module classes.",
        "#include <new>",
        "",
        '#include "parser/engine/descriptors.h"',
        '#include "parser/engine/module_engine.h"',
        '#include "parser/engine/schema_view.h"',
    ]
    lines += [f'#include "{entries[0].namespace}.h"' for entries in namespaces]
    for entries in namespaces:
        lines += ["", f"namespace {entries[0].namespace} {{", "namespace {", "",
                  "using namespace ParameterEngine;", ""]
        for entry in entries:
            lines += opaque_tables(entry)
        lines += ["", "}  // namespace"]
        for entry in entries:
            lines += opaque_definitions(entry)
        lines += ["", f"}}  // namespace {entries[0].namespace}"]
    lines.append("")
    return "\n".join(lines)
