#!/usr/bin/env python3
"""Reports how much of the module catalogue has a schema: typed classes and names out of all,
the opaque rest by family, and the size of each typed class.

Usage: schema_coverage.py [--schemas DIR]

DIR (default: the repository's schemas/) holds the *.schema files and, once there,
catalogue.txt: one class per line, `<Manager> <namespace> <A.B.C> <TopStructure> <name>...`.
"""

import argparse
import glob
import os
import sys
from dataclasses import dataclass
from typing import Dict, List, Optional, Tuple

from zyra_schema.loader import SchemaLoader
from zyra_schema.model import Namespace, Structure
from zyra_schema.parser import SchemaError

ALL_CLASSES = 476
ALL_NAMES = 768
FAMILY_OF_MANAGER = {
    "TuningSetManager": "tuning",
    "ImageSensorModuleSetManager": "sensor",
    "fdSetManager": "facedetection",
    "bitmlSetManager": "bitml",
}


@dataclass
class CatalogueClass:
    manager: str
    namespace: str
    version: str
    top: str
    names: List[str]


@dataclass
class TypedClass:
    namespace: str
    top: str
    version: str
    names: List[str]
    structures: int
    fields: int


def read_catalogue(path: str) -> List[CatalogueClass]:
    classes = []
    with open(path, encoding="utf-8") as source:
        for number, line in enumerate(source, 1):
            words = line.split("#", 1)[0].split()
            if not words:
                continue
            if len(words) < 5:
                raise ValueError(f"{path}:{number}: a class line needs manager, namespace, "
                                 "version, top structure and at least one name")
            classes.append(CatalogueClass(words[0], words[1], words[2], words[3], words[4:]))
    return classes


def read_schemas(directory: str) -> Dict[str, Namespace]:
    namespaces = {}
    loader = SchemaLoader([directory])
    for path in sorted(glob.glob(os.path.join(directory, "*.schema"))):
        namespace = loader.load(path)
        namespaces[namespace.name] = namespace
    return namespaces


def size_of(top: Structure) -> Tuple[int, int]:
    """Structures reachable from `top`, itself included, and the fields they declare."""
    seen: List[Structure] = []

    def visit(structure: Structure) -> None:
        if any(s is structure for s in seen):
            return
        seen.append(structure)
        for field in structure.fields:
            if isinstance(field.element, Structure):
                visit(field.element)

    visit(top)
    return len(seen), sum(len(s.fields) for s in seen)


def typed_classes(namespaces: Dict[str, Namespace]) -> Dict[Tuple[str, str], TypedClass]:
    typed = {}
    for namespace in namespaces.values():
        for module in namespace.modules:
            structures, fields = size_of(module.top)
            version = ".".join(str(part) for part in module.version)
            typed[(namespace.name, module.top.name)] = TypedClass(
                namespace.name, module.top.name, version, module.names, structures, fields)
    return typed


def report(namespaces: Dict[str, Namespace], catalogue: Optional[List[CatalogueClass]]) -> str:
    typed = typed_classes(namespaces)
    lines = []
    opaque: Dict[str, int] = {}
    if catalogue is not None:
        listed = {(c.namespace, c.top) for c in catalogue}
        for entry in catalogue:
            if (entry.namespace, entry.top) not in typed:
                family = FAMILY_OF_MANAGER.get(entry.manager, entry.manager)
                opaque[family] = opaque.get(family, 0) + 1
        unlisted = sorted(f"{ns}::{top}" for ns, top in typed if (ns, top) not in listed)
        typed = {key: value for key, value in typed.items() if key in listed}
    names = sum(len(t.names) for t in typed.values())
    lines.append(f"typed classes: {len(typed)} of {ALL_CLASSES}")
    lines.append(f"typed names: {names} of {ALL_NAMES}")
    if catalogue is None:
        lines.append("opaque classes: no catalogue.txt yet")
    else:
        lines.append(f"opaque classes: {sum(opaque.values())}")
        for family in sorted(opaque):
            lines.append(f"  {family}: {opaque[family]}")
        if unlisted:
            lines.append(f"schema classes missing from the catalogue: {', '.join(unlisted)}")
    for key in sorted(typed):
        t = typed[key]
        lines.append(f"{t.namespace}::{t.top}Class {t.version} ({', '.join(t.names)}): "
                     f"{t.structures} structures, {t.fields} fields")
    return "\n".join(lines) + "\n"


def main() -> int:
    here = os.path.dirname(os.path.abspath(__file__))
    arguments = argparse.ArgumentParser(description=__doc__,
                                        formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--schemas", default=os.path.join(here, "..", "schemas"))
    options = arguments.parse_args()
    catalogue_path = os.path.join(options.schemas, "catalogue.txt")
    try:
        namespaces = read_schemas(options.schemas)
        catalogue = read_catalogue(catalogue_path) if os.path.exists(catalogue_path) else None
    except (SchemaError, ValueError) as error:
        print(f"error: {error}", file=sys.stderr)
        return 1
    sys.stdout.write(report(namespaces, catalogue))
    return 0


if __name__ == "__main__":
    sys.exit(main())
