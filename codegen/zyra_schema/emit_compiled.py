"""The list of the namespaces compiled into a target, through which schemas read at run time
use the shared ones and learn which catalogue namespaces are typed already."""

from typing import List

from .cpp_names import class_name, table_name
from .model import Namespace


def _names_table(namespace: Namespace) -> List[str]:
    rows = [f'    {{"{enum.name}", &{namespace.name}::{table_name("kEnum", enum, namespace.name)}, '
            "nullptr},"
            for enum in namespace.enums]
    rows += [f'    {{"{structure.name}", nullptr, '
             f'&{namespace.name}::{table_name("kStruct", structure, namespace.name)}}},'
             for structure in namespace.structures]
    return [f"const CompiledName kNames_{namespace.name}[] = {{"] + rows + ["};"]


def _modules_table(namespace: Namespace) -> List[str]:
    rows = [f"    &{namespace.name}::{class_name(module.top)}::Descriptor,"
            for module in namespace.modules]
    return [f"const ModuleTable kModules_{namespace.name}[] = {{"] + rows + ["};"]


def emit_compiled(namespaces: List[Namespace]) -> str:
    lines = [
        "// Generated from the schemas compiled into this target: the namespaces they declare.",
        '#include "parser/runtimeschema/compiled_namespaces.h"',
        "",
    ]
    lines += [f'#include "{namespace.name}.h"' for namespace in namespaces]
    lines += [
        "",
        "namespace {",
        "",
        "using RuntimeSchema::CompiledName;",
        "using ModuleTable = const ParameterEngine::ModuleDescriptor& (*)();",
        "",
    ]
    entries = []
    for namespace in namespaces:
        name = namespace.name
        names = namespace.enums + namespace.structures
        if namespace.shared and names:
            lines += _names_table(namespace)
            entries.append(f'{{"{name}", kNames_{name}, {len(names)}, nullptr, 0}}')
        elif namespace.shared:
            entries.append(f'{{"{name}", nullptr, 0, nullptr, 0}}')
        else:
            lines += _modules_table(namespace)
            entries.append(f'{{"{name}", nullptr, 0, kModules_{name}, {len(namespace.modules)}}}')
    lines += [
        "",
        "}  // namespace",
        "",
        "namespace RuntimeSchema {",
        "",
        "const CompiledNamespace kCompiledNamespaces[] = {",
    ]
    lines += [f"    {entry}," for entry in entries]
    lines += [
        "    {nullptr, nullptr, 0, nullptr, 0},",
        "};",
        "",
        "}  // namespace RuntimeSchema",
        "",
    ]
    return "\n".join(lines)
