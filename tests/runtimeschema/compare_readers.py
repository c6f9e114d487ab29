#!/usr/bin/env python3
"""The library's schema reader against the generator's on the schemas of schemas/ and on
mutations of them drawn from a fixed seed: both accept the same texts, and refuse the others
with the same first message.

Usage: compare_readers.py PROBE SCHEMA_DIR CODEGEN_DIR [MUTATIONS_PER_SCHEMA]
"""

import os
import random
import subprocess
import sys
import tempfile

# Mistakes only the library names: limits that keep a module's values in one allocation and
# its walks in the stack.
LIBRARY_LIMITS = ("nest deeper than", "takes more than")

WORDS = ["struct", "end", "enum", "module", "use", "flags", "family", "version", "namespace",
         "counted", "optional", "tab", "memory", "reports", "reservedID", "as", "Float",
         "UInt8", "Int32", "String", "[0]", "[3]", "0-3", "7", "1.2.3", "reflection",
         "trigger_tree", "tuning", "sensor", "::", "x_tab", "#"]


def mutate(text: str, rng: random.Random) -> str:
    lines = text.split("\n")
    words = text.split() or ["x"]
    at = rng.randrange(len(lines))
    kind = rng.randrange(6)
    if kind == 0:
        del lines[at]
    elif kind == 1:
        lines.insert(at, lines[at])
    elif kind == 2 and at + 1 < len(lines):
        lines[at], lines[at + 1] = lines[at + 1], lines[at]
    else:
        tokens = lines[at].split()
        spot = rng.randrange(len(tokens) + 1)
        if kind == 3 and tokens:
            tokens[min(spot, len(tokens) - 1)] = rng.choice(words)
        elif kind == 4 and tokens:
            del tokens[min(spot, len(tokens) - 1)]
        else:
            tokens.insert(spot, rng.choice(WORDS))
        lines[at] = "  " + " ".join(tokens)
    return "\n".join(lines)


def generator_result(path: str, schema_dir: str) -> str:
    from zyra_schema.loader import SchemaLoader
    from zyra_schema.parser import SchemaError
    try:
        SchemaLoader([os.path.dirname(path), schema_dir]).load(path)
        return "ok"
    except SchemaError as error:
        return str(error)


def main(argv) -> int:
    probe, schema_dir, codegen_dir = argv[1:4]
    per_schema = int(argv[4]) if len(argv) > 4 else 40
    sys.path.insert(0, codegen_dir)
    rng = random.Random(19)
    with tempfile.TemporaryDirectory() as work:
        cases = []
        for name in sorted(os.listdir(schema_dir)):
            if not name.endswith(".schema"):
                continue
            with open(os.path.join(schema_dir, name), encoding="utf-8") as source:
                original = source.read()
            texts = [original] + [mutate(original, rng) for _ in range(per_schema)]
            for k, text in enumerate(texts):
                folder = os.path.join(work, str(len(cases)))
                os.mkdir(folder)
                path = os.path.join(folder, name)
                with open(path, "w", encoding="utf-8") as out:
                    out.write(text)
                cases.append((path, text, k == 0))
        answers = subprocess.run([probe, schema_dir, "--"] + [c[0] for c in cases],
                                 check=True, capture_output=True, text=True).stdout.splitlines()
        if len(answers) != len(cases):
            print(f"the probe answered {len(answers)} of {len(cases)} files")
            return 1
        failures = refused = 0
        for (path, text, original), library in zip(cases, answers):
            try:
                generator = generator_result(path, schema_dir)
            except Exception as crash:  # the generator stops with a traceback: nothing to compare
                print(f"skipped, the generator raised {type(crash).__name__}: {path}")
                continue
            if generator != "ok":
                refused += 1
            if original and library != "ok":
                print(f"{path}: a schema of the repository is refused: {library}")
                failures += 1
            elif library != generator and not any(limit in library for limit in LIBRARY_LIMITS):
                failures += 1
                print(f"--- {path}\n{text}\n--- generator: {generator}\n--- library:   {library}")
        print(f"{len(cases)} texts, {refused} refused, {failures} answered differently")
        return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
