"""The source of a namespace: the descriptor tables and the module classes' glue."""

from typing import List

from .cpp_names import class_name, scalar_type
from .model import Enum, Field, Module, Namespace, Scalar, String, Structure


def _element(field: Field) -> str:
    element = field.element
    if isinstance(element, Scalar):
        held = ", true" if element.held_as_float else ""
        return f"ScalarElement({scalar_type(element)}{held})"
    if isinstance(element, Enum):
        return f"EnumElement(kEnum_{_enum_ident(element)})"
    if isinstance(element, String):
        return "StringElement()"
    return f"StructElement(kStruct_{element.ident})"


def _enum_ident(enum: Enum) -> str:
    return enum.cpp_path.replace("::", "_")


def _enum_table(enum: Enum) -> List[str]:
    ident = _enum_ident(enum)
    ranges = ", ".join(f"{{{first}u, {last}u}}" for first, last in enum.ranges)
    return [
        f"constexpr EnumRange kRanges_{ident}[] = {{{ranges}}};",
        f'constexpr EnumDescriptor kEnum_{ident}{{"{enum.cpp_path}", kRanges_{ident}, '
        f"{len(enum.ranges)}}};",
    ]


class _SourceWriter:
    def __init__(self, namespace: Namespace):
        self.namespace = namespace
        self.next_site = 1

    def field(self, structure: Structure, field: Field, lines: List[str]) -> str:
        at = f"offsetof({structure.cpp_path}, {field.name})"
        name = f'"{field.name}"'
        if isinstance(field.element, String) and field.shape == "single":
            return f"StringField({name}, {at})"
        if field.shape in ("counted", "optional"):
            count_word = "Count" if field.shape == "counted" else "Exists"
            words = (f"offsetof({structure.cpp_path}, {field.name}{count_word}), "
                     f"offsetof({structure.cpp_path}, {field.name}ID)")
            if field.shape == "optional":
                return f"OptionalField({name}, {_element(field)}, {at}, {words})"
            site = self.next_site
            self.next_site += 1
            report = f', "{field.report}"' if field.report else ""
            return f"CountedField({name}, {_element(field)}, {at}, {words}, {site}{report})"
        if field.shape == "memory":
            return f"MemoryField({name}, {_element(field)}, {at})"
        if not field.dims:
            return f"InlineField({name}, {_element(field)}, {at})"
        dims_name = f"kDims_{structure.ident}_{field.name}"
        lines.append(f"constexpr uint32_t {dims_name}[] = {{{', '.join(map(str, field.dims))}}};")
        maker = "BlockField" if isinstance(field.element, Scalar) else "InlineField"
        return (f"{maker}({name}, {_element(field)}, {at}, {field.count}, {dims_name}, "
                f"{len(field.dims)})")

    def structure(self, structure: Structure, held: bool) -> List[str]:
        lines: List[str] = []
        fields = [self.field(structure, f, lines) for f in structure.fields]
        ident = structure.ident
        lines.append(f"constexpr FieldDescriptor kFields_{ident}[] = {{")
        lines += [f"    {text}," for text in fields]
        lines.append("};")
        flags = (f"{'true' if structure.reserved_id else 'false'}, "
                 f"{'true' if structure.owns_memory() else 'false'}")
        # A record that no module holds is declared for clients only; its table stays unread.
        unused = "" if held else "[[maybe_unused]] "
        lines.append(f"{unused}constexpr StructDescriptor kStruct_{ident}{{"
                     f'"{structure.cpp_path}", '
                     f"sizeof({structure.cpp_path}), kFields_{ident}, {len(fields)}, {flags}, "
                     f"kSiteSource}};")
        return lines

    def module(self, module: Module) -> List[str]:
        top = module.top.name
        ns = self.namespace
        names = ", ".join(f'"{name}"' for name in module.names)

        def flag(name: str) -> str:
            return "true" if name in ns.flags else "false"

        major, minor, patch = module.version
        return [
            f"constexpr const char* kNames_{top}[] = {{{names}}};",
            f'constexpr ModuleDescriptor kModule_{top}{{"{class_name(module.top)}", '
            f"&kStruct_{top}, {major}, {minor}, {patch}u, kNames_{top}, {len(module.names)}, "
            f"{'true' if ns.family == 'tuning' else 'false'}, {flag('reflection')}, "
            f"{flag('trigger_tree')}, {flag('clone')}}};",
        ]


def _reflection_glue(cls: str, top: str) -> str:
    return f"""

bool {cls}::GetValue(const char* pPath, char* pValue, unsigned int size) {{
    return ParameterEngine::GetValue(kStruct_{top}, static_cast<{top}*>(this), pPath, pValue, size);
}}

bool {cls}::SetValue(const char* pPath, const char* pValue) {{
    return ParameterEngine::SetModuleValue(*this, kStruct_{top}, static_cast<{top}*>(this),
                                           ModuleID, pPath, pValue);
}}

bool {cls}::GetInfo(const char* pPath, PList<ParameterParserInfo>& info) {{
    return ParameterEngine::GetInfo(kStruct_{top}, static_cast<{top}*>(this), pPath, info);
}}"""


def _module_glue(module: Module, reflection: bool) -> List[str]:
    top = module.top.name
    cls = class_name(module.top)
    reflective = _reflection_glue(cls, top) if reflection else ""
    return f"""
{cls}::{cls}(const char* pName) : {cls}(pName, nullptr) {{}}

{cls}::{cls}(const char* pName, ModuleData* pData)
    : ParameterModule(pName, kModule_{top}.major, kModule_{top}.minor, kModule_{top}.patch, pData),
      {top}() {{}}

{cls}::~{cls}() {{
    if (Loaded) {{
        {cls}::UnloadModule();
    }}
}}

namespace {{
ParameterModule* New{cls}(const char* pName, ModuleData* pData, uint32_t moduleId) {{
    auto* pModule = new (std::nothrow) {cls}(pName, pData);
    if (pModule != nullptr) {{
        pModule->ModuleID = moduleId;
    }}
    return pModule;
}}
}}  // namespace

ParameterModule* {cls}::Create(ModuleData* pData, DefaultModule* pDefault) const {{
    return ParameterEngine::CreateModule(*this, kModule_{top}, pData, pDefault, &New{cls});
}}

bool {cls}::LoadModule(ParameterFileSymbolTable* pTable) {{
    return ParameterEngine::LoadModule(*this, kModule_{top}, ModuleID, static_cast<{top}*>(this),
                                       pTable);
}}

void {cls}::UnloadModule() {{
    ParameterEngine::UnloadModule(*this, kModule_{top}, static_cast<{top}*>(this));
}}

const ModuleDescriptor& {cls}::Descriptor() {{ return kModule_{top}; }}

const char* {cls}::GetName(const char* pName) {{
    return ParameterEngine::RegisteredName(kModule_{top}, pName);
}}{reflective}

unsigned int {top}::GetModified() const {{ return static_cast<const {cls}*>(this)->Modified; }}

void {top}::Release() {{ static_cast<{cls}*>(this)->Release(); }}""".split("\n")


def _held_by_field(namespace: Namespace, structure: Structure) -> bool:
    if any(module.top is structure for module in namespace.modules):
        return True
    return any(f.element is structure for s in namespace.all_structures() for f in s.fields)


def emit_source(namespace: Namespace, schema_name: str, header_name: str) -> str:
    writer = _SourceWriter(namespace)
    lines = [
        f"// Generated from {schema_name}; edit the schema, not this file.",
        f'#include "{header_name}"',
        "",
        "#include <cstddef>",
        "#include <new>",
        "",
        '#include "parser/engine/descriptors.h"',
        '#include "parser/engine/module_engine.h"',
        '#include "parser/engine/reflection_engine.h"',
        "",
        f"namespace {namespace.name} {{",
        "namespace {",
        "",
        "using namespace ParameterEngine;",
        "",
        f'constexpr char kSiteSource[] = "{namespace.name}";',
        "",
    ]
    # Declared ahead, so that a structure can point to itself.
    lines += [f"extern const StructDescriptor kStruct_{s.ident};"
              for s in namespace.all_structures()]
    lines.append("")
    for enum in namespace.all_enums():
        lines += _enum_table(enum)
    for structure in namespace.all_structures():
        lines += [""] + writer.structure(structure, _held_by_field(namespace, structure))
    for module in namespace.modules:
        lines += [""] + writer.module(module)
    lines += ["", "}  // namespace"]
    for module in namespace.modules:
        lines += _module_glue(module, "reflection" in namespace.flags)
    lines += ["", f"}}  // namespace {namespace.name}", ""]
    return "\n".join(lines)
