"""A derived set manager: its class with one GetModule_<name> accessor per registered name,
and the table of prototypes its constructor registers, in catalogue order."""

import re
from typing import Dict, List

from .catalogue import MANAGER_FAMILIES, CatalogueClass
from .emit_class import manager_glue_declarations


# The set managers that serve live tuning; the others hold sensor and detection data that
# nobody tunes on a running device.
LIVE_TUNING_MANAGERS = frozenset({"TuningSetManager"})


def file_stem(manager: str) -> str:
    """TuningSetManager -> tuning_set_manager."""
    return re.sub(r"(?<=[a-z])(?=[A-Z])", "_", manager).lower()


def _by_namespace(classes: List[CatalogueClass]) -> Dict[str, List[CatalogueClass]]:
    namespaces: Dict[str, List[CatalogueClass]] = {}
    for entry in classes:
        namespaces.setdefault(entry.namespace, []).append(entry)
    return namespaces


def _accessor(entry: CatalogueClass, name: str, owner: str = "") -> str:
    top = f"{entry.namespace}::{entry.top}"
    return (f"{top}* {owner}GetModule_{name}(const TuningMode* pModes, unsigned int count, "
            f"{top}* pPrevious)")


def emit_manager_header(manager: str, classes: List[CatalogueClass]) -> str:
    lines = [
        "// Generated from the module catalogue (schemas/catalogue.txt); edit that, not this file.",
        "#pragma once",
        "",
        '#include "parser/managers/catalogue_set_manager.h"',
        "",
    ]
    for namespace, entries in _by_namespace(classes).items():
        tops = " ".join(f"struct {entry.top};" for entry in entries)
        lines.append(f"namespace {namespace} {{ {tops} }}")
    lines += [
        "",
        f"class ZYRA_API {manager} : public CatalogueSetManager {{",
        "public:",
        f"    {manager}();",
    ]
    if manager in LIVE_TUNING_MANAGERS:
        lines.append(f"    ~{manager}() override;")
    lines += [
        "",
        "    // The module of each name for a mode branch, as its plain top structure; null when",
        "    // the branch has none. `pPrevious`, the caller's earlier one, is given back.",
    ]
    lines += [f"    {_accessor(entry, name)};" for entry in classes for name in entry.names]
    lines += [
        "",
        "protected:",
        "    // An update set of `pRunning`, sharing its run-time schemas; null reads the",
        "    // schema path.",
        f"    explicit {manager}(const CatalogueSetManager* pRunning);",
        "    ParameterSetManager* CreateUpdateSet() override;",
        "};",
        "",
    ]
    return "\n".join(lines)


def emit_manager_source(manager: str, classes: List[CatalogueClass]) -> str:
    lines = [
        "// Generated from the module catalogue (schemas/catalogue.txt); edit that, not this file.",
        f'#include "{file_stem(manager)}.h"',
        "",
        "#include <new>",
        "",
        '#include "parser/livetuning/parameter_dialin_worker.h"',
        '#include "parser/setmanager/parameter_module.h"',
        "",
    ]
    for namespace, entries in _by_namespace(classes).items():
        lines.append(f"namespace {namespace} {{")
        for entry in entries:
            lines += manager_glue_declarations(entry.top)
        lines.append(f"}}  // namespace {namespace}")
    lines += ["", "namespace {", "", "const CatalogueSetManager::Registration kModules[] = {"]
    lines += [f'    {{"{name}", &{entry.namespace}::{entry.top}ClassPrototype, '
              f'"{entry.namespace}", "{entry.top}", {entry.version[0]}, {entry.version[1]}, '
              f"{entry.version[2]}u}},"
              for entry in classes for name in entry.names]
    lines += [
        "};",
        "",
        "}  // namespace",
        "",
        f"{manager}::{manager}() : {manager}(nullptr) {{}}",
        "",
        f"{manager}::{manager}(const CatalogueSetManager* pRunning)",
        f'    : CatalogueSetManager("{manager}", "{MANAGER_FAMILIES[manager]}", kModules,',
        "                          sizeof(kModules) / sizeof(kModules[0]), pRunning) {",
    ]
    if manager in LIVE_TUNING_MANAGERS:
        lines += [
            "    // Without memory for the worker there is no set manager either, as with a",
            "    // prototype.",
            "    if (!CreateDialinWorker()) {",
            "        throw std::bad_alloc();",
            "    }",
            "}",
            "",
            f"{manager}::~{manager}() {{",
            "    // The running worker logs and serves through this object's virtual functions, so",
            "    // it stops while they still are this class's.",
            "    m_dialinWorker->Stop();",
        ]
    lines += [
        "}",
        "",
        f"ParameterSetManager* {manager}::CreateUpdateSet() {{",
        "    try {",
        f"        return new (std::nothrow) {manager}(this);",
        "    } catch (const std::bad_alloc&) {",
        "        // A prototype could not be made: no update set.",
        "        return nullptr;",
        "    }",
        "}",
    ]
    for entry in classes:
        ns = entry.namespace
        for name in entry.names:
            lines += [
                "",
                f"{_accessor(entry, name, f'{manager}::')} {{",
                f'    return {ns}::{entry.top}Of(GetModule("{name}", pModes, count, '
                f"{ns}::ModuleOf(pPrevious)));",
                "}",
            ]
    lines.append("")
    return "\n".join(lines)
