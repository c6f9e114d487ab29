"""The coverage report: typed and opaque classes counted against a catalogue."""

import os
import tempfile
import textwrap
import unittest

from schema_coverage import read_catalogue, read_schemas, report

SCHEMA = """\
namespace demo
version 1.0.0
family sensor
module topType top top2
module otherType other version 2.0.0
struct leafType
  a UInt8
  b UInt16 counted
end
struct topType
  leaf leafType
  more leafType optional
  c String
end
struct otherType
  d UInt32
end
"""

CATALOGUE = """\
# manager namespace version top names
ImageSensorModuleSetManager demo 1.0.0 topType top top2
TuningSetManager abf_3_4_0 3.4.0 lumatrope_abf34Type abf34_ife
TuningSetManager abf_3_4_1 3.4.1 lumatrope_abf34Type abf34_ife_v2

bitmlSetManager zyrabitmlconfig 4.0.0 BITMLConfigType BITMLConfig
"""


class Coverage(unittest.TestCase):
    def test_counts_typed_and_opaque_classes(self):
        with tempfile.TemporaryDirectory() as directory:
            with open(os.path.join(directory, "demo.schema"), "w", encoding="utf-8") as out:
                out.write(SCHEMA)
            catalogue_path = os.path.join(directory, "catalogue.txt")
            with open(catalogue_path, "w", encoding="utf-8") as out:
                out.write(CATALOGUE)
            namespaces = read_schemas(directory)
            with_catalogue = report(namespaces, read_catalogue(catalogue_path))
            self.assertEqual(with_catalogue, textwrap.dedent("""\
                typed classes: 1 of 476
                typed names: 2 of 768
                opaque classes: 3
                  bitml: 1
                  tuning: 2
                schema classes missing from the catalogue: demo::otherType
                demo::topTypeClass 1.0.0 (top, top2): 2 structures, 5 fields
                """))
            self.assertEqual(report(namespaces, None).splitlines()[:3], [
                "typed classes: 2 of 476", "typed names: 3 of 768",
                "opaque classes: no catalogue.txt yet"])


if __name__ == "__main__":
    unittest.main()
