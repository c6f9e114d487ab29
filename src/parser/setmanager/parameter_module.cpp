#include "parser/setmanager/parameter_module.h"

#include <new>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/foundation/parser_alloc_category.h"
#include "parser/foundation/parser_object.h"
#include "parser/foundation/parser_text.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/memory.h"

ParameterModule::ParameterModule(const char* pName, const VersionUnion& version, ModuleData* pData)
    : Name(ParserCopyText(pName != nullptr ? pName : "")),
      Type(static_cast<char*>(ZyraCalloc(ModuleData::kTypeLength + 1, 1, kParserAllocCategory))),
      Version(version),
      Data(pData),
      Loaded(false),
      Modified(0) {
    if (Type != nullptr && Name != nullptr) {
        ModuleData::GetType(Type, Name);
    }
    if (pData != nullptr && pData->Mode != nullptr) {
        Mode = pData->Mode->Mode;
    }
}

ParameterModule::ParameterModule(const char* pName, unsigned short major, unsigned short minor,
                                 unsigned int patch, ModuleData* pData)
    : ParameterModule(pName, VersionUnion(major, minor, patch), pData) {}

ParameterModule::~ParameterModule() {
    ZyraFree(Name);
    ZyraFree(Type);
}

void* ParameterModule::operator new(size_t size) { return ParserAllocate(size); }

void* ParameterModule::operator new(size_t size, const std::nothrow_t&) noexcept {
    return ZyraCalloc(1, size, kParserAllocCategory);
}

void ParameterModule::operator delete(void* pMemory) noexcept { ZyraFree(pMemory); }

void ParameterModule::operator delete(void* pMemory, const std::nothrow_t&) noexcept {
    ZyraFree(pMemory);
}

bool ParameterModule::GetValue(const char* /*pPath*/, char* /*pValue*/, unsigned int /*size*/) {
    return false;
}

bool ParameterModule::SetValue(const char* /*pPath*/, const char* /*pValue*/) { return false; }

bool ParameterModule::GetInfo(const char* /*pPath*/, PList<ParameterParserInfo>& /*info*/) {
    return false;
}

void ParameterModule::Release() {
    if (Data == nullptr || Data->SetManager == nullptr) {
        ParameterLogging::Write(nullptr, ParameterLogging::Error, __FILE__, __LINE__,
                                "Attempt to release module reference when Data or SetManager is "
                                "nullptr. Module %s",
                                Name);
        return;
    }
    // References are counted in file mode only. The mode is asked under the lock that a
    // reload, which may switch it, holds exclusively.
    ParameterSetManager* pSetManager = Data->SetManager;
    ParameterMutexLock lock(&pSetManager->GetLoadLock(), true);
    if (pSetManager->IsFileMode()) {
        pSetManager->ReleaseModule(this);
    }
}

uint32_t ParameterModule::GetReferenceCount() const {
    if (Data == nullptr || Data->Mode == nullptr) {
        return 0;
    }
    return Data->Mode->GetReferenceCount(this);
}
