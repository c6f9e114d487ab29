"""The sensor driver records: every record keeps the number of members and the array names
that the drivers' binaries hold, every enum its values, and the classes their names and
versions."""

import os
import unittest

from zyra_schema.model import String
from zyra_schema.parser import parse_schema

SCHEMA = os.path.join(os.path.dirname(__file__), "..", "..", "schemas", "Zyra.schema")

# Record: (members, names of its counted arrays, which their allocation failures report).
RECORDS = {
    "AbsoluteMethodAECSyncInfo": (5, []), "ActuatorDampingInfo": (1, []),
    "ActuatorDampingParams": (3, []), "ActuatorDriverData": (8, []),
    "ActuatorRegConfig": (1, ["registerParam"]), "ActuatorRegionParams": (4, []),
    "ActuatorRegionParamsArray": (1, ["region"]), "ActuatorRegParam": (9, []),
    "ActuatorSlaveInfo": (9, []), "ActuatorTunedParams": (5, []),
    "AEBControlInformation": (3, ["AEBRegExposureInfo"]), "AFCalibrationInfo": (2, []),
    "AFInfo": (17, ["calibrationInfo"]), "AONCameraInfo": (1, []), "BorderInformation": (5, []),
    "CameraModuleData": (2, []), "CFAInformation": (4, ["pixelCoordinate"]),
    "CFAPixelCoordinate": (4, []), "ColorLevelInformation": (5, []), "CSIInformation": (5, []),
    "CustomInformation": (2, []), "Date": (3, []), "DelayInfo": (8, []),
    "DepthConversionLibInfo": (3, ["depthOutputFormat"]),
    "DepthInformation": (5, ["frequencyModulation"]), "Dimension": (2, []),
    "DualCameraInfo": (6, []), "DualCameraLensInfo": (7, ["AFSyncInfo"]),
    "DualCameraSystemInfo": (15, []), "EEbinDriver": (7, []), "EEBinSlaveInformation": (4, []),
    "EEPROMDataFormatInformation": (12, ["StereoCalibration", "PDAF2D"]),
    "EEPROMDriverData": (5, []), "EEPROMSlaveInformation": (7, []), "EnumDefinition": (1, []),
    "ExposureControlInformation": (19, []), "FlashDriverData": (9, []),
    "FlashI2CInformation": (8, []), "FlashInformation": (1, ["triggerInfo"]),
    "FlashRegAddrInformation": (4, []), "FormatInfo": (3, []), "FrameDimension": (4, []),
    "FrameOffsetInformation": (2, []), "GmslAliasInfo": (2, []),
    "GmslInformation": (30, ["gmslAliasInfo1", "gmslAliasInfo2", "gmslAliasInfo3",
        "gmslSettings1", "gmslSettings2"]),
    "GmslSettings": (2, []), "HDR3ExposureInformation": (8, []), "InitSettings": (3, []),
    "IntegrationInfo": (3, []), "LensDistortionInfo": (13, []), "LensInformation": (9, []),
    "LSCInfo": (8, ["lightInfo"]), "LSClightInfo": (9, []), "MemoryFormatInfo": (2, []),
    "MemoryInfo": (3, []), "MemoryType": (2, []),
    "ModeSwitchRegisterInformation": (11, ["PDAFVCAddress", "PDAFVerticalVCAddress",
        "PDAFShortVCAddress"]),
    "ModuleConfiguration": (32, []), "ModuleGroup": (1, ["moduleConfiguration"]),
    "ModuleInfo": (9, []), "ModuleInformation": (4, []), "NoiseCoefficent": (4, []),
    "NoiseCoefficientBayer": (4, []), "OISDriverData": (19, []), "OISFWData": (8, []),
    "OISFWInfomation": (3, ["oisfwData"]), "OISInfo": (7, ["OISAddressArray"]),
    "OISLensPositionFormatInfo": (8, []), "OISLensPositionReadInfo": (6, []),
    "OISopcode": (4, []), "OISSlaveInfo": (7, []), "OpticalBlackRegionInfo": (1, []),
    "ParkLensParameters": (3, []), "PDAF2DInfo": (20, ["PDAFOffsetMaps"]),
    "PDAFBlockPattern": (5, ["PDPixelCoordinates"]), "PDAFBlockPatternInformation": (3, []),
    "PDAFConfigurationData": (3, ["PDModeInfo"]), "PDAFDCCInfo": (10, []),
    "PDAFInformation": (4, []), "PDAFModeInformation": (12, []), "PDAFPixelCoordinates": (4, []),
    "PDAFSensorNativePatternInformation": (7, []), "PDOffsetMapInfo": (7, []),
    "PixelArrayInfo": (3, []), "Position": (2, []), "PowerSequenceInfo": (1, ["powerSetting"]),
    "PowerSetting": (3, []), "QCFAHDRInformation": (2, []), "QSCInfo": (5, ["QSCSettings"]),
    "QSCSettingsInfo": (3, []), "RegAddrInformation": (25, []),
    "RegionDampingParamsArray": (1, ["region"]), "RegisterSetting": (8, ["registerData"]),
    "RegisterSettingGroup": (3, []),
    "ResolutionData": (43, ["transitionGroups", "cropInfo", "exposureInfo", "capability",
        "mipiFlags"]),
    "ResolutionExposureInformation": (12, []), "ResolutionInformation": (2, ["resolutionData"]),
    "ScenarioDampingParamsArray": (1, []), "SensorBinSocIdMap": (2, ["socIdInfo"]),
    "SensorDriverData": (25, ["resolutionInfo", "initSettings", "delayInfo",
        "registerSettingsGroupInfo"]),
    "SensorProperty": (3, []), "SettingsInfo": (1, ["regSetting"]), "SlaveInformation": (18, []),
    "SocIdInfo": (2, ["binName"]), "SoftwareSyncConfiguration": (1, []),
    "SPCInfo": (5, ["SPCSettings"]), "SPCSettingsInfo": (3, []), "StereoCalibrationInfo": (6, []),
    "StereoCalibrationLensInfo": (19, []), "StereoCalibrationSystemInfo": (23, []),
    "StreamConfiguration": (8, ["vc"]), "StreamInformation": (1, ["streamConfiguration"]),
    "TemperatureReadSettings": (2, []), "TestPatternData": (2, []),
    "TestPatternInformation": (2, ["testPatternData"]), "TriggerInformation": (3, []),
    "VersionFormatInfo": (3, []), "WBInfo": (7, ["lightInfo"]), "WBlightInfo": (8, []),
    "ZZHDRInformation": (2, []),
}

# Every enum accepts 0 up to its last value; the last two have no set and take any value.
ENUM_LAST_VALUES = {
    1: ["ActuatorFeedbackType", "ActuatorType", "CSIPHYChannelType", "DelayInfoType",
        "DepthOutputFormat", "EndianType", "FlashDriverType", "InputCropType",
        "LSCOrientationInfo", "PhaseType", "SensorFeatureType", "SignType", "WBType",
        "ZZHDRFirstExposurePattern"],
    2: ["ExposureType", "HDRExposureTypeInfo", "MipiFlagsType", "ParkLensExecution",
        "PDAFPixelOrderType", "QCFAHDRTypeInfo", "RemosaicType", "SensorBroadcastMode"],
    3: ["HDR3ExposureTypeInfo", "I2CFrequencyMode", "ModuleType", "PDAFOrientation",
        "SensorPDStatsFormat", "SettingsFlag", "StereoCameraType", "TimeStampUnitInfo"],
    4: ["NoiseCoefficientChannel", "PDAFBufferDataFormat", "TPGColorBarMode"],
    5: ["ActuatorOperation", "AfLensSagType", "CameraPosition", "CFAPixelType",
        "EEPROMIlluminantType", "PDAFType", "TestPatternMode"],
    6: ["ColorFilterArrangement", "SensingMethod", "ZZHDRColorPattern"],
    7: ["QCFAHDRPatternInfo", "SettingsType", "TPGPatternType"],
    8: ["OperationType"],
    11: ["PDAFPixelShieldInformation", "PowerConfigurationType"],
    12: ["StreamType"],
    19: ["TransitionGroupsEnum"],
    20: ["SensorCapability"],
    4294967295: ["PDAFCalibrationType", "PDAFOffsetMapDirection"],
}


def load():
    with open(SCHEMA, encoding="utf-8") as source:
        return parse_schema(SCHEMA, source.read())


class SensorRecords(unittest.TestCase):
    def test_every_record_has_its_members_and_array_names(self):
        namespace = load()
        found = {s.name: s for s in namespace.all_structures() if s.parent is None}
        self.assertEqual(sorted(found), sorted(RECORDS))
        for name, (members, arrays) in RECORDS.items():
            with self.subTest(name):
                fields = found[name].fields
                self.assertEqual(len(fields), members)
                counted = [f.report or f.name for f in fields if f.shape == "counted"]
                self.assertEqual(counted, arrays)
        # The one array of texts.
        bin_name = next(f for f in found["SocIdInfo"].fields if f.name == "binName")
        self.assertIsInstance(bin_name.element, String)

    def test_every_enum_accepts_its_values(self):
        found = {e.name: e.ranges for e in load().enums}
        expected = {name: [(0, last)] for last, names in ENUM_LAST_VALUES.items()
                    for name in names}
        self.assertEqual(found, expected)

    def test_classes_names_and_versions(self):
        namespace = load()
        self.assertEqual((namespace.name, namespace.family, namespace.flags),
                         ("Zyra", "sensor", []))
        classes = {m.top.name: (m.version, m.names) for m in namespace.modules}
        self.assertEqual(classes, {
            "ActuatorDriverData": ((1, 0, 0), ["actuatorDriver", "actuatorDriver1"]),
            "EEbinDriver": ((1, 0, 0), ["EEbinDriver"]),
            "EEPROMDriverData": ((1, 0, 0), ["EEPROMDriverData"]),
            "FlashDriverData": ((1, 0, 0), ["flashDriverData", "flashDriverDataSecondary"]),
            "CameraModuleData": ((1, 0, 0), ["cameraModuleData"]),
            "OISDriverData": ((1, 1, 0), ["OISDriver"]),
            "PDAFConfigurationData": ((2, 0, 0), ["PDConfigData"]),
            "SensorDriverData": ((1, 0, 0), ["sensorDriverData"]),
            "SensorBinSocIdMap": ((1, 0, 0), ["sensorBinSocIdMap"]),
        })


if __name__ == "__main__":
    unittest.main()
