// The values of one enginetest module as a test states them, written with the writer in
// declared order. Overrides put damaged words where a writer would put sound ones.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "enginetest_1_0_0.h"

namespace engine_test {

struct RegionValues {
    uint32_t shape = 0;
    std::string label;
    std::vector<uint16_t> weights;
    // Replaces the label's pointer entry ID.
    std::optional<uint32_t> labelPointer;
};

struct ModuleValues {
    uint8_t u8 = 0xA1;
    uint16_t u16 = 0xB2C3;
    uint32_t u32 = 0xD4E5F607;
    int32_t i32 = -123456;
    uint64_t u64 = 0x0123456789ABCDEFull;
    int64_t i64 = -9876543210ll;
    float f32 = 1.5f;
    double f64 = -2.0625;
    uint32_t flag = 7;
    float gain = 12.75f;
    uint32_t trigger = 1005;
    std::string name = "module name";
    uint16_t major = 3;
    uint16_t minor = 4;
    float origin[2] = {0.5f, -1.25f};
    std::vector<uint16_t> lut{11, 12, 21, 22, 31, 32};
    uint32_t colors[3] = {0, 3, 2};
    float corners[4] = {1.f, 2.f, 3.f, 4.f};
    std::vector<float> curve{0.25f, 0.5f, 0.75f, 1.f};
    std::vector<uint32_t> samples{10, 20, 30};
    std::vector<uint32_t> triggers{0, 76, 1019};
    std::vector<RegionValues> regions{{7, "first", {1, 2, 3}, {}}, {1, "second", {}, {}}};
    uint32_t extraExists = 1;
    RegionValues extra{2, "extra", {9}, {}};
    uint32_t levelExists = 5;
    int64_t level = -77;
    uint8_t tail = 0xEE;

    // Damaged words: a count or exists word, or a pointer entry ID, as written.
    std::optional<uint32_t> samplesCount;
    std::optional<uint32_t> samplesPointer;
    std::optional<uint32_t> regionsCount;
    std::optional<uint32_t> extraPointer;
};

inline void WriteRegion(binwriter::TuningBinaryBuilder& builder, binwriter::ValueWriter& out,
                        const RegionValues& region) {
    out.U32(region.shape);
    if (region.labelPointer) {
        out.U32(static_cast<uint32_t>(region.label.size() + 1)).Pointer(*region.labelPointer);
    } else {
        out.String(region.label);
    }
    uint32_t weights = builder.AddPointerTarget(
        binwriter::ValueWriter(builder).Packed(region.weights).Bytes());
    out.U32(static_cast<uint32_t>(region.weights.size())).Pointer(weights);
}

// The module's values; the entries they point to are added to `builder` on the way.
inline std::vector<uint8_t> WriteModule(binwriter::TuningBinaryBuilder& builder,
                                        const ModuleValues& v) {
    using binwriter::ValueWriter;
    ValueWriter out(builder);
    out.U8(v.u8).U16(v.u16).U32(v.u32).I32(v.i32).U64(v.u64).I64(v.i64).Float(v.f32);
    out.Double(v.f64).U32(v.flag).Float(v.gain).U32(v.trigger).String(v.name);
    out.U16(v.major).U16(v.minor).Float(v.origin[0]).Float(v.origin[1]).Packed(v.lut);
    out.U32(v.colors[0]).U32(v.colors[1]).U32(v.colors[2]);
    out.Float(v.corners[0]).Float(v.corners[1]).Float(v.corners[2]).Float(v.corners[3]);
    out.Packed(v.curve);

    uint32_t samples = builder.AddPointerTarget(ValueWriter(builder).Packed(v.samples).Bytes());
    out.U32(v.samplesCount.value_or(static_cast<uint32_t>(v.samples.size())));
    out.Pointer(v.samplesPointer.value_or(samples));

    ValueWriter triggers(builder);
    for (uint32_t trigger : v.triggers) {
        triggers.U32(trigger);
    }
    out.U32(static_cast<uint32_t>(v.triggers.size())).Pointer(
        builder.AddPointerTarget(triggers.Bytes()));

    ValueWriter regions(builder);
    for (const RegionValues& region : v.regions) {
        WriteRegion(builder, regions, region);
    }
    uint32_t regionsId = builder.AddPointerTarget(regions.Bytes());
    out.U32(v.regionsCount.value_or(static_cast<uint32_t>(v.regions.size()))).Pointer(regionsId);

    ValueWriter extra(builder);
    WriteRegion(builder, extra, v.extra);
    uint32_t extraId = builder.AddPointerTarget(extra.Bytes());
    out.U32(v.extraExists).Pointer(v.extraPointer.value_or(extraId));

    uint32_t level = builder.AddPointerTarget(ValueWriter(builder).I64(v.level).Bytes());
    out.U32(v.levelExists).Pointer(level).U8(v.tail);
    return out.Bytes();
}

}  // namespace engine_test
