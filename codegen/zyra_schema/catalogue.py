"""The module catalogue: which classes each set manager registers, under which names.

One class per line: `<Manager> <namespace> <major>.<minor>.<patch> <Top> <name>...`, `#` starts
a comment. The catalogue is the one source of a catalogue class's version and names; a schema
of its namespace only adds the fields.
"""

import re
from dataclasses import dataclass
from typing import Dict, List, Tuple

from .parser import SchemaError

# Manager class -> family of its modules.
MANAGER_FAMILIES = {
    "TuningSetManager": "tuning",
    "ImageSensorModuleSetManager": "sensor",
    "fdSetManager": "facedetection",
    "bitmlSetManager": "bitml",
}

_IDENTIFIER = re.compile(r"^[A-Za-z_][A-Za-z0-9_]*$")
_VERSION = re.compile(r"^([0-9]+)\.([0-9]+)\.([0-9]+)$")


@dataclass
class CatalogueClass:
    manager: str
    namespace: str
    version: Tuple[int, int, int]
    top: str
    names: List[str]
    line: int

    @property
    def family(self) -> str:
        return MANAGER_FAMILIES[self.manager]


class Catalogue:
    def __init__(self, path: str, classes: List[CatalogueClass]):
        self.path = path
        self.classes = classes

    def of_namespace(self, namespace: str) -> List[CatalogueClass]:
        return [c for c in self.classes if c.namespace == namespace]

    def managers(self) -> List[str]:
        """The managers in the order of their first class."""
        return list(dict.fromkeys(c.manager for c in self.classes))


def _read_line(path: str, number: int, tokens: List[str]) -> CatalogueClass:
    if len(tokens) < 5:
        raise SchemaError(path, number, "a class needs a manager, namespace, version, top "
                                        "structure and at least one name")
    manager, namespace, version, top, names = tokens[0], tokens[1], tokens[2], tokens[3], tokens[4:]
    if manager not in MANAGER_FAMILIES:
        raise SchemaError(path, number, f"unknown set manager '{manager}'")
    match = _VERSION.match(version)
    if not match:
        raise SchemaError(path, number, f"'{version}' is not a version triple")
    triple = tuple(int(part) for part in match.groups())
    if triple[0] > 0xFFFF or triple[1] > 0xFFFF or triple[2] > 0xFFFFFFFF:
        raise SchemaError(path, number, "version part out of range")
    for word in [namespace, top] + names:
        if not _IDENTIFIER.match(word):
            raise SchemaError(path, number, f"'{word}' is not a name")
    return CatalogueClass(manager, namespace, triple, top, names, number)


def parse_catalogue(path: str, text: str) -> Catalogue:
    classes: List[CatalogueClass] = []
    seen_classes: Dict[Tuple[str, str], int] = {}
    seen_names: Dict[Tuple[str, str], int] = {}
    for number, raw in enumerate(text.splitlines(), start=1):
        tokens = raw.split("#", 1)[0].split()
        if not tokens:
            continue
        entry = _read_line(path, number, tokens)
        key = (entry.namespace, entry.top)
        if key in seen_classes:
            raise SchemaError(path, number, f"class {entry.namespace}::{entry.top} is already on "
                                            f"line {seen_classes[key]}")
        seen_classes[key] = number
        if any(c.namespace == entry.namespace and c.manager != entry.manager for c in classes):
            raise SchemaError(path, number, f"namespace '{entry.namespace}' belongs to another "
                                            "set manager")
        for name in entry.names:
            # Each name is an accessor of its manager, so it may stand there once.
            if (entry.manager, name) in seen_names:
                raise SchemaError(path, number, f"name '{name}' is already registered on line "
                                                f"{seen_names[(entry.manager, name)]}")
            seen_names[(entry.manager, name)] = number
        classes.append(entry)
    return Catalogue(path, classes)


def read_catalogue(path: str) -> Catalogue:
    with open(path, encoding="utf-8") as source:
        return parse_catalogue(path, source.read())


def check_against_catalogue(namespace, path: str, catalogue: Catalogue) -> None:
    """A schema of a catalogue namespace has to declare exactly the catalogue's classes of that
    namespace, with the catalogue's versions, names and family."""
    classes = {c.top: c for c in catalogue.of_namespace(namespace.name)}
    if not classes:
        return
    modules = {m.top.name: m for m in namespace.modules}
    for top, entry in classes.items():
        if top not in modules:
            raise SchemaError(path, 1, f"the catalogue's class '{top}' has no module line")
    family = next(iter(classes.values())).family
    if namespace.family != family:
        raise SchemaError(path, 1, f"family '{namespace.family}' differs from the catalogue's "
                                   f"'{family}'")
    for top, module in modules.items():
        entry = classes.get(top)
        line = module.top.line
        if entry is None:
            raise SchemaError(path, line, f"'{top}' is no top structure of namespace "
                                          f"'{namespace.name}' in the catalogue")
        if tuple(module.version) != entry.version:
            raise SchemaError(path, line, f"version {_triple(module.version)} of '{top}' differs "
                                          f"from the catalogue's {_triple(entry.version)}")
        if module.names != entry.names:
            raise SchemaError(path, line, f"names {' '.join(module.names)} of '{top}' differ from "
                                          f"the catalogue's {' '.join(entry.names)}")


def _triple(version) -> str:
    return ".".join(str(part) for part in version)
