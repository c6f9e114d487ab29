#!/usr/bin/env python3
"""Compares the dynamic symbols a shared library defines with the expected list.

Usage: check_exports.py NM LIBRARY EXPECTED [--update]
The list holds demangled names, one a line, sorted. --update rewrites it.
"""
import subprocess
import sys


def exported(nm, library):
    out = subprocess.run([nm, "-D", "--defined-only", "-C", library],
                         check=True, capture_output=True, text=True).stdout
    names = set()
    for line in out.splitlines():
        parts = line.split(maxsplit=2)
        if len(parts) == 3:
            names.add(parts[2])
    return sorted(names)


def main(argv):
    if len(argv) < 4:
        print(__doc__)
        return 2
    nm, library, expected_path = argv[1:4]
    actual = exported(nm, library)
    if "--update" in argv[4:]:
        with open(expected_path, "w") as f:
            f.write("".join(name + "\n" for name in actual))
        return 0
    with open(expected_path) as f:
        expected = sorted(line.strip() for line in f if line.strip())
    extra = sorted(set(actual) - set(expected))
    missing = sorted(set(expected) - set(actual))
    for name in extra:
        print("exported but not expected: " + name)
    for name in missing:
        print("expected but not exported: " + name)
    print(f"{len(actual)} symbols exported, {len(extra)} unexpected, {len(missing)} missing")
    return 1 if extra or missing else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
