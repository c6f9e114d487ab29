// Structures whose bytes in a packed file are their memory load as blocks; ones with a gap or
// end padding in memory only look so. Seeded values of each, inline and counted, packed and in
// 8-byte slots, must come back member for member.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "engineflat_1_0_0.h"
#include "loaded_binary.h"

namespace engine_test {
namespace {

using namespace engineflat_1_0_0;
using binwriter::ValueWriter;
using Words = std::vector<uint64_t>;

uint32_t Bits(float value) {
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

// Writes each structure in declared order, as a file holds it, and lists its members.
void Write(ValueWriter& out, const pointType& p) { out.Float(p.x).I32(p.y); }
void Write(ValueWriter& out, const gapType& g) { out.U8(g.b).U32(g.w); }
void Write(ValueWriter& out, const tailType& t) { out.U32(t.w).U8(t.b); }
void Write(ValueWriter& out, const nestType& n) {
    Write(out, n.points[0]);
    Write(out, n.points[1]);
    out.Packed(std::vector<uint16_t>(n.lut, n.lut + 3)).U16(n.tag);
}

void List(Words& w, const pointType& p) { w.insert(w.end(), {Bits(p.x), uint32_t(p.y)}); }
void List(Words& w, const gapType& g) { w.insert(w.end(), {g.b, g.w}); }
void List(Words& w, const tailType& t) { w.insert(w.end(), {t.w, t.b}); }
void List(Words& w, const nestType& n) {
    List(w, n.points[0]);
    List(w, n.points[1]);
    w.insert(w.end(), {n.lut[0], n.lut[1], n.lut[2], n.tag});
}

template <typename T>
Words ListOf(const T* pItems, uint32_t count) {
    Words w{count};
    for (uint32_t i = 0; i < count; ++i) {
        List(w, pItems[i]);
    }
    return w;
}

class Draw {
public:
    explicit Draw(uint32_t seed) : m_random(seed) {}
    uint32_t operator()() { return static_cast<uint32_t>(m_random()); }
    uint32_t Count() { return (*this)() % 5; }
    pointType Point() { return {static_cast<float>((*this)() % 4096) / 8, int32_t((*this)())}; }
    gapType Gap() { return {uint8_t((*this)()), (*this)()}; }
    tailType Tail() { return {(*this)(), uint8_t((*this)())}; }
    nestType Nest() {
        nestType n{};
        n.points[0] = Point();
        n.points[1] = Point();
        for (uint16_t& value : n.lut) {
            value = uint16_t((*this)());
        }
        n.tag = uint16_t((*this)());
        return n;
    }
    template <typename T, typename Make>
    std::vector<T> Many(Make make) {
        std::vector<T> items(Count());
        for (T& item : items) {
            item = (this->*make)();
        }
        return items;
    }

private:
    std::mt19937 m_random;
};

// A counted array's count and the entry that holds its elements.
template <typename T>
void WriteCounted(binwriter::TuningBinaryBuilder& builder, ValueWriter& out,
                  const std::vector<T>& items) {
    ValueWriter elements(builder);
    for (const T& item : items) {
        Write(elements, item);
    }
    out.U32(static_cast<uint32_t>(items.size()))
        .Pointer(builder.AddPointerTarget(elements.Bytes()));
}

TEST(FlatLayout, EveryShapeComesBackMemberForMemberPackedAndInSlots) {
    for (unsigned int alignment : {1u, 8u}) {
        for (uint32_t seed = 1; seed <= 25; ++seed) {
            SCOPED_TRACE(testing::Message() << "alignment " << alignment << ", seed " << seed);
            Draw draw(seed);
            const uint8_t head = uint8_t(draw());
            const gapType gaps[2] = {draw.Gap(), draw.Gap()};
            const nestType nest = draw.Nest();
            const tailType tails[2] = {draw.Tail(), draw.Tail()};
            const auto points = draw.Many<pointType>(&Draw::Point);
            const auto nests = draw.Many<nestType>(&Draw::Nest);
            const auto gapList = draw.Many<gapType>(&Draw::Gap);
            const auto tailList = draw.Many<tailType>(&Draw::Tail);
            const uint8_t last = uint8_t(draw());

            binwriter::TuningBinaryBuilder builder(FormatWithAlignment(alignment));
            ValueWriter out(builder);
            out.U8(head);
            Write(out, gaps[0]);
            Write(out, gaps[1]);
            Write(out, nest);
            Write(out, tails[0]);
            Write(out, tails[1]);
            WriteCounted(builder, out, points);
            WriteCounted(builder, out, nests);
            WriteCounted(builder, out, gapList);
            WriteCounted(builder, out, tailList);
            out.U8(last);
            const uint32_t id = builder.AddModule("engineflat", {1, 0, 0}, 0, out.Bytes());
            LoadedBinaryOf<flatTopTypeClass> binary(builder, "engineflat");
            flatTopTypeClass* pModule = binary.Create(id);
            ASSERT_NE(pModule, nullptr);
            ASSERT_TRUE(pModule->LoadModule(&binary.Table()));

            EXPECT_EQ(pModule->head, head);
            EXPECT_EQ(pModule->last, last);
            EXPECT_EQ(ListOf(pModule->gaps, 2), ListOf(gaps, 2));
            EXPECT_EQ(ListOf(&pModule->nest, 1), ListOf(&nest, 1));
            EXPECT_EQ(ListOf(pModule->tails, 2), ListOf(tails, 2));
            EXPECT_EQ(ListOf(pModule->points, pModule->pointsCount),
                      ListOf(points.data(), uint32_t(points.size())));
            EXPECT_EQ(ListOf(pModule->nests, pModule->nestsCount),
                      ListOf(nests.data(), uint32_t(nests.size())));
            EXPECT_EQ(ListOf(pModule->gapList, pModule->gapListCount),
                      ListOf(gapList.data(), uint32_t(gapList.size())));
            EXPECT_EQ(ListOf(pModule->tailList, pModule->tailListCount),
                      ListOf(tailList.data(), uint32_t(tailList.size())));
        }
    }
}

}  // namespace
}  // namespace engine_test
