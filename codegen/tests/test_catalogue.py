"""The catalogue file, and how it checks the schemas of its namespaces."""

import unittest

from zyra_schema.catalogue import check_against_catalogue, parse_catalogue
from zyra_schema.parser import SchemaError, parse_schema

CATALOGUE = """\
# comment line
TuningSetManager demo_1_2_1 1.0.1 lumatrope_demo12Type demo12_ife_v2 demo12_bps_v2

ImageSensorModuleSetManager Zyra 1.0.0 FirstData first first1
ImageSensorModuleSetManager Zyra 2.0.0 SecondData second
"""


def catalogue():
    return parse_catalogue("catalogue.txt", CATALOGUE)


class CatalogueFile(unittest.TestCase):
    def test_lines_become_classes_in_order(self):
        classes = catalogue().classes
        self.assertEqual([(c.manager, c.namespace, c.version, c.top, c.names, c.line)
                          for c in classes[:2]],
                         [("TuningSetManager", "demo_1_2_1", (1, 0, 1), "lumatrope_demo12Type",
                           ["demo12_ife_v2", "demo12_bps_v2"], 2),
                          ("ImageSensorModuleSetManager", "Zyra", (1, 0, 0), "FirstData",
                           ["first", "first1"], 4)])
        self.assertEqual(catalogue().managers(), ["TuningSetManager",
                                                  "ImageSensorModuleSetManager"])

    CASES = [
        ("an unknown manager", "OtherSetManager n 1.0.0 T a\n"),
        ("a version that is no triple", "TuningSetManager n 1.0 T a\n"),
        ("a line without names", "TuningSetManager n 1.0.0 T\n"),
        ("a class twice", "TuningSetManager demo_1_2_1 1.0.0 lumatrope_demo12Type x\n"),
        ("a name twice in one manager", "TuningSetManager other 1.0.0 T demo12_bps_v2\n"),
        ("a namespace in two managers", "fdSetManager Zyra 1.0.0 ThirdData third\n"),
    ]

    def test_each_mistake_names_its_line(self):
        for what, line in self.CASES:
            with self.subTest(what):
                with self.assertRaises(SchemaError) as caught:
                    parse_catalogue("catalogue.txt", CATALOGUE + line)
                self.assertIn("catalogue.txt:6:", str(caught.exception))


SOUND = """\
namespace demo_1_2_1
version 1.0.1
module lumatrope_demo12Type demo12_ife_v2 demo12_bps_v2
struct lumatrope_demo12Type
  gain Float
end
"""


def check(text: str) -> None:
    check_against_catalogue(parse_schema("demo_1_2_1.schema", text), "demo_1_2_1.schema",
                            catalogue())


class CatalogueSchema(unittest.TestCase):
    def test_a_schema_that_agrees_passes(self):
        check(SOUND)

    CASES = [
        ("another version", SOUND.replace("version 1.0.1", "version 1.2.1")),
        ("other names", SOUND.replace(" demo12_bps_v2", "")),
        ("another family", SOUND.replace("version 1.0.1", "version 1.0.1\nfamily sensor")),
        ("a class the catalogue lacks", SOUND.replace("demo12Type", "demo13Type")),
    ]

    def test_disagreements_are_refused(self):
        for what, text in self.CASES:
            with self.subTest(what):
                with self.assertRaises(SchemaError) as caught:
                    check(text)
                self.assertIn("demo_1_2_1.schema:", str(caught.exception))


if __name__ == "__main__":
    unittest.main()
