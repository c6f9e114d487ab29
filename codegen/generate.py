#!/usr/bin/env python3
"""Turns one schema file into <namespace>.h and <namespace>.cpp in an output directory.

Usage: generate.py --out DIR SCHEMA
"""

import argparse
import os
import sys

from zyra_schema.emit_header import emit_header
from zyra_schema.emit_source import emit_source
from zyra_schema.parser import SchemaError, parse_schema


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
    arguments.add_argument("schema")
    options = arguments.parse_args()

    schema_name = os.path.basename(options.schema)
    stem = os.path.splitext(schema_name)[0]
    try:
        with open(options.schema, encoding="utf-8") as source:
            namespace = parse_schema(options.schema, source.read())
        if namespace.name != stem:
            raise SchemaError(options.schema, 1,
                              f"namespace '{namespace.name}' must match the file name '{stem}'")
    except SchemaError as error:
        print(f"error: {error}", file=sys.stderr)
        return 1

    os.makedirs(options.out, exist_ok=True)
    header_name = f"{stem}.h"
    write_if_changed(os.path.join(options.out, header_name), emit_header(namespace, schema_name))
    write_if_changed(os.path.join(options.out, f"{stem}.cpp"),
                     emit_source(namespace, schema_name, header_name))
    return 0


if __name__ == "__main__":
    sys.exit(main())
