"""Reads schema files and the shared namespaces their `use` lines name."""

import os
from typing import Dict, List, Optional

from .model import Namespace
from .parser import SchemaError, parse_schema


class SchemaLoader:
    """Reads schema files by path or by namespace name, each once, and refuses a circle of uses."""

    def __init__(self, folders: List[str]):
        self.folders = folders
        self.loaded: Dict[str, Namespace] = {}
        self.paths: List[str] = []
        self.reading: List[str] = []

    def load(self, path: str) -> Namespace:
        stem = os.path.splitext(os.path.basename(path))[0]
        if stem in self.loaded:
            return self.loaded[stem]
        if stem in self.reading:
            raise SchemaError(path, 1, f"uses itself through {' -> '.join(self.reading)}")
        self.reading.append(stem)
        with open(path, encoding="utf-8") as source:
            namespace = parse_schema(path, source.read(), self.find)
        self.reading.pop()
        if namespace.name != stem:
            raise SchemaError(path, 1,
                              f"namespace '{namespace.name}' must match the file name '{stem}'")
        self.loaded[stem] = namespace
        self.paths.append(os.path.abspath(path))
        return namespace

    def find(self, name: str) -> Optional[Namespace]:
        for folder in self.folders:
            path = os.path.join(folder, f"{name}.schema")
            if os.path.exists(path):
                return self.load(path)
        return None
