"""Where a module in trigger tree form keeps its tree, found and checked in its top structure."""

from dataclasses import dataclass
from typing import Optional

from .model import Enum, Field, Scalar, Structure

# The node of every tree: two head words that no file holds, its range, then its children.
NODE_HEAD = ("controlVarIndex", "controlVarType", "start", "end")


@dataclass
class TriggerTree:
    variables: Field       # control_variables of the top structure
    variable_array: Field  # its counted control_var_type
    core: Field            # the top structure's field that holds the roots
    roots: Field           # the counted array of nodes in the core
    children: Field        # the node's counted `trigger`

    @property
    def node(self) -> Structure:
        return self.roots.element


def _field(structure: Structure, name: str) -> Optional[Field]:
    return next((f for f in structure.fields if f.name == name), None)


def _check_node(node: Structure) -> Field:
    names = [f.name for f in node.fields]
    if tuple(names[:4]) != NODE_HEAD:
        raise ValueError(f"'{node.name}' must begin with {', '.join(NODE_HEAD)}")
    for head in node.fields[:2]:
        if head.shape != "memory" or head.element != Scalar("UInt32"):
            raise ValueError(f"'{node.name}::{head.name}' must be 'UInt32 memory'")
    children = _field(node, "trigger")
    if children is None or children.shape != "counted" or children.element is not node:
        raise ValueError(f"'{node.name}' needs 'trigger {node.name} counted'")
    return children


def find_trigger_tree(top: Structure) -> TriggerTree:
    """The tree of `top`; ValueError says what is missing."""
    variables = _field(top, "control_variables")
    array = None
    if (variables is not None and isinstance(variables.element, Structure)
            and variables.shape == "single" and not variables.dims):
        array = _field(variables.element, "control_var_type")
    if array is None or array.shape != "counted" or not isinstance(array.element, Enum):
        raise ValueError(f"'{top.name}' needs control_variables with a counted enum "
                         "control_var_type")
    for core in top.fields:
        if not isinstance(core.element, Structure) or core.shape != "single" or core.dims:
            continue
        for roots in core.element.fields:
            if (roots.shape == "counted" and isinstance(roots.element, Structure)
                    and roots.element.name == "triggerType"):
                return TriggerTree(variables, array, core, roots, _check_node(roots.element))
    raise ValueError(f"'{top.name}' has no core holding a counted array of triggerType")
