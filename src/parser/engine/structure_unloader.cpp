#include "parser/engine/field_memory.h"
#include "parser/engine/structure_engine.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "zyra/memory.h"

namespace ParameterEngine {
namespace {

// Drops a holder's reference to `pObject` and frees the object when none is left. Without a
// table nothing is freed.
void Release(void* pObject, ParameterFileSymbolTable* pTable) {
    if (pTable != nullptr && pTable->ReleaseDupObject(pObject) && pObject != nullptr) {
        ZyraFree(pObject);
    }
}

bool OwnsMemory(const ElementType& element) {
    return element.kind == ElementKind::String ||
           (element.kind == ElementKind::Struct && element.structType->ownsMemory);
}

void UnloadStructure(const StructDescriptor& descriptor, unsigned char* pBase,
                     ParameterFileSymbolTable* pTable, unsigned int depth);

void UnloadElements(const ElementType& element, unsigned char* pFirst, uint64_t count,
                    ParameterFileSymbolTable* pTable, unsigned int depth) {
    for (uint64_t i = 0; i < count; ++i) {
        if (element.kind == ElementKind::String) {
            unsigned char* pWord = pFirst + i * sizeof(char*);
            Release(GetPointer(pWord, 0), pTable);
            SetPointer(pWord, 0, nullptr);
        } else {
            UnloadStructure(*element.structType, pFirst + i * element.structType->size, pTable,
                            depth);
        }
    }
}

// `depth` counts the counted arrays above. Loaded data nests no deeper than kMaxNesting; below
// that the elements are not visited.
void UnloadStructure(const StructDescriptor& descriptor, unsigned char* pBase,
                     ParameterFileSymbolTable* pTable, unsigned int depth) {
    for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
        const FieldDescriptor& field = descriptor.fields[i];
        switch (field.kind) {
            case FieldKind::Inline:
            case FieldKind::Optional:
                // An optional element is visited whether it exists or not.
                if (OwnsMemory(field.element)) {
                    UnloadElements(field.element, pBase + field.offset, field.count, pTable,
                                   depth);
                }
                break;
            case FieldKind::String:
                Release(GetPointer(pBase, field.offset), pTable);
                SetPointer(pBase, field.offset, nullptr);
                break;
            case FieldKind::Counted: {
                // A shared array belongs to all its holders: only the holder whose release is
                // the last gives back the elements' nested memory and texts, so the others keep
                // reading whole data. Without a table nothing is freed and the elements, which
                // may be shared, are left as they are.
                auto* pElements = static_cast<unsigned char*>(GetPointer(pBase, field.offset));
                SetPointer(pBase, field.offset, nullptr);
                if (pTable == nullptr || pElements == nullptr ||
                    !pTable->ReleaseDupObject(pElements)) {
                    break;
                }
                uint32_t count = 0;
                std::memcpy(&count, pBase + field.countOffset, sizeof(count));
                if (OwnsMemory(field.element) && depth < kMaxNesting) {
                    UnloadElements(field.element, pElements, count, pTable, depth + 1);
                }
                ZyraFree(pElements);
                break;
            }
            case FieldKind::ScalarBlock:
            case FieldKind::Memory:
                break;
        }
    }
}

}  // namespace

void Unload(const StructDescriptor& descriptor, void* pStructure,
            ParameterFileSymbolTable* pTable) {
    UnloadStructure(descriptor, static_cast<unsigned char*>(pStructure), pTable, 0);
}

}  // namespace ParameterEngine
