#include "parser/engine/field_memory.h"
#include "parser/engine/structure_engine.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "zyra/memory.h"

namespace ParameterEngine {
namespace {

// Drops this holder's reference to the object at the pointer word and frees the object when
// none is left. Without a table nothing is freed; the word is cleared either way.
void ReleasePointer(unsigned char* pBase, uint32_t offset, ParameterFileSymbolTable* pTable) {
    void* pObject = GetPointer(pBase, offset);
    if (pTable != nullptr && pTable->ReleaseDupObject(pObject) && pObject != nullptr) {
        ZyraFree(pObject);
    }
    SetPointer(pBase, offset, nullptr);
}

bool OwnsMemory(const ElementType& element) {
    return element.kind == ElementKind::String ||
           (element.kind == ElementKind::Struct && element.structType->ownsMemory);
}

void UnloadElements(const ElementType& element, unsigned char* pFirst, uint64_t count,
                    ParameterFileSymbolTable* pTable) {
    for (uint64_t i = 0; i < count; ++i) {
        if (element.kind == ElementKind::String) {
            ReleasePointer(pFirst + i * sizeof(char*), 0, pTable);
        } else {
            Unload(*element.structType, pFirst + i * element.structType->size, pTable);
        }
    }
}

}  // namespace

void Unload(const StructDescriptor& descriptor, void* pStructure,
            ParameterFileSymbolTable* pTable) {
    auto* pBase = static_cast<unsigned char*>(pStructure);
    for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
        const FieldDescriptor& field = descriptor.fields[i];
        switch (field.kind) {
            case FieldKind::Inline:
            case FieldKind::Optional:
                // An optional element is visited whether it exists or not.
                if (OwnsMemory(field.element)) {
                    UnloadElements(field.element, pBase + field.offset, field.count, pTable);
                }
                break;
            case FieldKind::String:
                ReleasePointer(pBase, field.offset, pTable);
                break;
            case FieldKind::Counted: {
                // Elements first, by every holder of a shared array: the first to go releases
                // their nested memory or texts, the others then meet null pointers.
                auto* pElements = static_cast<unsigned char*>(GetPointer(pBase, field.offset));
                uint32_t count = 0;
                std::memcpy(&count, pBase + field.countOffset, sizeof(count));
                if (pElements != nullptr && OwnsMemory(field.element)) {
                    UnloadElements(field.element, pElements, count, pTable);
                }
                ReleasePointer(pBase, field.offset, pTable);
                break;
            }
            case FieldKind::ScalarBlock:
            case FieldKind::Memory:
                break;
        }
    }
}

}  // namespace ParameterEngine
