#include "parser/setmanager/mode_names.h"

#include <cstddef>

namespace {

struct NameList {
    const char* const* pNames;
    size_t count;
};

template <size_t N>
constexpr NameList ListOf(const char* const (&names)[N]) {
    return {names, N};
}

constexpr const char* kModes[] = {"Default",  "Sensor", "Usecase", "Feature1",
                                  "Feature2", "Scene",  "Effect"};

constexpr const char* kUsecases[] = {"Preview",  "Snapshot",         "Video",
                                     "ZSL",      "Liveshot",         "SnapshotReprocess",
                                     "IDEALRAW", "IdealRawReprocess"};

constexpr const char* kFeatures1[] = {
    "None",        "ISPHDR",          "ADRC",     "inSensorHDR3Exp", "MFHDRPreFusion",
    "MFHDRFusion", "MFHDRPostFusion", "FDProcess"};

constexpr const char* kFeatures2[] = {"None",
                                      "OISCapture",
                                      "HLG",
                                      "HDR10",
                                      "MFNRBlend",
                                      "MFNRPostFilter",
                                      "AIDenoiserMFNRBlend",
                                      "AIDenoiserMFNRPostFilter",
                                      "QLLMFNRBlend",
                                      "QLLMFNRPostFilter",
                                      "QLLPostFusion",
                                      "MMFBlend",
                                      "MMFEqualization",
                                      "MMFPostFilter",
                                      "VBSE",
                                      "QLLMMFBlend",
                                      "QLLMMFEqualization",
                                      "QLLMMFPostFilter",
                                      "QLLShortExp",
                                      "HDR10P",
                                      "HDR10PStats",
                                      "BokehSB",
                                      "BokehESB",
                                      "ViULLMCTF1",
                                      "ViULLMCTF2"};

constexpr const char* kScenes[] = {
    "None",         "Landscape", "Snow",          "Beach",     "Sunset",  "Night",
    "Portrait",     "BackLight", "Sports",        "AntiShake", "Flowers", "CandleLight",
    "Fireworks",    "Party",     "NightPortrait", "Theater",   "Action",  "AR",
    "FacePriority", "Barcode",   "BestShot",      "AICam"};

constexpr const char* kEffects[] = {"None",     "Mono",      "Sepia",      "Negative",
                                    "Solarize", "Posterize", "Aqua",       "Emboss",
                                    "Sketch",   "Neon",      "Blackboard", "Whiteboard"};

// Indexed by Mode; Default and Sensor have no submode names.
constexpr NameList kSubModes[] = {{nullptr, 0},       {nullptr, 0},       ListOf(kUsecases),
                                  ListOf(kFeatures1), ListOf(kFeatures2), ListOf(kScenes),
                                  ListOf(kEffects)};

static_assert(sizeof(kSubModes) / sizeof(kSubModes[0]) == sizeof(kModes) / sizeof(kModes[0]),
              "one submode list per Mode");

const char* NameAt(const NameList& list, unsigned int index) {
    return index < list.count ? list.pNames[index] : nullptr;
}

}  // namespace

namespace ModeNames {

const char* ModeName(unsigned int mode) { return NameAt(ListOf(kModes), mode); }

const char* SubModeName(unsigned int mode, unsigned int subMode) {
    const char* pMode = ModeName(mode);
    return pMode != nullptr ? NameAt(kSubModes[mode], subMode) : nullptr;
}

}  // namespace ModeNames
