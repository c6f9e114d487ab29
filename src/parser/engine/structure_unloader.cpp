#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "parser/engine/field_memory.h"
#include "parser/engine/structure_engine.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "zyra/memory.h"

namespace ParameterEngine {
namespace {

bool OwnsMemory(const ElementType& element) {
    return element.kind == ElementKind::String ||
           (element.kind == ElementKind::Struct && element.structType->ownsMemory);
}

// One Unload: the shared arrays it is giving back, outermost first, and the arrays it looked
// through for loops. A loop of shared arrays closes with a pointer that holds no reference
// (the loader gives it back); once the array it names goes, such pointers in what stays are
// cleared, so no holder of the rest reads freed memory.
class Unloader {
public:
    explicit Unloader(ParameterFileSymbolTable* pTable) : m_pTable(pTable) {}

    void Structure(const StructDescriptor& descriptor, unsigned char* pBase) {
        for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
            const FieldDescriptor& field = descriptor.fields[i];
            switch (field.kind) {
                case FieldKind::Inline:
                case FieldKind::Optional:
                    // An optional element is visited whether it exists or not.
                    if (OwnsMemory(field.element)) {
                        Elements(field.element, pBase + field.offset, field.count);
                    }
                    break;
                case FieldKind::String:
                    Release(GetPointer(pBase, field.offset));
                    SetPointer(pBase, field.offset, nullptr);
                    break;
                case FieldKind::Counted: Counted(field, pBase); break;
                case FieldKind::ScalarBlock:
                case FieldKind::Memory: break;
            }
        }
    }

private:
    void Release(void* pObject) {
        if (m_pTable != nullptr && m_pTable->ReleaseDupObject(pObject) && pObject != nullptr) {
            ZyraFree(pObject);
        }
    }

    void Elements(const ElementType& element, unsigned char* pFirst, uint64_t count) {
        for (uint64_t i = 0; i < count; ++i) {
            if (element.kind == ElementKind::String) {
                unsigned char* pWord = pFirst + i * sizeof(char*);
                Release(GetPointer(pWord, 0));
                SetPointer(pWord, 0, nullptr);
            } else {
                Structure(*element.structType, pFirst + i * element.structType->size);
            }
        }
    }

    // A shared array belongs to all its holders: only the holder whose release is the last
    // gives back the elements' nested memory and texts, so the others keep reading whole data.
    // Without a table nothing is freed and the elements, which may be shared, stay as they are.
    void Counted(const FieldDescriptor& field, unsigned char* pBase) {
        auto* pElements = static_cast<unsigned char*>(GetPointer(pBase, field.offset));
        SetPointer(pBase, field.offset, nullptr);
        if (m_pTable == nullptr || pElements == nullptr || Freeing(pElements)) {
            return;
        }
        uint32_t count = 0;
        std::memcpy(&count, pBase + field.countOffset, sizeof(count));
        const bool last = m_pTable->ReleaseDupObject(pElements);
        if (OwnsMemory(field.element) && m_depth < kMaxNesting) {
            if (last) {
                // Arrays already looked through may hold a pointer to this one too.
                m_searched.clear();
                m_freeing[m_depth++] = pElements;
                Elements(field.element, pElements, count);
                --m_depth;
            } else if (m_depth > 0 && field.element.kind == ElementKind::Struct) {
                ClearLoops(*field.element.structType, pElements, count, m_depth);
            }
        }
        if (last) {
            ZyraFree(pElements);
        }
    }

    bool Freeing(const void* pArray) const {
        return std::find(m_freeing, m_freeing + m_depth, pArray) != m_freeing + m_depth;
    }

    // Clears, below an array that stays, the pointers to arrays this Unload frees. Each array
    // is looked through once for the arrays being freed: shared arrays may be reached along
    // many paths.
    void ClearLoops(const StructDescriptor& type, unsigned char* pFirst, uint32_t count,
                    unsigned int depth) {
        if (depth >= kMaxNesting || !m_searched.insert(pFirst).second) {
            return;
        }
        for (uint32_t k = 0; k < count; ++k) {
            unsigned char* pBase = pFirst + uint64_t{k} * type.size;
            for (uint32_t i = 0; i < type.fieldCount; ++i) {
                const FieldDescriptor& field = type.fields[i];
                const StructDescriptor* pType = field.element.structType;
                if (field.element.kind != ElementKind::Struct || !pType->ownsMemory) {
                    continue;
                }
                if (field.kind != FieldKind::Counted) {
                    for (uint32_t e = 0; e < field.count; ++e) {
                        ClearLoops(*pType, pBase + field.offset + uint64_t{e} * pType->size, 1,
                                   depth);
                    }
                    continue;
                }
                auto* pElements = static_cast<unsigned char*>(GetPointer(pBase, field.offset));
                if (Freeing(pElements)) {
                    SetPointer(pBase, field.offset, nullptr);
                } else if (pElements != nullptr) {
                    uint32_t elements = 0;
                    std::memcpy(&elements, pBase + field.countOffset, sizeof(elements));
                    ClearLoops(*pType, pElements, elements, depth + 1);
                }
            }
        }
    }

    ParameterFileSymbolTable* m_pTable;
    const void* m_freeing[kMaxNesting] = {};
    unsigned int m_depth = 0;
    std::unordered_set<const void*> m_searched;
};

}  // namespace

void Unload(const StructDescriptor& descriptor, void* pStructure,
            ParameterFileSymbolTable* pTable) {
    Unloader(pTable).Structure(descriptor, static_cast<unsigned char*>(pStructure));
}

}  // namespace ParameterEngine
