// Symbol tables of each entry layout written out by hand, which the writer's test expects it
// to make and the reader's test expects it to decode, so that an idea of the layout both share
// cannot pass unnoticed. Two modules of version 1.2.3 in mode 5: "abc" with values at offset 0
// taking 2 bytes, "second" behind them, on the next 8-byte boundary in 8-byte layouts, taking 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "binwriter/version.h"
#include "expected_bytes.h"

namespace binwriter_test {

struct GoldenSymbolTable {
    binwriter::Version version;
    size_t headerSize;         // where the section table starts
    unsigned char alignment;   // 8: every word in an 8-byte slot
    size_t declaredSize;       // bytes per entry as the section size counts them
    bool reserved;             // 8 unused bytes behind the version
    bool duplicateId;          // a trailing duplicate id, the entry's own id here
    uint32_t secondOffset = 0;
    std::vector<uint8_t> bytes = {};
};

constexpr uint64_t kGoldenModuleVersion = 0x0000000300020001;

inline std::vector<GoldenSymbolTable> GoldenSymbolTables() {
    std::vector<GoldenSymbolTable> tables = {{{1, 0, 0}, 48, 1, 64, true, false},
                                             {{2, 0, 0}, 160, 8, 76, false, false},
                                             {{3, 0, 1}, 168, 1, 56, false, false},
                                             {{3, 0, 2}, 168, 1, 60, false, true}};
    struct Entry {
        uint32_t id;
        const char* pName;
        uint32_t offset;
        uint32_t length;
    };
    for (GoldenSymbolTable& table : tables) {
        const size_t word = table.alignment == 8 ? 8 : 4;
        table.secondOffset = table.alignment == 8 ? 8 : 2;
        Expected bytes;
        for (const Entry& e : {Entry{1, "abc", 0, 2}, Entry{2, "second", table.secondOffset, 1}}) {
            bytes.Le(e.id, word).Text(e.pName, 32).Le(kGoldenModuleVersion, 8);
            bytes.Zeros(table.reserved ? 8 : 0).Le(5, word).Le(e.offset, word).Le(e.length, word);
            bytes.Le(e.id, table.duplicateId ? 4 : 0);
        }
        table.bytes = bytes.Bytes();
    }
    return tables;
}

}  // namespace binwriter_test
