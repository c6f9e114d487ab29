"""C++ spellings of model items that the header and the tables share."""

from .model import Field, Scalar, String, Structure


def element_type(field: Field) -> str:
    element = field.element
    if isinstance(element, Scalar):
        return element.cpp_type
    if isinstance(element, String):
        return "char*"
    return element.cpp_path


def dims_suffix(field: Field) -> str:
    return "".join(f"[{dim}]" for dim in field.dims)


def scalar_type(scalar: Scalar) -> str:
    return f"ScalarType::{scalar.word}"


def class_name(structure: Structure) -> str:
    return f"{structure.name}Class"
