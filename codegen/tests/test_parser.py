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
        ("unknown type", "struct topType\n  a Int16\nend\n", 7),
        ("type used before it is declared", "struct topType\n  a later\nend\n", 7),
        ("held as Float on a narrow type", "struct topType\n  a UInt16 as Float\nend\n", 7),
        ("dimensions on a counted array", "struct topType\n  a UInt8 [2] counted\nend\n", 7),
        ("a tab field not named _tab", "struct topType\n  a Float [4] tab\nend\n", 7),
        ("a field twice", "struct topType\n  a UInt8\n  a UInt8\nend\n", 8),
        ("overlapping enum values", "enum e 1-5 4\nstruct topType\n  a e\nend\n", 6),
        ("a structure without end", "struct topType\n  a UInt8\n", 7),
        ("an array of strings", "struct topType\n  a String [2]\nend\n", 7),
        ("an optional string", "struct topType\n  a String optional\nend\n", 7),
        ("texts with reflection", "struct topType\n  a String counted\nend\n", 7),
        ("a report name on a single field", "struct topType\n  a UInt8 reports b\nend\n", 7),
        ("a module of an unknown structure", "struct otherType\n  a UInt8\nend\n", 3),
        ("a module version that is no version",
         "module otherType o version 1.x\nstruct topType\n  a UInt8\nend\n"
         "struct otherType\n  a UInt8\nend\n", 6),
        ("a structure holding itself in line", "struct topType\n  a topType\nend\n", 7),
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


SHARED = """\
namespace common
enum levels 0-16
struct rangeType
  start Float
  end   Float
end
"""


class SharedNamespaces(unittest.TestCase):
    def setUp(self):
        self.common = parse_schema("common.schema", SHARED)
        # Registers a module, so it cannot be used.
        self.module = parse_schema("demo_1_2_3.schema", HEAD + "struct topType\n  a UInt8\nend\n")

    def find(self, name):
        return {"common": self.common, "demo_1_2_3": self.module}.get(name)

    def test_mistakes_of_use(self):
        cases = [
            ("a namespace nobody declares", HEAD + "use nowhere\n", 6),
            ("a namespace that registers modules", HEAD + "use demo_1_2_3\n", 6),
            ("a qualified name without use", HEAD + "struct topType\n  a common::levels\nend\n", 7),
            ("a name the namespace lacks", HEAD + "use common\nstruct topType\n"
             "  a common::pointType\nend\n", 8),
            ("an empty structure without reservedID", HEAD + "struct topType\n  a struct\n"
             "  end\nend\n", 8),
            ("flags in a shared namespace", SHARED + "flags clone\n", 7),
        ]
        for what, text, line in cases:
            with self.subTest(what):
                with self.assertRaises(SchemaError) as caught:
                    parse_schema("demo_1_2_3.schema", text, self.find)
                self.assertIn(f"demo_1_2_3.schema:{line}:", str(caught.exception))


if __name__ == "__main__":
    unittest.main()
