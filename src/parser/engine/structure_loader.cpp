#include <cstring>

#include "parser/engine/failed_field_trace.h"
#include "parser/engine/field_memory.h"
#include "parser/engine/structure_engine.h"
#include "parser/file/binary_value.h"
#include "parser/file/dup_obj_info.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/file/parameter_file_symbol_table_entry.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_utils.h"
#include "parser/foundation/parser_alloc_category.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/memory.h"

namespace ParameterEngine {
namespace {

using Entry = ParameterFileSymbolTableEntry;

IParameterLoggingAPI* LoggerOf(const Entry* pEntry) {
    return pEntry != nullptr ? pEntry->GetSetManager() : nullptr;
}

template <typename T>
bool ReadBits(Entry& entry, void* pMember, unsigned char alignment) {
    T value{};
    if (!entry.Read(&value, alignment, Entry::ShortRead::Quiet)) {
        return false;
    }
    std::memcpy(pMember, &value, sizeof(T));
    return true;
}

bool ReadWidth(Entry& entry, uint32_t width, void* pMember, unsigned char alignment) {
    switch (width) {
        case 1: return ReadBits<uint8_t>(entry, pMember, alignment);
        case 2: return ReadBits<uint16_t>(entry, pMember, alignment);
        case 8: return ReadBits<uint64_t>(entry, pMember, alignment);
        default: return ReadBits<uint32_t>(entry, pMember, alignment);
    }
}

// One scalar, copied bit for bit. Once the structure has failed, or when the value is not
// there, it is not read and the failure is logged for this very field.
bool ReadScalar(bool result, Entry* pEntry, ScalarType type, void* pMember,
                unsigned char alignment) {
    if (result && pEntry != nullptr && pEntry->GetData() != nullptr &&
        ReadWidth(*pEntry, WidthOf(type), pMember, alignment)) {
        return true;
    }
    ParameterLogging::Write(LoggerOf(pEntry), ParameterLogging::Error, __FILE__, __LINE__,
                            "Failed to read symbol table entry\n");
    return false;
}

bool Accepts(const EnumDescriptor& type, uint32_t value) {
    for (uint32_t i = 0; i < type.rangeCount; ++i) {
        if (value >= type.ranges[i].first && value <= type.ranges[i].last) {
            return true;
        }
    }
    return false;
}

// A value outside the enum is logged and leaves the member zero, but does not fail the load.
bool ReadEnumValue(Entry* pEntry, const EnumDescriptor& type, void* pMember,
                   unsigned char alignment) {
    if (pEntry == nullptr) {
        return false;
    }
    bool read = false;
    uint32_t value = pEntry->ReadEnum(&read, alignment);
    if (!read) {
        return false;
    }
    if (Accepts(type, value)) {
        std::memcpy(pMember, &value, sizeof(value));
    } else {
        ParameterLogging::Write(LoggerOf(pEntry), ParameterLogging::Error, __FILE__, __LINE__,
                                "Invalid value(%u) converting UINT32 to %s", value, type.name);
    }
    return true;
}

bool ReadPointer(Entry& parent, Entry& child, unsigned char alignment) {
    ParameterFileSymbolTable* pTable = parent.GetTable();
    return pTable != nullptr && pTable->ReadPointerEntry(child, &parent, alignment);
}

// A length word, then the pointer entry that holds the text. The length is not kept; the
// text pointer stays null when any step fails.
bool ReadText(bool result, Entry* pEntry, void* pMember, unsigned char alignment) {
    uint32_t length = 0;
    result = ReadScalar(result, pEntry, ScalarType::UInt32, &length, alignment);
    if (result) {
        Entry child;
        char* pText = nullptr;
        result = ReadPointer(*pEntry, child, alignment) &&
                 child.ReadString(&pText, length, alignment);
        SetPointer(static_cast<unsigned char*>(pMember), 0, result ? pText : nullptr);
    }
    return result;
}

bool LoadElement(const ElementType& element, void* pMember, Entry* pEntry,
                 unsigned char alignment) {
    switch (element.kind) {
        case ElementKind::Scalar:
            return ReadScalar(true, pEntry, element.scalar, pMember, alignment);
        case ElementKind::Enum:
            return ReadEnumValue(pEntry, *element.enumType, pMember, alignment);
        case ElementKind::Struct:
            return Load(*element.structType, pMember, pEntry, alignment);
        case ElementKind::String:
            return ReadText(true, pEntry, pMember, alignment);
    }
    return false;
}

// Bytes that one element takes at the cursor of the entry it is read from.
uint64_t FileBytes(const ElementType& element, unsigned char alignment);

uint64_t FileBytes(const StructDescriptor& type, unsigned char alignment) {
    uint64_t total = 0;
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        const FieldDescriptor& field = type.fields[i];
        switch (field.kind) {
            case FieldKind::Inline:
                total += field.count * FileBytes(field.element, alignment);
                break;
            case FieldKind::ScalarBlock:
                total += ParameterUtils::AlignUp(
                    uint64_t{field.count} * WidthOf(field.element.scalar), alignment);
                break;
            case FieldKind::Memory:
                break;
            default:  // a word, then the ID of the entry that holds the rest
                total += 2 * BinaryValue::Slot(4, alignment);
                break;
        }
    }
    return total;
}

uint64_t FileBytes(const ElementType& element, unsigned char alignment) {
    switch (element.kind) {
        case ElementKind::Scalar: return BinaryValue::Slot(WidthOf(element.scalar), alignment);
        case ElementKind::Enum: return BinaryValue::Slot(4, alignment);
        case ElementKind::Struct: return FileBytes(*element.structType, alignment);
        case ElementKind::String: return 2 * BinaryValue::Slot(4, alignment);
    }
    return 0;
}

uint64_t Remaining(const Entry& entry) {
    return entry.GetPosition() < entry.GetLength() ? entry.GetLength() - entry.GetPosition() : 0;
}

void LogAllocationFailure(const Entry& entry, const FieldDescriptor& field) {
    ParameterLogging::Write(LoggerOf(&entry), ParameterLogging::Error, __FILE__, __LINE__,
                            "Failed to allocate %s\n",
                            field.reportName != nullptr ? field.reportName : field.name);
}

bool IsFlat(const StructDescriptor& type);

// Bytes of a field that lies packed in the file at alignment 1 just as in the structure: a
// scalar, a fixed array of scalars, or fixed flat structures; 0 for any other field.
uint64_t PackedBytes(const FieldDescriptor& field) {
    const ElementType& element = field.element;
    if (field.kind == FieldKind::ScalarBlock) {
        return uint64_t{field.count} * WidthOf(element.scalar);
    }
    if (field.kind != FieldKind::Inline) {
        return 0;
    }
    if (element.kind == ElementKind::Scalar) {
        // An inline scalar is one value whatever its count says.
        return WidthOf(element.scalar);
    }
    return element.kind == ElementKind::Struct && IsFlat(*element.structType)
               ? uint64_t{field.count} * element.structType->size
               : 0;
}

// The fields from `first` on that follow each other without a gap in the structure and lie
// packed in the file: returns the field after them, their bytes in `bytes`. In line, as it
// runs for every field of every structure loaded.
inline uint32_t PackedRunEnd(const StructDescriptor& type, uint32_t first, uint64_t& bytes) {
    const uint64_t start = type.fields[first].offset;
    uint64_t runBytes = 0;
    uint32_t end = first;
    while (end < type.fieldCount) {
        const FieldDescriptor& field = type.fields[end];
        const uint64_t fieldBytes = PackedBytes(field);
        if (fieldBytes == 0 || field.offset != start + runBytes) {
            break;
        }
        runBytes += fieldBytes;
        ++end;
    }
    bytes = runBytes;
    return end;
}

bool WorkOutFlat(const StructDescriptor& type) {
    uint64_t bytes = 0;
    return !type.hasReservedId && !type.ownsMemory && type.fieldCount != 0 &&
           type.fields[0].offset == 0 && PackedRunEnd(type, 0, bytes) == type.fieldCount &&
           bytes == type.size;
}

// A structure whose file image at alignment 1 is its memory: packed fields from its first byte
// to its last, nothing held elsewhere, no reservedID word. An array of them is one copy.
bool IsFlat(const StructDescriptor& type) {
    uint8_t flatness = type.flatness.load(std::memory_order_relaxed);
    if (flatness == 0) {
        flatness = WorkOutFlat(type) ? 2 : 1;
        type.flatness.store(flatness, std::memory_order_relaxed);
    }
    return flatness == 2;
}

// The counted arrays of structures being filled on this thread, outermost first. A structure
// that holds itself (a tree) recurses as deep as its data, and a damaged pointer can make that a
// loop; a shared array met again while it is still being filled closes a loop of shared arrays.
class NestingGuard {
public:
    static constexpr unsigned int kLimit = kMaxNesting;
    NestingGuard() {
        if (++s_depth <= kLimit) {
            s_arrays[s_depth - 1] = nullptr;
        }
    }
    ~NestingGuard() { --s_depth; }
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;
    bool Allowed() const { return s_depth <= kLimit; }
    void Filling(const void* pArray) { s_arrays[s_depth - 1] = pArray; }
    static bool IsFilling(const void* pArray) {
        for (unsigned int i = 0; i < s_depth && i < kLimit; ++i) {
            if (s_arrays[i] == pArray) {
                return true;
            }
        }
        return false;
    }

private:
    static thread_local unsigned int s_depth;
    static thread_local const void* s_arrays[kLimit];
};

thread_local unsigned int NestingGuard::s_depth = 0;
thread_local const void* NestingGuard::s_arrays[NestingGuard::kLimit];

// A counted array of scalars is one block of its own, never shared. Its allocation is bounded
// by the bytes of the child, so a damaged count costs no more memory than the entry holds.
bool FillScalarArray(const FieldDescriptor& field, Entry& child, uint32_t* pCount,
                     unsigned char* pBase, unsigned char alignment) {
    uint64_t bytes = uint64_t{*pCount} * WidthOf(field.element.scalar);
    void* pArray = nullptr;
    if (child.GetData() != nullptr && bytes <= UINT32_MAX) {
        uint64_t available = Remaining(child);
        pArray = ZyraCalloc(1, bytes < available ? bytes : (available > 0 ? available : 1),
                            kParserAllocCategory);
        if (pArray != nullptr &&
            !child.ReadBlock(pArray, static_cast<unsigned int>(bytes), alignment)) {
            ZyraFree(pArray);
            pArray = nullptr;
        }
    }
    if (pArray == nullptr) {
        LogAllocationFailure(child, field);
        *pCount = 0;
        return false;
    }
    SetPointer(pBase, field.offset, pArray);
    return true;
}

// The elements of a counted array of enums, structures or strings: shared with the duplicate
// group of the child where one exists, else allocated and offered for sharing before they load.
bool FillElements(const FieldDescriptor& field, const char* pSiteSource, Entry& child,
                  uint32_t* pCount, unsigned char* pBase, unsigned char alignment) {
    NestingGuard nesting;
    if (!nesting.Allowed()) {
        ParameterLogging::Write(LoggerOf(&child), ParameterLogging::Error, __FILE__, __LINE__,
                                "Counted array %s nested deeper than %u levels\n", field.name,
                                NestingGuard::kLimit);
        return false;
    }
    // Flat elements lie in the file as in memory: the whole array is one copy.
    const bool flat = alignment == 1 && field.element.kind == ElementKind::Struct &&
                      IsFlat(*field.element.structType);
    const uint32_t stride = ElementSize(field.element);
    const uint64_t bytes = *pCount * (flat ? stride : FileBytes(field.element, alignment));
    if (bytes > Remaining(child)) {
        BinaryValue::LogShortRead(bytes, child.GetPosition(), child.GetLength(),
                                  LoggerOf(&child));
        return false;
    }
    auto* pArray = static_cast<unsigned char*>(ZyraCalloc(*pCount, stride, kParserAllocCategory));
    SetPointer(pBase, field.offset, pArray);
    if (pArray == nullptr) {
        LogAllocationFailure(child, field);
        *pCount = 0;
        return true;
    }
    child.SetDupObject(pArray, *pCount, pSiteSource, static_cast<int>(field.site));
    nesting.Filling(pArray);
    if (flat) {
        return child.TakeBytes(pArray, static_cast<uint32_t>(bytes));
    }
    for (uint32_t i = 0; i < *pCount; ++i) {
        if (!LoadElement(field.element, pArray + uint64_t{i} * stride, &child, alignment)) {
            return false;
        }
    }
    return true;
}

bool LoadCounted(bool result, const FieldDescriptor& field, const char* pSiteSource,
                 unsigned char* pBase, Entry* pEntry, unsigned char alignment) {
    auto* pCount = reinterpret_cast<uint32_t*>(pBase + field.countOffset);
    result = ReadScalar(result, pEntry, ScalarType::UInt32, pCount, alignment);
    if (result) {
        Entry child;
        result = ReadPointer(*pEntry, child, alignment);
        if (result) {
            *reinterpret_cast<uint32_t*>(pBase + field.idOffset) = child.GetId();
            DupObjInfo* pShared =
                child.GetDupObject(*pCount, pSiteSource, static_cast<int>(field.site));
            // An element whose last holder went keeps a null object: the array is then read
            // afresh and offered to the group again, as by a first holder.
            if (pShared != nullptr && pShared->m_pObject != nullptr) {
                SetPointer(pBase, field.offset, pShared->m_pObject);
                // A loop closes here: the array is still being filled further up. The pointer
                // stays but holds no reference, or the loop would hold itself for ever.
                if (NestingGuard::IsFilling(pShared->m_pObject)) {
                    child.GetTable()->ReleaseDupObject(pShared->m_pObject);
                }
            } else if (*pCount != 0) {
                result = field.element.kind == ElementKind::Scalar
                             ? FillScalarArray(field, child, pCount, pBase, alignment)
                             : FillElements(field, pSiteSource, child, pCount, pBase, alignment);
            }
        }
    }
    if (GetPointer(pBase, field.offset) == nullptr) {
        *pCount = 0;
    }
    return result;
}

// The ID word of an optional element holds the entry being read, not the child, even when
// the element fails.
bool LoadOptional(bool result, const FieldDescriptor& field, unsigned char* pBase, Entry* pEntry,
                  unsigned char alignment) {
    auto* pExists = reinterpret_cast<uint32_t*>(pBase + field.countOffset);
    result = ReadScalar(result, pEntry, ScalarType::UInt32, pExists, alignment);
    if (pEntry != nullptr) {
        *reinterpret_cast<uint32_t*>(pBase + field.idOffset) = pEntry->GetId();
    }
    if (result) {
        Entry child;
        result = ReadPointer(*pEntry, child, alignment);
        if (result && *pExists != 0) {
            result = LoadElement(field.element, pBase + field.offset, &child, alignment);
        }
    }
    return result;
}

bool LoadInline(bool result, const FieldDescriptor& field, unsigned char* pBase, Entry* pEntry,
                unsigned char alignment) {
    if (field.element.kind == ElementKind::Scalar) {
        return ReadScalar(result, pEntry, field.element.scalar, pBase + field.offset, alignment);
    }
    uint32_t stride = ElementSize(field.element);
    for (uint32_t i = 0; result && i < field.count; ++i) {
        result = LoadElement(field.element, pBase + field.offset + uint64_t{i} * stride, pEntry,
                             alignment);
    }
    return result;
}

bool LoadBlock(bool result, const FieldDescriptor& field, unsigned char* pBase, Entry* pEntry,
               unsigned char alignment) {
    if (!result || pEntry == nullptr) {
        return false;
    }
    return pEntry->ReadBlock(pBase + field.offset, field.count * WidthOf(field.element.scalar),
                             alignment);
}

// The packed run from `first` on (PackedRunEnd) is copied at once, when all of it is there.
// Returns the field after the run, or `first` when the fields are left to be read one by one
// (another alignment, or the bytes run out within the run, where each field reports its own
// loss).
uint32_t CopyPackedRun(const StructDescriptor& descriptor, uint32_t first, unsigned char* pBase,
                       Entry* pEntry, unsigned char alignment) {
    if (alignment != 1 || pEntry == nullptr) {
        return first;
    }
    uint64_t bytes = 0;
    const uint32_t end = PackedRunEnd(descriptor, first, bytes);
    // A run lies within one structure, whose size fits 32 bits.
    return end != first && pEntry->TakeBytes(pBase + descriptor.fields[first].offset,
                                             static_cast<uint32_t>(bytes))
               ? end
               : first;
}

}  // namespace

bool Load(const StructDescriptor& descriptor, void* pStructure,
          ParameterFileSymbolTableEntry* pEntry, unsigned char alignment) {
    auto* pBase = static_cast<unsigned char*>(pStructure);
    bool result = true;
    for (uint32_t i = 0; i < descriptor.fieldCount;) {
        // A field copied whole needs no clearing; every other one is cleared just before it
        // is read, which leaves what clearing them all first would.
        if (result) {
            const uint32_t next = CopyPackedRun(descriptor, i, pBase, pEntry, alignment);
            if (next != i) {
                i = next;
                continue;
            }
        }
        const FieldDescriptor& field = descriptor.fields[i++];
        ClearField(field, pBase);
        const bool before = result;
        switch (field.kind) {
            case FieldKind::Inline:
                result = LoadInline(result, field, pBase, pEntry, alignment);
                break;
            case FieldKind::ScalarBlock:
                result = LoadBlock(result, field, pBase, pEntry, alignment);
                break;
            case FieldKind::String:
                result = ReadText(result, pEntry, pBase + field.offset, alignment);
                break;
            case FieldKind::Counted:
                result = LoadCounted(result, field, descriptor.siteSource, pBase, pEntry,
                                     alignment);
                break;
            case FieldKind::Optional:
                result = LoadOptional(result, field, pBase, pEntry, alignment);
                break;
            case FieldKind::Memory:
                break;
        }
        if (before && !result) {
            FailedFieldTrace::Note(field.name);
        }
    }
    return result;
}

}  // namespace ParameterEngine
