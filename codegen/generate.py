#!/usr/bin/env python3
"""Turns one schema file into <namespace>.h and <namespace>.cpp in an output directory.

Usage: generate.py --out DIR [--schemas DIR]... [--depfile FILE] [--catalogue FILE] SCHEMA

With a catalogue, a schema of one of its namespaces must declare its classes as listed there.

A `use NAME` line of the schema is read from NAME.schema in the schema's own folder or in one of
the --schemas folders, in that order.
"""

import argparse
import os
import sys
from zyra_schema.catalogue import check_against_catalogue, read_catalogue
from zyra_schema.emit_header import emit_header
from zyra_schema.emit_source import emit_source
from zyra_schema.loader import SchemaLoader
from zyra_schema.parser import SchemaError


def write_if_changed(path: str, text: str) -> None:
    # Untouched outputs keep their time stamps, so a schema edit rebuilds only what changed.
    if os.path.exists(path):
        with open(path, encoding="utf-8") as existing:
            if existing.read() == text:
                return
    with open(path, "w", encoding="utf-8") as out:
        out.write(text)


def main() -> int:
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--out", required=True)
    arguments.add_argument("--schemas", action="append", default=[])
    arguments.add_argument("--depfile")
    arguments.add_argument("--catalogue")
    arguments.add_argument("schema")
    options = arguments.parse_args()

    schema_name = os.path.basename(options.schema)
    stem = os.path.splitext(schema_name)[0]
    loader = SchemaLoader([os.path.dirname(os.path.abspath(options.schema))] + options.schemas)
    try:
        namespace = loader.load(options.schema)
        if options.catalogue:
            check_against_catalogue(namespace, options.schema, read_catalogue(options.catalogue))
    except SchemaError as error:
        print(f"error: {error}", file=sys.stderr)
        return 1

    os.makedirs(options.out, exist_ok=True)
    header_name = f"{stem}.h"
    write_if_changed(os.path.join(options.out, header_name), emit_header(namespace, schema_name))
    write_if_changed(os.path.join(options.out, f"{stem}.cpp"),
                     emit_source(namespace, schema_name, header_name))
    if options.depfile:
        # The outputs also depend on every schema that this one uses.
        target = os.path.abspath(os.path.join(options.out, header_name))
        write_if_changed(options.depfile, f"{target}: {' '.join(loader.paths)}\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
