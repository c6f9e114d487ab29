"""The schema parser: the mistakes it refuses, each at its line."""

import textwrap
import unittest

from zyra_schema.parser import SchemaError, parse_schema

HEAD = """\
namespace demo_1_2_3
version 1.2.3
module topType demo demo_v2
flags reflection clone
enum modes 0-18 76 75 100 1000-1019
"""


def parse(text: str):
    return parse_schema("demo_1_2_3.schema", textwrap.dedent(text))


class Refusals(unittest.TestCase):
    CASES = [
        ("type used before it is declared", "struct topType\n  a later\nend\n", 7),
        ("held as Float on a narrow type", "struct topType\n  a UInt16 as Float\nend\n", 7),
        ("dimensions on a counted array", "struct topType\n  a UInt8 [2] counted\nend\n", 7),
        ("a tab field not named _tab", "struct topType\n  a Float [4] tab\nend\n", 7),
        ("overlapping enum values", "enum e 1-5 4\nstruct topType\n  a e\nend\n", 6),
        ("an array of strings", "struct topType\n  a String [2]\nend\n", 7),
        ("an optional string", "struct topType\n  a String optional\nend\n", 7),
        ("texts with reflection", "struct topType\n  a String counted\nend\n", 7),
        ("a report name on a single field", "struct topType\n  a UInt8 reports b\nend\n", 7),
        ("a module of an unknown structure", "struct otherType\n  a UInt8\nend\n", 3),
        ("a module version that is no version",
         "module otherType o version 1.x\nstruct topType\n  a UInt8\nend\n"
         "struct otherType\n  a UInt8\nend\n", 6),
        ("a memory word that is an array", "struct topType\n  a UInt32 [2] memory\nend\n", 7),
        ("reflection outside the tuning family", "family sensor\nstruct topType\n  a UInt8\nend\n",
         4),
    ]

    def test_each_mistake_names_its_line(self):
        for what, body, line in self.CASES:
            with self.subTest(what):
                with self.assertRaises(SchemaError) as caught:
                    parse(HEAD + body)
                self.assertIn(f"demo_1_2_3.schema:{line}:", str(caught.exception))


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


class TriggerTrees(unittest.TestCase):
    def test_a_tree_whose_parts_do_not_hold_is_refused(self):
        parse(TREE)
        broken = [
            ("a head word held in the file", "controlVarType  UInt32 memory",
             "controlVarType  UInt32"),
            ("children of another type", "trigger triggerType counted", "trigger Float counted"),
            ("variables not counted", "control_var_type varEnum counted",
             "control_var_type varEnum"),
            ("no core", "  core coreType\n", ""),
        ]
        for what, old, new in broken:
            with self.subTest(what):
                with self.assertRaises(SchemaError) as caught:
                    parse(TREE.replace(old, new))
                self.assertIn("demo_1_2_3.schema:3:", str(caught.exception))


if __name__ == "__main__":
    unittest.main()
