"""The schemas of schemas/: identity as the module catalogue lists it, and the counts the
module tables give."""

import os
import unittest

from zyra_schema.loader import SchemaLoader
from zyra_schema.model import Field, Structure

SCHEMAS = os.path.join(os.path.dirname(__file__), "..", "..", "schemas")

# Namespace: version, top structure and names, as registered.
CATALOGUE = {
    "gamma_1_6_1": ((1, 6, 1), "lumatrope_gamma16Type", [
        "gamma16_bps_v2", "gamma16_ife_v2", "gamma16_eva_ersld0warp_v2",
        "gamma16_eva_ersld1warp_v2", "gamma16_eva_ersld2warp_v2", "gamma16_ope_v2",
        "gamma16_tfe_fd_v2", "gamma16_ife_lite_v2", "gamma16_ife_lite_1_v2",
        "gamma16_ife_lite_2_v2"]),
    "abf_4_0_1": ((4, 0, 1), "lumatrope_abf40Type", ["abf40_bps_v2", "abf40_ife_v2"]),
    "versions00004_1_0_0": ((1, 0, 0), "lumatrope_versions00004Type", ["versions00004_sw"]),
    "aecxconvergence": ((10, 0, 0), "AECXConvergenceType", ["aecxconvergence"]),
    "aecxdbconvbase": ((10, 0, 0), "AECXDBConvBaseType", ["aecxdbconvbase"]),
    "aecxtouch": ((10, 0, 0), "AECXTouchType", ["aecxtouch"]),
    "afpdlibelements": ((9, 0, 0), "lumatropePDLibType", ["lumatropePDLib"]),
    "statsnnpdnet": ((1, 0, 0), "lumatropeStatsNNPDNetType", ["lumatropeStatsNNPDNet"]),
    "afpdafelements": ((9, 0, 0), "lumatropePDAFType", ["lumatropePDAF"]),
    "afalgotuningelements": ((9, 0, 0), "lumatropeAFAlgoTuningType", ["lumatropeAFAlgoTuning"]),
}


def leaves(structure: Structure) -> list:
    """The fields below `structure` that hold values, through structures held in line."""
    found = []
    for f in structure.fields:
        inline = isinstance(f.element, Structure) and f.shape == "single"
        found += leaves(f.element) if inline else [f]
    return found


def field(structure: Structure, name: str) -> Field:
    return next(f for f in structure.fields if f.name == name)


class Schemas(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        loader = SchemaLoader([SCHEMAS])
        cls.loaded = {name[:-7]: loader.load(os.path.join(SCHEMAS, name))
                      for name in sorted(os.listdir(SCHEMAS)) if name.endswith(".schema")}

    def test_modules_match_the_catalogue(self):
        for name, (version, top, names) in CATALOGUE.items():
            with self.subTest(name):
                ns = self.loaded[name]
                self.assertEqual([(m.version, m.top.name) for m in ns.modules], [(version, top)])
                self.assertEqual(ns.modules[0].names, names)
                # The last digit 1 goes with the tree form, and only that.
                self.assertEqual(ns.modules[0].tree is not None, name.endswith("_1"))

    def test_counts_of_the_module_tables(self):
        aecx = self.loaded["aecxconvergence"]
        self.assertEqual(len(aecx.all_structures()), 6)
        self.assertEqual(sum(len(s.fields) for s in aecx.all_structures()), 29)

        def region(name: str) -> Structure:
            return next(s for s in self.loaded[name].structures if s.name.endswith("_rgn_dataType"))

        abf = leaves(region("abf_4_0_1"))
        self.assertEqual(len(abf), 28)
        longest = sorted(((f.count, f.name) for f in abf), reverse=True)[:4]
        self.assertEqual(longest, [(65, "noise_std_lut"), (42, "dark_fac_lut"),
                                   (32, "act_fac_lut"), (18, "dist_ker")])
        gamma = leaves(region("gamma_1_6_1"))
        self.assertEqual([(f.name, f.count) for f in gamma],
                         [("channel_r", 65), ("channel_g", 65), ("channel_b", 65)])
        # A region is 780 bytes in the file: three blocks of 65 four-byte values.
        self.assertEqual(sum(f.count * f.element.width for f in gamma), 780)

        versions = self.loaded["versions00004_1_0_0"].modules[0].top
        enable = field(versions, "enable_section").element
        self.assertEqual((enable.fields, enable.reserved_id), ([], True))
        self.assertEqual([f.name for f in leaves(versions)][-1:], ["xsd_version"])

    def test_reserved_id_only_on_the_common_sections(self):
        sections = {"module_versionStruct", "parameter_versionStruct", "enable_sectionStruct",
                    "control_variablesStruct", "private_informationStruct",
                    "control_methodStruct"}
        tuning = [ns for ns in self.loaded.values() if ns.name in CATALOGUE or ns.shared]
        for ns in tuning:
            for s in ns.all_structures():
                expected = s.name in sections or (
                    s.parent is not None and s.parent.name == "dynamic_enable_triggersStruct")
                self.assertEqual(s.reserved_id, expected, f"{ns.name}::{s.cpp_path}")


if __name__ == "__main__":
    unittest.main()
