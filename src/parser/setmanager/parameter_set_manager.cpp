#include "parser/setmanager/parameter_set_manager.h"

#include <cstdio>

#include "parser/file/parameter_binary_file.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parser_alloc_category.h"
#include "parser/foundation/parser_object.h"
#include "parser/livetuning/parameter_dialin_worker.h"
#include "parser/runtimeschema/runtime_schemas.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/module_data.h"
#include "zyra/memory.h"
#include "zyra/os_utils.h"

ParameterSetManager::ParameterSetManager() = default;

ParameterSetManager::~ParameterSetManager() {
    // The derived destructor has destroyed the instances; what replaced modules name goes
    // after them, and the update sets last, since taken-over modules have their identity
    // there.
    ParameterLogging::Write(this, ParameterLogging::Debug, __FILE__, __LINE__,
                            "ParameterSetManager deleting");
    FreeReplacedModules(false);
    FreeBinaryParameters();
    // The worker goes only now: clients of the set manager have to stop tuning traffic
    // before they destroy it.
    if (m_dialinWorker != nullptr) {
        m_dialinWorker->Stop();
        ParserDelete(m_dialinWorker);
        m_dialinWorker = nullptr;
    }
    for (ParameterSetManager* pUpdate : m_updateSets) {
        delete pUpdate;
    }
    m_updateSets.clear();
}

void* ParameterSetManager::operator new(size_t size) { return ParserAllocate(size); }

void* ParameterSetManager::operator new(size_t size, const std::nothrow_t&) noexcept {
    return ZyraCalloc(1, size, kParserAllocCategory);
}

void ParameterSetManager::operator delete(void* pMemory) noexcept { ZyraFree(pMemory); }

void ParameterSetManager::operator delete(void* pMemory, const std::nothrow_t&) noexcept {
    ZyraFree(pMemory);
}

const ParameterEngine::SchemaLayout* ParameterSetManager::GetSchemaLayout(
    const char* pName) const {
    return m_runtimeSchemas != nullptr ? m_runtimeSchemas->Find(pName) : nullptr;
}

bool ParameterSetManager::CreateDialinWorker() {
    if (m_dialinWorker == nullptr) {
        m_dialinWorker = ParserNew<ParameterDialinWorker>(this);
    }
    return m_dialinWorker != nullptr;
}

void ParameterSetManager::StartDialinWorker() {
    if (m_valid && m_dialinEnabled && m_dialinWorker != nullptr) {
        m_dialinWorker->Start();
    }
}

void ParameterSetManager::FreeBinaryParameters() {
    ParameterLogging::Write(this, ParameterLogging::Debug, __FILE__, __LINE__,
                            "FreeBinaryParameters called");
    ParserDelete(m_rootMode);
    for (uint32_t i = 0; i < m_detachedModes.Count(); ++i) {
        ParserDelete(m_detachedModes[i]);
    }
    while (m_detachedModes.Remove(0)) {
    }
    while (m_activeModes.Remove(0)) {
    }
    ZyraFree(m_modes);
    // The symbol table reads through the file object, so the table goes first.
    ParserDelete(m_symbolTable);
    ParserDelete(m_pBinaryFile);
    // Both may still log, and their lines carry the tag as this set manager's identifier.
    ZyraFree(m_binaryTag);
    m_rootMode = nullptr;
    m_modes = nullptr;
    m_modeCount = 0;
    m_binaryTag = nullptr;
    m_symbolTable = nullptr;
    m_pBinaryFile = nullptr;
}

void ParameterSetManager::SetError(const char* pText, const ModuleData* pData) {
    const char* pMessage = pText != nullptr ? pText : "";
    if (pData != nullptr) {
        const VersionUnion version = pData->Version;
        const ModeEntry* pMode = pData->Mode;
        // The message may be the error text itself, so it is formatted aside first.
        char text[kErrorTextSize];
        std::snprintf(text, sizeof(text), "%s Type: %s, Major: %u, Minor: %u, Patch: %u, Mode: %u",
                      pMessage, pData->Type != nullptr ? pData->Type : "",
                      static_cast<unsigned int>(version.major),
                      static_cast<unsigned int>(version.minor), version.patch,
                      pMode != nullptr ? static_cast<unsigned int>(pMode->Mode.mode) : 0u);
        Zyra::OsUtils::StrLCpy(m_errorText, text, sizeof(m_errorText));
    } else if (pMessage != m_errorText) {
        Zyra::OsUtils::StrLCpy(m_errorText, pMessage, sizeof(m_errorText));
    }
    ParameterLogging::Write(this, ParameterLogging::Error, __FILE__, __LINE__, "%s", m_errorText);
}

const char* ParameterSetManager::GetLoggingIdentifier() { return m_binaryTag; }

bool ParameterSetManager::LoggingEnabled(ParameterLogging::ParameterLogLevel level) {
    switch (level) {
        case ParameterLogging::Error: return m_logErrors;
        case ParameterLogging::Warning: return m_logWarnings;
        case ParameterLogging::Debug: return m_logDebug;
        default: return true;
    }
}
