"""What a schema declares, after parsing and name resolution."""

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, List, Optional, Tuple, Union

if TYPE_CHECKING:
    from .trigger_tree import TriggerTree

# Type word -> (width in the file, C++ type of the member).
SCALAR_TYPES = {
    "UInt8": (1, "uint8_t"),
    "UInt16": (2, "uint16_t"),
    "UInt32": (4, "uint32_t"),
    "Int32": (4, "int32_t"),
    "UInt64": (8, "uint64_t"),
    "Int64": (8, "int64_t"),
    "Float": (4, "float"),
    "Double": (8, "double"),
    "Boolean": (4, "uint32_t"),
}

# Integer type words whose value may stand in the file and in memory as a 32-bit float.
HELD_AS_FLOAT_TYPES = ("Int32", "UInt32")

FAMILIES = ("tuning", "sensor", "facedetection", "bitml")
FLAGS = ("reflection", "trigger_tree", "clone")

# The common sections of a tuning module begin with a reservedID word in memory, in every
# namespace, as does each switch of its dynamic_enable_triggers section. A schema marks any
# other structure that has one with the word `reservedID`.
RESERVED_ID_SECTIONS = ("module_version", "parameter_version", "enable_section",
                        "control_variables", "private_information", "control_method")
RESERVED_ID_PARENT = "dynamic_enable_triggersStruct"


def section_has_reserved_id(field_name: str, parent_name: str) -> bool:
    """Whether the anonymous structure of field `field_name` in `parent_name` has reservedID."""
    return field_name in RESERVED_ID_SECTIONS or parent_name == RESERVED_ID_PARENT


@dataclass
class Scalar:
    word: str
    held_as_float: bool = False

    @property
    def width(self) -> int:
        return SCALAR_TYPES[self.word][0]

    @property
    def cpp_type(self) -> str:
        return "float" if self.held_as_float else SCALAR_TYPES[self.word][1]


@dataclass
class String:
    pass


@dataclass
class Enum:
    name: str
    ranges: List[Tuple[int, int]]
    scope: Optional["Structure"]
    line: int
    # The namespace that declares it, which may be a shared one that the schema uses.
    home: str = ""

    @property
    def cpp_path(self) -> str:
        return self.name if self.scope is None else f"{self.scope.cpp_path}::{self.name}"


@dataclass
class Field:
    name: str
    element: Union[Scalar, String, Enum, "Structure"]
    # "single", "counted", "optional", or "memory" for a word that no file holds and that
    # Load clears.
    shape: str = "single"
    dims: List[int] = field(default_factory=list)
    line: int = 0
    # What a counted array's allocation failure names, where the field's own name is not it.
    report: Optional[str] = None

    @property
    def count(self) -> int:
        total = 1
        for dim in self.dims:
            total *= dim
        return total


# Compared and shown by identity: a structure may hold itself.
@dataclass(eq=False, repr=False)
class Structure:
    name: str
    parent: Optional["Structure"] = None
    reserved_id: bool = False
    fields: List[Field] = field(default_factory=list)
    enums: List[Enum] = field(default_factory=list)
    # Structures defined inside this one: anonymous field structures and table wrappers.
    nested: List["Structure"] = field(default_factory=list)
    line: int = 0
    home: str = ""

    @property
    def cpp_path(self) -> str:
        return self.name if self.parent is None else f"{self.parent.cpp_path}::{self.name}"

    @property
    def ident(self) -> str:
        """A flat identifier for the tables that describe this structure."""
        return self.cpp_path.replace("::", "_")

    def owns_memory(self) -> bool:
        """Whether something below reaches a string or a counted array, so Unload has work."""
        for f in self.fields:
            if isinstance(f.element, String) or f.shape == "counted":
                return True
            if isinstance(f.element, Structure) and f.element.owns_memory():
                return True
        return False


@dataclass
class Module:
    top: Structure
    names: List[str]
    # A namespace holding several classes may give one of them its own version.
    version: Tuple[int, int, int]
    # Where the tree of a module flagged trigger_tree lies.
    tree: Optional["TriggerTree"] = None


@dataclass
class Namespace:
    name: str
    # None in a shared namespace, which only declares what other namespaces use.
    version: Optional[Tuple[int, int, int]]
    family: str
    flags: List[str]
    enums: List[Enum]
    structures: List[Structure]
    modules: List[Module]
    uses: List["Namespace"] = field(default_factory=list)

    @property
    def shared(self) -> bool:
        return not self.modules

    def all_structures(self) -> List[Structure]:
        """Every structure, nested ones before the structure that holds them."""
        ordered: List[Structure] = []

        def visit(structure: Structure) -> None:
            for inner in structure.nested:
                visit(inner)
            ordered.append(structure)

        for structure in self.structures:
            visit(structure)
        return ordered

    def all_enums(self) -> List[Enum]:
        enums = list(self.enums)
        for structure in self.all_structures():
            enums.extend(structure.enums)
        return enums
