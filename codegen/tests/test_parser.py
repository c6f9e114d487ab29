"""The schema parser: the mistakes it refuses, each at its line."""

import unittest

from zyra_schema.parser import SchemaError, parse_schema

HEAD = """\
namespace demo_1_2_3
version 1.2.3
module topType demo demo_v2
flags reflection clone
enum modes 0-18 76 75 100 1000-1019
"""

# A trigger tree that holds; the cases break one of its parts, which the module line answers for.
TREE = """\
namespace demo_1_2_3
version 1.2.3
module topType demo
flags trigger_tree
struct triggerType
  controlVarIndex UInt32 memory
  controlVarType  UInt32 memory
  start Float
  end   Float
  trigger triggerType counted
end
struct coreType
  roots triggerType counted
end
struct topType
  enum varEnum 0-9
  control_variables struct
    control_var_type varEnum counted
  end
  core coreType
end
"""


def tree(old: str, new: str) -> str:
    assert old in TREE
    return TREE.replace(old, new)


class Refusals(unittest.TestCase):
    CASES = [
        ("type used before it is declared", HEAD + "struct topType\n  a later\nend\n", 7),
        ("held as Float on a narrow type", HEAD + "struct topType\n  a UInt16 as Float\nend\n", 7),
        ("dimensions on a counted array", HEAD + "struct topType\n  a UInt8 [2] counted\nend\n", 7),
        ("a tab field not named _tab", HEAD + "struct topType\n  a Float [4] tab\nend\n", 7),
        ("overlapping enum values", HEAD + "enum e 1-5 4\nstruct topType\n  a e\nend\n", 6),
        ("an array of strings", HEAD + "struct topType\n  a String [2]\nend\n", 7),
        ("an optional string", HEAD + "struct topType\n  a String optional\nend\n", 7),
        ("texts with reflection", HEAD + "struct topType\n  a String counted\nend\n", 7),
        ("a report name on a single field", HEAD + "struct topType\n  a UInt8 reports b\nend\n", 7),
        ("a module of an unknown structure", HEAD + "struct otherType\n  a UInt8\nend\n", 3),
        ("a module version that is no version",
         HEAD + "module otherType o version 1.x\nstruct topType\n  a UInt8\nend\n"
         "struct otherType\n  a UInt8\nend\n", 6),
        ("a memory word that is an array",
         HEAD + "struct topType\n  a UInt32 [2] memory\nend\n", 7),
        ("reflection outside the tuning family",
         HEAD + "family sensor\nstruct topType\n  a UInt8\nend\n", 4),
        ("a tree head word held in the file",
         tree("controlVarType  UInt32 memory", "controlVarType  UInt32"), 3),
        ("tree children of another type",
         tree("trigger triggerType counted", "trigger Float counted"), 3),
        ("tree variables not counted",
         tree("control_var_type varEnum counted", "control_var_type varEnum"), 3),
        ("a tree without core", tree("  core coreType\n", ""), 3),
    ]

    def test_each_mistake_names_its_line(self):
        parse_schema("demo_1_2_3.schema", TREE)
        for what, text, line in self.CASES:
            with self.subTest(what):
                with self.assertRaises(SchemaError) as caught:
                    parse_schema("demo_1_2_3.schema", text)
                self.assertIn(f"demo_1_2_3.schema:{line}:", str(caught.exception))


if __name__ == "__main__":
    unittest.main()
