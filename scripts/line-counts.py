#!/usr/bin/env python3
"""Non-blank lines of hand-written test code against the rest of the hand-written code.

Counts the files git tracks in C, C++, Python, shell and CMake (generated files are not tracked;
schema files are data and not counted). A file is test code when it lies under tests/ or fuzz/,
or its name is `*_test.*` or `test_*`. The project keeps the ratio near a quarter to a third.

  scripts/line-counts.py [--by-folder]
"""
import os
import re
import subprocess
import sys

SOURCE = re.compile(r"\.(c|cc|cpp|h|hpp|py|sh|cmake)$|(^|/)CMakeLists\.txt$")
SCRIPT = re.compile(rb"^#!.*\b(sh|bash|python3?)\b")
TEST = re.compile(r"^(tests|fuzz)/|(^|/)(test_[^/]*|[^/]*_test\.[^/]*)$")


def is_source(path):
    if SOURCE.search(path):
        return True
    if "." in os.path.basename(path):
        return False
    with open(path, "rb") as f:
        return bool(SCRIPT.match(f.readline()))


def non_blank_lines(path):
    with open(path, errors="replace") as f:
        return sum(1 for line in f if line.strip())


def main():
    os.chdir(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
    files = subprocess.run(["git", "ls-files"], check=True, capture_output=True,
                           text=True).stdout.split()
    tests, code, folders = 0, 0, {}
    for path in files:
        if not os.path.isfile(path) or not is_source(path):
            continue
        lines = non_blank_lines(path)
        if TEST.search(path):
            tests += lines
            folder = "/".join(path.split("/")[:2])
            folders[folder] = folders.get(folder, 0) + lines
        else:
            code += lines
    print(f"test lines {tests}, code lines {code}, ratio {tests / code:.2f}")
    if "--by-folder" in sys.argv:
        for folder, lines in sorted(folders.items(), key=lambda item: -item[1]):
            print(f"{lines:7d} {folder}")


if __name__ == "__main__":
    main()
