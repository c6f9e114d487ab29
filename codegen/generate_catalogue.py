#!/usr/bin/env python3
"""Turns the module catalogue into the derived set managers and the opaque module classes.

For each set manager of the catalogue it writes <manager>.h and <manager>.cpp; for each
catalogue namespace without one of the given schema files an opaque <namespace>.h, whose
classes are defined in catalogue_opaque_<k>.cpp (the classes spread over a fixed number of
sources, so that a clean build compiles them in parallel). Namespaces with a schema get their
classes from generate.py; compiled_namespaces.cpp lists them for the schemas read at run time.

Usage: generate_catalogue.py --catalogue FILE --sources N (--out DIR | --list-outputs) [SCHEMA...]
"""

import argparse
import os
import sys
from typing import Dict, List

from generate import write_if_changed
from zyra_schema.catalogue import CatalogueClass, read_catalogue
from zyra_schema.emit_compiled import emit_compiled
from zyra_schema.emit_manager import emit_manager_header, emit_manager_source, file_stem
from zyra_schema.loader import SchemaLoader
from zyra_schema.emit_opaque import opaque_namespace_header, opaque_source
from zyra_schema.parser import SchemaError


def outputs(managers: List[str], opaque: List[str], sources: int) -> List[str]:
    files = []
    for manager in managers:
        files += [f"{file_stem(manager)}.h", f"{file_stem(manager)}.cpp"]
    files += [f"{namespace}.h" for namespace in opaque]
    files.append("compiled_namespaces.cpp")
    return files + [f"catalogue_opaque_{k}.cpp" for k in range(sources)]


def spread(namespaces: List[List[CatalogueClass]],
           sources: int) -> List[List[List[CatalogueClass]]]:
    """Whole namespaces, in order, into `sources` groups of about the same number of classes."""
    total = sum(len(entries) for entries in namespaces)
    groups: List[List[List[CatalogueClass]]] = [[] for _ in range(sources)]
    done = 0
    for entries in namespaces:
        groups[min(sources - 1, done * sources // max(total, 1))].append(entries)
        done += len(entries)
    return groups


def main() -> int:
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--catalogue", required=True)
    arguments.add_argument("--sources", type=int, default=8)
    arguments.add_argument("--out")
    arguments.add_argument("--list-outputs", action="store_true")
    arguments.add_argument("schemas", nargs="*")
    options = arguments.parse_args()
    try:
        catalogue = read_catalogue(options.catalogue)
    except SchemaError as error:
        print(f"error: {error}", file=sys.stderr)
        return 1
    managers = catalogue.managers()
    typed = {os.path.splitext(os.path.basename(path))[0] for path in options.schemas}
    opaque: Dict[str, List[CatalogueClass]] = {}
    for entry in catalogue.classes:
        if entry.namespace not in typed:
            opaque.setdefault(entry.namespace, []).append(entry)
    if options.list_outputs:
        print(";".join(outputs(managers, list(opaque), options.sources)))
        return 0

    os.makedirs(options.out, exist_ok=True)
    for manager in managers:
        classes = [c for c in catalogue.classes if c.manager == manager]
        stem = file_stem(manager)
        write_if_changed(os.path.join(options.out, f"{stem}.h"),
                         emit_manager_header(manager, classes))
        write_if_changed(os.path.join(options.out, f"{stem}.cpp"),
                         emit_manager_source(manager, classes))
    for namespace, entries in opaque.items():
        write_if_changed(os.path.join(options.out, f"{namespace}.h"),
                         opaque_namespace_header(namespace, entries))
    try:
        loader = SchemaLoader(sorted({os.path.dirname(os.path.abspath(path))
                                      for path in options.schemas}))
        compiled = [loader.load(path) for path in options.schemas]
    except SchemaError as error:
        print(f"error: {error}", file=sys.stderr)
        return 1
    write_if_changed(os.path.join(options.out, "compiled_namespaces.cpp"), emit_compiled(compiled))
    for k, group in enumerate(spread(list(opaque.values()), options.sources)):
        write_if_changed(os.path.join(options.out, f"catalogue_opaque_{k}.cpp"),
                         opaque_source(group))
    return 0


if __name__ == "__main__":
    sys.exit(main())
