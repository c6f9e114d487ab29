#!/usr/bin/env python3
"""Mutation sampling: how many small faults in the library's sources do the tests catch?

Applies one mutation at a time to a seeded sample of places in src/ (hand-written sources
only), rebuilds the mutation build, runs the release tests with a time limit, restores the
file, and records the mutant as killed (a test failed or timed out), survived, or did not
build. Prints each surviving mutant as `file:line: before -> after` and a closing line
`N killed, N survived`.

The mutation build (build/mutants) links the test programs against a shared library with
every symbol visible and does not relink them when the library changes, so a mutant costs
one object, one link and the tests.

  scripts/mutants.py [--sample 150] [--seed 1] [--list] [--save FILE | --load FILE] [--killers]

With --killers every test runs on every mutant and the results name the tests that failed
(`killedBy`): a test that kills nothing another test does not is a candidate for merging.

scripts/mutation-sample.json is the stored sample of 150 (seed 1) that scores before and after
a change to the tests are compared on: scripts/mutants.py --load scripts/mutation-sample.json
"""
import argparse
import json
import os
import random
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "mutants"
# Tests that do not run library code, or check what a mutation build changes on purpose.
EXCLUDED_TESTS = r"^abi\.|^codegen_|^schema_coverage"

SWAPS = [
    ("relational", r" <= ", " < "), ("relational", r" < ", " <= "),
    ("relational", r" >= ", " > "), ("relational", r" > ", " >= "),
    ("equality", r" == ", " != "), ("equality", r" != ", " == "),
    ("logical", r" && ", " || "), ("logical", r" \|\| ", " && "),
    ("plus-minus-one", r"\+ 1(?![\w.])", "- 1"), ("plus-minus-one", r"- 1(?![\w.])", "+ 1"),
    ("boolean-return", r"return true;", "return false;"),
    ("boolean-return", r"return false;", "return true;"),
]
CALL_STATEMENT = re.compile(r"^(\s*)[A-Za-z_][\w:]*(?:(?:\.|->)[A-Za-z_]\w*)*\s*\(.*\);\s*$")
NOT_A_CALL = re.compile(r"^\s*(return|if|while|for|switch|case|else|delete|new|throw|do)\b")
INTEGER = re.compile(r"(?<![\w.'])(\d+)(?![\w.'])")


def code_mask(lines):
    """For each line, the set of column indexes that are code (not comment or literal)."""
    masks, in_block = [], False
    for line in lines:
        mask, i, quote = set(), 0, None
        if line.lstrip().startswith("#"):
            masks.append(mask)
            continue
        while i < len(line):
            two = line[i:i + 2]
            if in_block:
                if two == "*/":
                    in_block, i = False, i + 2
                    continue
            elif quote:
                if line[i] == "\\":
                    i += 2
                    continue
                if line[i] == quote:
                    quote = None
            elif two == "//":
                break
            elif two == "/*":
                in_block, i = True, i + 2
                continue
            elif line[i] in "\"'":
                quote = line[i]
            else:
                mask.add(i)
            i += 1
        masks.append(mask)
    return masks


def balanced(text):
    depth = 0
    for c in text:
        depth += {"(": 1, ")": -1}.get(c, 0)
        if depth < 0:
            return False
    return depth == 0


def sites(path):
    """Every mutation of one source file as (line index, column, operator, before, after, line)."""
    lines = path.read_text().splitlines()
    masks = code_mask(lines)
    found = []
    for n, line in enumerate(lines):
        mask = masks[n]
        for operator, pattern, replacement in SWAPS:
            for m in re.finditer(pattern, line):
                if m.start() + 1 in mask or m.start() in mask:
                    found.append((n, m.start(), operator, m.group(0), replacement, line))
        for m in INTEGER.finditer(line):
            if m.start() in mask:
                value = int(m.group(1))
                found.append((n, m.start(), "constant", m.group(1),
                              str(value + 1 if value < 2 else value - 1), line))
        previous = lines[n - 1].rstrip() if n > 0 else ""
        if (CALL_STATEMENT.match(line) and not NOT_A_CALL.match(line) and "=" not in line.split("(")[0]
                and balanced(line) and previous.endswith((";", "{", "}", ")")) and masks[n]):
            indent = CALL_STATEMENT.match(line).group(1)
            found.append((n, len(indent), "call-removed", line.strip(), "(void)0;", line))
    return found


def sample(count, seed):
    """A seeded sample spread over every folder of src/: an equal share per folder first."""
    by_folder = {}
    for path in sorted((ROOT / "src").rglob("*.cpp")):
        rel = path.relative_to(ROOT)
        for site in sites(path):
            by_folder.setdefault(str(rel.parent), []).append((str(rel),) + site)
    rng = random.Random(seed)
    folders = sorted(by_folder)
    chosen = []
    share = max(1, count // (2 * len(folders)))
    for folder in folders:
        chosen += rng.sample(by_folder[folder], min(share, len(by_folder[folder])))
    rest = [site for folder in folders for site in by_folder[folder] if site not in chosen]
    chosen += rng.sample(rest, max(0, count - len(chosen)))
    return sorted(chosen)


def apply(mutant):
    """The file's text with the mutation applied, and the text it had. A line that moved since
    the sample was taken is found again by its text, so a stored sample outlives edits."""
    rel, n, col, _operator, before, after, text = mutant
    path = ROOT / rel
    original = path.read_text()
    lines = original.split("\n")
    if n >= len(lines) or lines[n] != text:
        places = [i for i, line in enumerate(lines) if line == text]
        if not places:
            raise ValueError(f"{rel}:{n + 1} is gone")
        n = min(places, key=lambda i: abs(i - n))
    line = lines[n]
    if _operator == "call-removed":
        lines[n] = line[:col] + after
    else:
        if line[col:col + len(before)] != before:
            raise ValueError(f"{rel}:{n + 1} no longer holds {before!r}")
        lines[n] = line[:col] + after + line[col + len(before):]
    return "\n".join(lines), original


def run(command, timeout):
    try:
        return subprocess.run(command, cwd=ROOT, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              timeout=timeout).returncode
    except subprocess.TimeoutExpired:
        return None


def configure():
    # ccache, where there is one, makes the first build of a fresh checkout cheap.
    launcher = [f"-DCMAKE_{lang}_COMPILER_LAUNCHER=ccache" for lang in ("C", "CXX")] if shutil.which("ccache") else []
    subprocess.run(["cmake", "-S", str(ROOT), "-B", str(BUILD), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                    "-DZYRA_MUTATION_BUILD=ON", "-DZYRA_BUILD_BENCHMARKS=OFF", "-DZYRA_WERROR=OFF", *launcher],
                   check=True, stdout=subprocess.DEVNULL)
    print("building the mutation build once ...", flush=True)
    subprocess.run(["cmake", "--build", str(BUILD)], check=True, stdout=subprocess.DEVNULL)


def test_command(timeout, every_test=False):
    return ["ctest", "--test-dir", str(BUILD), "-j", str(os.cpu_count() or 2), "--timeout", str(timeout),
            *([] if every_test else ["--stop-on-failure"]), "-E", EXCLUDED_TESTS]


FAILED_LOG = BUILD / "Testing" / "Temporary" / "LastTestsFailed.log"


def failed_tests():
    """The tests the last run failed, as ctest lists them (`number:name` lines)."""
    if not FAILED_LOG.exists():
        return []
    return sorted(line.split(":", 1)[1] for line in FAILED_LOG.read_text().splitlines() if ":" in line)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--sample", type=int, default=150, help="mutants to run (default 150)")
    parser.add_argument("--seed", type=int, default=1, help="seed of the sample (default 1)")
    parser.add_argument("--timeout", type=int, default=120, help="seconds per test (default 120)")
    parser.add_argument("--list", action="store_true", help="print the sample and stop")
    parser.add_argument("--save", help="write the sample to this JSON file")
    parser.add_argument("--load", help="run the sample stored in this JSON file")
    parser.add_argument("--results", help="write each mutant's outcome to this JSON file")
    parser.add_argument("--killers", action="store_true",
                        help="run every test on each mutant and record which failed (slower)")
    args = parser.parse_args()

    mutants = [tuple(m) for m in json.loads(Path(args.load).read_text())] if args.load else sample(args.sample, args.seed)
    if args.save:
        Path(args.save).write_text(json.dumps(mutants, indent=0) + "\n")
    if args.list:
        for rel, n, _col, operator, before, after, _text in mutants:
            print(f"{rel}:{n + 1}: [{operator}] {before} -> {after}")
        return 0

    configure()
    if run(test_command(args.timeout), None) != 0:
        print("the tests fail without any mutant; fix that first", file=sys.stderr)
        return 2
    outcomes, survivors = [], []
    for index, mutant in enumerate(mutants, 1):
        rel, n, _col, operator, before, after, _text = mutant
        start = time.time()
        try:
            mutated, original = apply(mutant)
        except ValueError as error:
            print(f"[{index}/{len(mutants)}] skipped: {error}", flush=True)
            continue
        path = ROOT / rel
        try:
            path.write_text(mutated)
            if run(["cmake", "--build", str(BUILD)], 900) != 0:
                outcome = "did not build"
            else:
                FAILED_LOG.unlink(missing_ok=True)
                outcome = "survived" if run(test_command(args.timeout, args.killers), 1800) == 0 else "killed"
        finally:
            path.write_text(original)
            os.utime(path)
        outcomes.append({"file": rel, "line": n + 1, "operator": operator, "before": before, "after": after,
                         "outcome": outcome})
        if args.killers and outcome == "killed":
            outcomes[-1]["killedBy"] = failed_tests()
        if outcome == "survived":
            survivors.append(f"{rel}:{n + 1}: {before} -> {after}")
        print(f"[{index}/{len(mutants)}] {outcome:13} {rel}:{n + 1} [{operator}] "
              f"({time.time() - start:.0f} s)", flush=True)
    run(["cmake", "--build", str(BUILD)], 900)
    if args.results:
        Path(args.results).write_text(json.dumps(outcomes, indent=1) + "\n")
    print("\nSurviving mutants:")
    for line in survivors:
        print(line)
    killed = sum(o["outcome"] == "killed" for o in outcomes)
    unbuilt = sum(o["outcome"] == "did not build" for o in outcomes)
    print(f"{killed} killed, {len(survivors)} survived ({unbuilt} did not build)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
