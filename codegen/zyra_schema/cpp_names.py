"""C++ spellings of model items that the header and the tables share."""

from typing import Union

from .model import Enum, Field, Scalar, String, Structure


def type_name(item: Union[Enum, Structure], namespace: str) -> str:
    """The item's type as code of `namespace` names it: qualified when a used namespace has it."""
    return item.cpp_path if item.home == namespace else f"{item.home}::{item.cpp_path}"


def table_name(prefix: str, item: Union[Enum, Structure], namespace: str) -> str:
    """The descriptor table of the item, `kStruct_...` or `kEnum_...`, as `namespace` names it."""
    local = f"{prefix}_{item.cpp_path.replace('::', '_')}"
    return local if item.home == namespace else f"::{item.home}::{local}"


def element_type(field: Field, namespace: str) -> str:
    element = field.element
    if isinstance(element, Scalar):
        return element.cpp_type
    if isinstance(element, String):
        return "char*"
    return type_name(element, namespace)


def dims_suffix(field: Field) -> str:
    return "".join(f"[{dim}]" for dim in field.dims)


def scalar_type(scalar: Scalar) -> str:
    return f"ScalarType::{scalar.word}"


def class_name(structure: Structure) -> str:
    return f"{structure.name}Class"
