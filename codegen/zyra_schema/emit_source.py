"""The source of a namespace: the descriptor tables and the module classes' glue."""

from typing import List, Tuple

from .cpp_names import class_name, scalar_type, table_name
from .emit_class import class_definitions, manager_glue_definitions
from .model import Enum, Field, Module, Namespace, Scalar, String, Structure

# Lines of code with their linkage: True for tables only this source refers to.
Block = Tuple[bool, List[str]]


def _element(field: Field, namespace: str) -> str:
    element = field.element
    if isinstance(element, Scalar):
        held = ", true" if element.held_as_float else ""
        return f"ScalarElement({scalar_type(element)}{held})"
    if isinstance(element, Enum):
        return f"EnumElement({table_name('kEnum', element, namespace)})"
    if isinstance(element, String):
        return "StringElement()"
    return f"StructElement({table_name('kStruct', element, namespace)})"


def _enum_tables(enum: Enum, exported: bool) -> List[Block]:
    enum_table = table_name("kEnum", enum, enum.home)
    ranges_name = enum_table.replace("kEnum_", "kRanges_", 1)
    ranges = ", ".join(f"{{{first}u, {last}u}}" for first, last in enum.ranges)
    return [
        (True, [f"constexpr EnumRange {ranges_name}[] = {{{ranges}}};"]),
        (not exported, [f'constexpr EnumDescriptor {enum_table}{{"{enum.cpp_path}", {ranges_name}, '
                        f"{len(enum.ranges)}}};"]),
    ]


def _join(blocks: List[Block]) -> List[str]:
    """Puts each run of internal tables into an anonymous namespace."""
    lines: List[str] = []
    inside = False
    for internal, block in blocks:
        if internal != inside:
            lines += ["", "namespace {", ""] if internal else ["}  // namespace", ""]
            inside = internal
        lines += block
    if inside:
        lines.append("}  // namespace")
    # Runs of blank lines, where empty parts met, become one.
    return [line for i, line in enumerate(lines) if line or (i > 0 and lines[i - 1])]


class _SourceWriter:
    def __init__(self, namespace: Namespace):
        self.namespace = namespace
        self.next_site = 1

    def element(self, field: Field) -> str:
        return _element(field, self.namespace.name)

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
                return f"OptionalField({name}, {self.element(field)}, {at}, {words})"
            site = self.next_site
            self.next_site += 1
            report = f', "{field.report}"' if field.report else ""
            return f"CountedField({name}, {self.element(field)}, {at}, {words}, {site}{report})"
        if field.shape == "memory":
            return f"MemoryField({name}, {self.element(field)}, {at})"
        if not field.dims:
            return f"InlineField({name}, {self.element(field)}, {at})"
        dims_name = f"kDims_{structure.ident}_{field.name}"
        lines.append(f"constexpr uint32_t {dims_name}[] = {{{', '.join(map(str, field.dims))}}};")
        maker = "BlockField" if isinstance(field.element, Scalar) else "InlineField"
        return (f"{maker}({name}, {self.element(field)}, {at}, {field.count}, {dims_name}, "
                f"{len(field.dims)})")

    def structure(self, structure: Structure, exported: bool, held: bool) -> List[Block]:
        lines: List[str] = []
        fields = [self.field(structure, f, lines) for f in structure.fields]
        ident = structure.ident
        # An empty section (only its reservedID) has no field table.
        field_table = "nullptr"
        if fields:
            field_table = f"kFields_{ident}"
            lines.append(f"constexpr FieldDescriptor kFields_{ident}[] = {{")
            lines += [f"    {text}," for text in fields]
            lines.append("};")
        flags = (f"{'true' if structure.reserved_id else 'false'}, "
                 f"{'true' if structure.owns_memory() else 'false'}")
        # A record that no module holds is declared for clients only; its table stays unread.
        unused = "" if held else "[[maybe_unused]] "
        table = (f'{unused}constexpr StructDescriptor kStruct_{ident}{{"{structure.cpp_path}", '
                 f"sizeof({structure.cpp_path}), {field_table}, {len(fields)}, {flags}, "
                 f"kSiteSource}};")
        return [(True, [""] + lines), (not exported, [table])]

    def module(self, module: Module) -> List[str]:
        top = module.top.name
        ns = self.namespace
        names = ", ".join(f'"{name}"' for name in module.names)
        lines = [f"constexpr const char* kNames_{top}[] = {{{names}}};"]
        tree = "nullptr"
        if module.tree is not None:
            tree = f"&kTree_{top}"
            lines += _tree_table(module)
        major, minor, patch = module.version
        reflection = "true" if "reflection" in ns.flags else "false"
        lines.append(
            f'constexpr ModuleDescriptor kModule_{top}{{"{class_name(module.top)}", '
            f"&kStruct_{top}, {major}, {minor}, {patch}u, kNames_{top}, {len(module.names)}, "
            f"{'true' if ns.family == 'tuning' else 'false'}, {reflection}, {tree}}};")
        return lines


def _tree_table(module: Module) -> List[str]:
    tree = module.tree
    top = module.top.cpp_path
    variables = tree.variables.element.cpp_path
    core = tree.core.element.cpp_path
    node = tree.node.cpp_path

    def words(owner: str, field) -> str:
        return f"offsetof({owner}, {field.name}Count), offsetof({owner}, {field.name})"

    core_at = f"offsetof({top}, {tree.core.name})"
    return [
        f"constexpr TriggerTreeDescriptor kTree_{module.top.name}{{",
        f"    offsetof({top}, {tree.variables.name}), {words(variables, tree.variable_array)},",
        f"    {core_at} + offsetof({core}, {tree.roots.name}Count),",
        f"    {core_at} + offsetof({core}, {tree.roots.name}),",
        f"    &kStruct_{tree.node.ident}, offsetof({node}, controlVarIndex),",
        f"    offsetof({node}, controlVarType), {words(node, tree.children)}}};",
    ]


def _clone_glue(structure: Structure) -> List[str]:
    name = structure.cpp_path
    table = f"kStruct_{structure.ident}"
    return [
        "",
        f"void {name}::CloneFrom(const {structure.name}& other) {{",
        f"    ParameterEngine::CloneFrom({table}, this, &other, nullptr);",
        "}",
        "",
        f"{name}* {name}::Clone() const {{",
        f"    return static_cast<{structure.name}*>(ParameterEngine::Clone({table}, this));",
        "}",
    ]


def _module_extras(module: Module, clone: bool) -> List[str]:
    top = module.top.name
    cls = class_name(module.top)
    lines: List[str] = []
    if module.tree is not None:
        lines += [
            "",
            f"void {cls}::UpdateTriggerType(const {module.tree.variables.element.cpp_path}& "
            "variables,",
            f"    {module.tree.node.cpp_path}& node, unsigned int depth) {{",
            f"    ParameterEngine::UpdateModuleTrigger(*this, kModule_{top}, &variables, &node, "
            "depth);",
            "}",
        ]
    if clone:
        lines += [
            "",
            f"{cls}* {cls}::Clone() {{",
            f"    auto* pClone = new (std::nothrow) {cls}(Name, Data);",
            "    if (pClone != nullptr) {",
            f"        ParameterEngine::CloneModule(*this, kModule_{top}, "
            f"static_cast<const {top}*>(this), *pClone,",
            f"                                     static_cast<{top}*>(pClone));",
            "    }",
            "    return pClone;",
            "}",
        ]
    return lines


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
    reflective = _reflection_glue(class_name(module.top), top) if reflection else ""
    load = (f"ParameterEngine::LoadModule(*this, kModule_{top}, ModuleID, "
            f"static_cast<{top}*>(this),\n                                       pTable)")
    unload = f"ParameterEngine::UnloadModule(*this, kModule_{top}, static_cast<{top}*>(this))"
    return class_definitions(top, load, unload, reflective)


def _held_by_field(namespace: Namespace, structure: Structure) -> bool:
    if any(module.top is structure for module in namespace.modules):
        return True
    return any(f.element is structure for s in namespace.all_structures() for f in s.fields)


def emit_source(namespace: Namespace, schema_name: str, header_name: str) -> str:
    writer = _SourceWriter(namespace)
    # A shared namespace hands its top-level tables to the namespaces that use it.
    exported = {id(item) for item in namespace.structures + namespace.enums
                if namespace.shared}
    lines = [
        f"// Generated from {schema_name}; edit the schema, not this file.",
        f'#include "{header_name}"',
        "",
        "#include <cstddef>",
    ]
    if not namespace.shared:
        lines.append("#include <new>")
    lines += ["", '#include "parser/engine/descriptors.h"']
    if not namespace.shared:
        lines.append('#include "parser/engine/module_engine.h"')
    if "reflection" in namespace.flags:
        lines.append('#include "parser/engine/reflection_engine.h"')
    if "clone" in namespace.flags:
        lines.append('#include "parser/engine/structure_engine.h"')
    lines += [
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
              for s in namespace.all_structures() if id(s) not in exported]
    lines += ["", "}  // namespace", ""]
    blocks: List[Block] = []
    for enum in namespace.all_enums():
        blocks += _enum_tables(enum, id(enum) in exported)
    for structure in namespace.all_structures():
        exported_table = id(structure) in exported
        held = exported_table or _held_by_field(namespace, structure)
        blocks += writer.structure(structure, exported_table, held)
    for module in namespace.modules:
        blocks.append((True, [""] + writer.module(module)))
    lines += _join(blocks)
    clone = "clone" in namespace.flags
    for module in namespace.modules:
        lines += _module_glue(module, "reflection" in namespace.flags)
        lines += _module_extras(module, clone)
        lines += manager_glue_definitions(module.top.name)
    if clone:
        for structure in namespace.all_structures():
            lines += _clone_glue(structure)
    lines += ["", f"}}  // namespace {namespace.name}", ""]
    return "\n".join(lines)
