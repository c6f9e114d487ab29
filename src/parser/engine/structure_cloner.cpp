#include <cstring>

#include "parser/engine/field_memory.h"
#include "parser/engine/structure_engine.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parser_alloc_category.h"
#include "zyra/memory.h"

namespace ParameterEngine {
namespace {

// One copy: its logger, the source arrays of structures it is inside, and the bytes it may
// still take. Arrays shared through duplicates may hold themselves further down; such a loop
// is cut where it closes. A copy over budget stops and logs once.
struct CloneWalk {
    IParameterLoggingAPI* pLogger;
    uint64_t budget;
    bool exhausted;
    unsigned int depth;
    const void* path[kMaxNesting];

    bool OnPath(const void* pArray) const {
        for (unsigned int i = 0; i < depth; ++i) {
            if (path[i] == pArray) {
                return true;
            }
        }
        return false;
    }
};

bool CloneStructure(CloneWalk& walk, const StructDescriptor& descriptor, unsigned char* pTarget,
                    const unsigned char* pSource);

// A zeroed block of `bytes` within the walk's budget, or null.
void* Allocate(CloneWalk& walk, uint64_t bytes) {
    if (bytes > walk.budget) {
        walk.exhausted = true;
        return nullptr;
    }
    void* pBlock = ZyraCalloc(1, static_cast<size_t>(bytes), kParserAllocCategory);
    if (pBlock != nullptr) {
        walk.budget -= bytes;
    }
    return pBlock;
}

void LogRefusal(const CloneWalk& walk, const FieldDescriptor& field, bool wasExhausted) {
    if (!wasExhausted) {
        ParameterLogging::Write(walk.pLogger, ParameterLogging::Error, __FILE__, __LINE__,
                                "Failed to allocate %s\n", field.name);
    }
}

bool Refuse(CloneWalk& walk, const FieldDescriptor& field, unsigned char* pBase,
            bool wasExhausted) {
    LogRefusal(walk, field, wasExhausted);
    SetPointer(pBase, field.offset, nullptr);
    if (field.kind == FieldKind::Counted) {
        std::memset(pBase + field.countOffset, 0, sizeof(uint32_t));
    }
    return false;
}

// Replaces the text that the pointer word at `pWord` names by a copy, or by null.
bool CloneText(CloneWalk& walk, const FieldDescriptor& field, unsigned char* pWord) {
    const auto* pText = static_cast<const char*>(GetPointer(pWord, 0));
    if (pText == nullptr) {
        return true;
    }
    uint64_t bytes = std::strlen(pText) + 1;
    bool wasExhausted = walk.exhausted;
    void* pCopy = wasExhausted ? nullptr : Allocate(walk, bytes);
    SetPointer(pWord, 0, pCopy);
    if (pCopy == nullptr) {
        LogRefusal(walk, field, wasExhausted);
        return false;
    }
    std::memcpy(pCopy, pText, bytes);
    return true;
}

bool CloneArray(CloneWalk& walk, const FieldDescriptor& field, unsigned char* pTarget) {
    const auto* pElements = static_cast<const unsigned char*>(GetPointer(pTarget, field.offset));
    uint32_t count = 0;
    std::memcpy(&count, pTarget + field.countOffset, sizeof(count));
    if (count == 0 || pElements == nullptr) {
        std::memset(pTarget + field.countOffset, 0, sizeof(count));
        SetPointer(pTarget, field.offset, nullptr);
        return true;
    }
    bool isStruct = field.element.kind == ElementKind::Struct;
    bool wasExhausted = walk.exhausted;
    uint32_t size = ElementSize(field.element);
    unsigned char* pCopy = nullptr;
    if (!wasExhausted && !(isStruct && (walk.depth == kMaxNesting || walk.OnPath(pElements)))) {
        pCopy = static_cast<unsigned char*>(Allocate(walk, uint64_t{count} * size));
    }
    if (pCopy == nullptr) {
        return Refuse(walk, field, pTarget, wasExhausted);
    }
    SetPointer(pTarget, field.offset, pCopy);
    if (!isStruct) {
        std::memcpy(pCopy, pElements, uint64_t{count} * size);
        bool result = true;
        for (uint32_t i = 0; field.element.kind == ElementKind::String && i < count; ++i) {
            result &= CloneText(walk, field, pCopy + uint64_t{i} * size);
        }
        return result;
    }
    walk.path[walk.depth++] = pElements;
    bool result = true;
    for (uint32_t i = 0; i < count; ++i) {
        result &= CloneStructure(walk, *field.element.structType, pCopy + uint64_t{i} * size,
                                 pElements + uint64_t{i} * size);
    }
    --walk.depth;
    return result;
}

// The pointers below a structure whose bytes are already in place, each replaced by its copy.
bool ClonePointers(CloneWalk& walk, const StructDescriptor& descriptor, unsigned char* pTarget) {
    bool result = true;
    for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
        const FieldDescriptor& field = descriptor.fields[i];
        switch (field.kind) {
            case FieldKind::String:
                result &= CloneText(walk, field, pTarget + field.offset);
                break;
            case FieldKind::Counted:
                result &= CloneArray(walk, field, pTarget);
                break;
            case FieldKind::Inline:
            case FieldKind::Optional:
                if (field.element.kind == ElementKind::Struct &&
                    field.element.structType->ownsMemory) {
                    uint32_t size = field.element.structType->size;
                    for (uint32_t e = 0; e < field.count; ++e) {
                        result &= ClonePointers(walk, *field.element.structType,
                                                pTarget + field.offset + uint64_t{e} * size);
                    }
                }
                break;
            case FieldKind::ScalarBlock:
            case FieldKind::Memory:
                break;
        }
    }
    return result;
}

bool CloneStructure(CloneWalk& walk, const StructDescriptor& descriptor, unsigned char* pTarget,
                    const unsigned char* pSource) {
    std::memmove(pTarget, pSource, descriptor.size);
    return !descriptor.ownsMemory || ClonePointers(walk, descriptor, pTarget);
}

}  // namespace

bool CloneFrom(const StructDescriptor& descriptor, void* pTarget, const void* pSource,
               IParameterLoggingAPI* pLogger) {
    if (pTarget == nullptr || pSource == nullptr) {
        return false;
    }
    CloneWalk walk{pLogger, kMaxCloneBytes, false, 0, {}};
    return CloneStructure(walk, descriptor, static_cast<unsigned char*>(pTarget),
                          static_cast<const unsigned char*>(pSource));
}

void* Clone(const StructDescriptor& descriptor, const void* pSource) {
    void* pCopy = ZyraCalloc(1, descriptor.size, kParserAllocCategory);
    if (pCopy != nullptr) {
        CloneFrom(descriptor, pCopy, pSource, nullptr);
    }
    return pCopy;
}

}  // namespace ParameterEngine
