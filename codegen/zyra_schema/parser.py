"""Reads a schema file into the model.

The format is line based: one declaration per line, `#` starts a comment, and a structure's
fields stand between its `struct` line (or an anonymous structure's field line) and `end`.
docs/schema-format.md describes it.
"""

import re
from typing import Callable, List, Optional, Tuple

from .model import (FAMILIES, FLAGS, HELD_AS_FLOAT_TYPES, SCALAR_TYPES, Enum, Field, Module,
                    Namespace, Scalar, String, Structure, section_has_reserved_id)
from .trigger_tree import find_trigger_tree

IDENTIFIER = re.compile(r"^[A-Za-z_][A-Za-z0-9_]*$")
DIMENSION = re.compile(r"^\[([1-9][0-9]*)\]$")
VERSION = re.compile(r"^([0-9]+)\.([0-9]+)\.([0-9]+)$")
RANGE = re.compile(r"^([0-9]+)(?:-([0-9]+))?$")
SHAPES = ("counted", "optional", "tab", "memory")
UINT32_MAX = 0xFFFFFFFF


class SchemaError(Exception):
    def __init__(self, path: str, line: int, message: str):
        super().__init__(f"{path}:{line}: {message}")


# Finds the parsed shared namespace of a `use` line, or None when there is no such schema.
NamespaceFinder = Callable[[str], Optional[Namespace]]


class _Parser:
    def __init__(self, path: str, text: str, find_namespace: Optional[NamespaceFinder]):
        self.path = path
        self.find_namespace = find_namespace
        self.uses: List[Namespace] = []
        self.lines = text.splitlines()
        self.index = 0
        self.namespace: Optional[str] = None
        self.version: Optional[Tuple[int, int, int]] = None
        self.family: Optional[str] = None
        self.flags: List[str] = []
        self.flags_line = 0
        self.enums: List[Enum] = []
        self.structures: List[Structure] = []
        self.module_lines: List[Tuple[int, List[str]]] = []

    def error(self, line: int, message: str) -> SchemaError:
        return SchemaError(self.path, line, message)

    def next_tokens(self) -> Optional[Tuple[int, List[str]]]:
        while self.index < len(self.lines):
            self.index += 1
            tokens = self.lines[self.index - 1].split("#", 1)[0].split()
            if tokens:
                return self.index, tokens
        return None

    def identifier(self, line: int, word: str) -> str:
        if not IDENTIFIER.match(word):
            raise self.error(line, f"'{word}' is not a name")
        return word

    def parse(self) -> Namespace:
        while True:
            item = self.next_tokens()
            if item is None:
                break
            line, tokens = item
            keyword, args = tokens[0], tokens[1:]
            if keyword == "namespace" and len(args) == 1:
                self.namespace = self.identifier(line, args[0])
            elif keyword == "version" and len(args) == 1:
                self.version = self.parse_version(line, args[0])
            elif keyword == "family" and len(args) == 1 and args[0] in FAMILIES:
                self.family = args[0]
            elif keyword == "flags" and all(arg in FLAGS for arg in args):
                # Several flags lines add up.
                self.flags += [arg for arg in args if arg not in self.flags]
                if "reflection" in args:
                    self.flags_line = line
            elif keyword == "module" and len(args) >= 2:
                self.module_lines.append((line, args))
            elif keyword == "use" and len(args) == 1:
                self.uses.append(self.use(line, self.identifier(line, args[0])))
            elif keyword == "enum":
                self.enums.append(self.parse_enum(line, args, None, self.enums))
            elif keyword == "struct" and 1 <= len(args) <= 2:
                reserved = args[1:] == ["reservedID"]
                if len(args) == 2 and not reserved:
                    raise self.error(line, f"unknown word '{args[1]}'")
                name = self.identifier(line, args[0])
                if self.find_structure(name) is not None:
                    raise self.error(line, f"structure '{name}' declared twice")
                structure = Structure(name, None, reserved, line=line)
                self.parse_body(structure)
                self.structures.append(structure)
            else:
                raise self.error(line, f"cannot read '{' '.join(tokens)}'")
        return self.finish()

    def parse_version(self, line: int, word: str) -> Tuple[int, int, int]:
        match = VERSION.match(word)
        if not match:
            raise self.error(line, f"'{word}' is not a version A.B.C")
        major, minor, patch = (int(part) for part in match.groups())
        if major > 0xFFFF or minor > 0xFFFF or patch > UINT32_MAX:
            raise self.error(line, "version part out of range")
        return major, minor, patch

    def use(self, line: int, name: str) -> Namespace:
        if any(used.name == name for used in self.uses):
            raise self.error(line, f"'{name}' is used twice")
        used = self.find_namespace(name) if self.find_namespace is not None else None
        if used is None:
            raise self.error(line, f"no schema declares namespace '{name}'")
        if not used.shared:
            raise self.error(line, f"'{name}' registers modules; only a shared namespace is used")
        return used

    def finish(self) -> Namespace:
        end = len(self.lines)
        if self.namespace is None:
            raise self.error(end, "no namespace line")
        for structure in self.all_structures():
            structure.home = self.namespace
            for enum in structure.enums:
                enum.home = self.namespace
        for enum in self.enums:
            enum.home = self.namespace
        if self.version is None and not self.module_lines:
            # A shared namespace: declarations for others, no class of its own.
            if self.flags or self.family is not None:
                raise self.error(end, "a shared namespace has no family or flags")
            return Namespace(self.namespace, None, "tuning", [], self.enums, self.structures,
                             [], self.uses)
        if self.version is None:
            raise self.error(end, "no version line")
        # Only the tuning family keeps the entry ID to 24 bits, leaving the top byte of
        # ModuleID free for the change generation that a reflective SetValue counts.
        if "reflection" in self.flags and self.family not in (None, "tuning"):
            raise self.error(self.flags_line, "only the tuning family has reflection")
        modules = []
        for line, args in self.module_lines:
            top = self.find_structure(args[0])
            if top is None:
                raise self.error(line, f"unknown top structure '{args[0]}'")
            if any(m.top is top for m in modules):
                raise self.error(line, f"'{top.name}' is a module twice")
            if top.reserved_id:
                raise self.error(line, "a top structure begins with ModuleID, not reservedID")
            words = args[1:]
            version = self.version
            if len(words) >= 2 and words[-2] == "version":
                version = self.parse_version(line, words[-1])
                words = words[:-2]
            if not words:
                raise self.error(line, "a module needs at least one name")
            names = [self.identifier(line, name) for name in words]
            tree = None
            if "trigger_tree" in self.flags:
                try:
                    tree = find_trigger_tree(top)
                except ValueError as problem:
                    raise self.error(line, str(problem)) from None
            modules.append(Module(top, names, version, tree))
        if not modules:
            raise self.error(end, "no module line")
        namespace = Namespace(self.namespace, self.version, self.family or "tuning", self.flags,
                              self.enums, self.structures, modules, self.uses)
        if "reflection" in self.flags:
            # Field paths address texts and numbers, not an array of texts.
            for structure in namespace.all_structures():
                for f in structure.fields:
                    if isinstance(f.element, String) and f.shape == "counted":
                        raise self.error(f.line, "a counted array of strings has no reflection")
        return namespace

    def all_structures(self) -> List[Structure]:
        found: List[Structure] = []
        pending = list(self.structures)
        while pending:
            structure = pending.pop()
            found.append(structure)
            pending.extend(structure.nested)
        return found

    def parse_enum(self, line: int, args: List[str], scope: Optional[Structure],
                   siblings: List[Enum]) -> Enum:
        if len(args) < 2:
            raise self.error(line, "an enum needs a name and its values")
        name = self.identifier(line, args[0])
        if any(e.name == name for e in siblings):
            raise self.error(line, f"enum '{name}' declared twice")
        values = set()
        for word in args[1:]:
            match = RANGE.match(word)
            if not match:
                raise self.error(line, f"'{word}' is not a value or a range of values")
            first = int(match.group(1))
            last = int(match.group(2)) if match.group(2) is not None else first
            if last < first or last > UINT32_MAX:
                raise self.error(line, f"bad range '{word}'")
            if any(not (last < a or first > b) for a, b in values):
                raise self.error(line, f"'{word}' overlaps another value")
            values.add((first, last))
        return Enum(name, _merge(sorted(values)), scope, line)

    def parse_body(self, structure: Structure) -> None:
        while True:
            item = self.next_tokens()
            if item is None:
                raise self.error(len(self.lines), f"'{structure.name}' has no end")
            line, tokens = item
            if tokens == ["end"]:
                # An empty section still holds its reservedID word; anything else is a mistake.
                if not structure.fields and not structure.reserved_id:
                    raise self.error(line, f"'{structure.name}' has no fields")
                return
            if tokens[0] == "enum":
                structure.enums.append(
                    self.parse_enum(line, tokens[1:], structure, structure.enums))
                continue
            self.parse_field(structure, line, tokens)

    def parse_field(self, structure: Structure, line: int, tokens: List[str]) -> None:
        if len(tokens) < 2:
            raise self.error(line, "a field needs a name and a type")
        name = self.identifier(line, tokens[0])
        if any(f.name == name for f in structure.fields):
            raise self.error(line, f"field '{name}' declared twice")
        type_word, rest = tokens[1], tokens[2:]
        held_as_float = rest[:2] == ["as", "Float"]
        if held_as_float:
            rest = rest[2:]
        dims: List[int] = []
        while rest and DIMENSION.match(rest[0]):
            dims.append(int(DIMENSION.match(rest[0]).group(1)))
            rest = rest[1:]
        shape = "single"
        if rest and rest[0] in SHAPES:
            shape, rest = rest[0], rest[1:]
        report = None
        if shape == "counted" and len(rest) == 2 and rest[0] == "reports":
            report, rest = self.identifier(line, rest[1]), []
        reserved = rest == ["reservedID"] and type_word == "struct"
        if rest and not reserved:
            raise self.error(line, f"unknown words '{' '.join(rest)}'")
        if dims and shape in ("counted", "optional"):
            raise self.error(line, f"a {shape} field has no dimensions")

        if type_word == "struct":
            reserved = reserved or section_has_reserved_id(name, structure.name)
            element = Structure(f"{name}Struct", structure, reserved, line=line)
            self.parse_body(element)
            structure.nested.append(element)
        elif type_word == structure.name:
            # A structure holds itself only through a pointer: a tree of nodes.
            if shape != "counted":
                raise self.error(line, f"'{name}' holds its own structure, so it is counted")
            element = structure
        else:
            element = self.resolve(line, type_word, structure)
        if held_as_float and not (isinstance(element, Scalar)
                                  and element.word in HELD_AS_FLOAT_TYPES):
            raise self.error(line, "only Int32 and UInt32 are held as Float")
        if isinstance(element, Scalar):
            element = Scalar(element.word, held_as_float)
        if isinstance(element, String) and (dims or shape not in ("single", "counted")):
            raise self.error(line, "a String stands alone or as a counted array")
        if shape == "memory" and (dims or not isinstance(element, Scalar)):
            raise self.error(line, "a memory word is a single scalar")

        if shape == "tab":
            if not (isinstance(element, Scalar) and len(dims) >= 1 and name.endswith("_tab")
                    and len(name) > 4):
                raise self.error(line, "a tab field is '<name>_tab' over a fixed scalar array")
            wrapper = Structure(f"{name}Struct", structure, False, line=line)
            wrapper.fields.append(Field(name[:-4], element, "single", dims, line))
            structure.nested.append(wrapper)
            element, shape, dims = wrapper, "single", []
        structure.fields.append(Field(name, element, shape, dims, line, report))

    def resolve(self, line: int, word: str, scope: Structure):
        if word in SCALAR_TYPES:
            return Scalar(word)
        if word == "String":
            return String()
        if "::" in word:
            return self.resolve_used(line, word)
        at: Optional[Structure] = scope
        while at is not None:
            for candidate in at.enums + at.nested:
                if candidate.name == word:
                    return candidate
            at = at.parent
        for candidate in self.enums:
            if candidate.name == word:
                return candidate
        structure = self.find_structure(word)
        if structure is not None:
            return structure
        raise self.error(line, f"unknown type '{word}' (types are declared before use)")

    def resolve_used(self, line: int, word: str):
        """`<namespace>::<Name>`: an enum or structure at the top of a used namespace."""
        namespace_name, _, name = word.partition("::")
        used = next((u for u in self.uses if u.name == namespace_name), None)
        if used is None:
            raise self.error(line, f"'{namespace_name}' is not used (add 'use {namespace_name}')")
        for candidate in used.enums + used.structures:
            if candidate.name == name:
                return candidate
        raise self.error(line, f"'{namespace_name}' declares no '{name}'")

    def find_structure(self, name: str) -> Optional[Structure]:
        return next((s for s in self.structures if s.name == name), None)


def _merge(ranges: List[Tuple[int, int]]) -> List[Tuple[int, int]]:
    """Joins adjacent ranges, so 75 76 is kept as 75-76."""
    merged: List[Tuple[int, int]] = []
    for first, last in ranges:
        if merged and merged[-1][1] + 1 == first:
            merged[-1] = (merged[-1][0], last)
        else:
            merged.append((first, last))
    return merged


def parse_schema(path: str, text: str,
                 find_namespace: Optional[NamespaceFinder] = None) -> Namespace:
    return _Parser(path, text, find_namespace).parse()
