// The control and trigger tables. Both are kept sorted by ID with one entry per ID, and every
// access, reads included, holds m_valueLock exclusively and no other lock.
#include <cstring>

#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/foundation/parameter_utils.h"
#include "parser/setmanager/parameter_set_manager.h"

namespace {

// Room for one "id=value" text; "%f" of the largest double needs 317 characters, and such a
// value is cut here.
constexpr unsigned int kValueTextSize = 128;
// Longest piece of a table text that is parsed; the rest up to the next "," is skipped.
constexpr unsigned int kPieceTextSize = 64;

void Clear(PList<ParameterCTValue>& table) {
    while (table.Remove(table.Count() - 1)) {
    }
}

// Overwrites the entry of the same ID or inserts before the first greater one. A table that
// cannot grow drops the value.
void Store(PList<ParameterCTValue>& table, const ParameterCTValue& value) {
    uint32_t index = 0;
    for (; index < table.Count(); ++index) {
        if (table[index].ID == value.ID) {
            table[index] = value;
            return;
        }
        if (table[index].ID > value.ID) {
            break;
        }
    }
    table.Insert(index, value);
}

}  // namespace

bool ParameterSetManager::GetControlValues(PList<ParameterCTValue>& values) {
    return CopyValues(m_controlValues, values);
}
bool ParameterSetManager::GetControlValues(char* pText, unsigned int size) {
    return FormatValues(m_controlValues, pText, size);
}
bool ParameterSetManager::GetControlValue(unsigned int id, ParameterCTValue& value) {
    return FindValue(m_controlValues, id, value);
}
void ParameterSetManager::SetControlValue(const ParameterCTValue& value) {
    StoreValue(m_controlValues, value);
}
void ParameterSetManager::SetControlValues(const ParameterCTValue* pValues, unsigned int count) {
    ReplaceValues(m_controlValues, pValues, count);
}
void ParameterSetManager::SetControlValues(const PList<ParameterCTValue>& values) {
    ReplaceValues(m_controlValues, values);
}
void ParameterSetManager::SetControlValues(const char* pText) {
    ReplaceValues(m_controlValues, pText);
}

bool ParameterSetManager::GetTriggerValues(PList<ParameterCTValue>& values) {
    return CopyValues(m_triggerValues, values);
}
bool ParameterSetManager::GetTriggerValues(char* pText, unsigned int size) {
    return FormatValues(m_triggerValues, pText, size);
}
bool ParameterSetManager::GetTriggerValue(unsigned int id, ParameterCTValue& value) {
    return FindValue(m_triggerValues, id, value);
}
void ParameterSetManager::SetTriggerValue(const ParameterCTValue& value) {
    StoreValue(m_triggerValues, value);
}
void ParameterSetManager::SetTriggerValues(const ParameterCTValue* pValues, unsigned int count) {
    ReplaceValues(m_triggerValues, pValues, count);
}
void ParameterSetManager::SetTriggerValues(const PList<ParameterCTValue>& values) {
    ReplaceValues(m_triggerValues, values);
}
void ParameterSetManager::SetTriggerValues(const char* pText) {
    ReplaceValues(m_triggerValues, pText);
}

bool ParameterSetManager::CopyValues(PList<ParameterCTValue>& table,
                                     PList<ParameterCTValue>& values) {
    ParameterMutexLock lock(&m_valueLock, false);
    Clear(values);
    for (uint32_t i = 0; i < table.Count(); ++i) {
        if (!values.Insert(values.Count(), table[i])) {
            return false;
        }
    }
    return true;
}

bool ParameterSetManager::FormatValues(PList<ParameterCTValue>& table, char* pText,
                                       unsigned int size) {
    ParameterMutexLock lock(&m_valueLock, false);
    if (pText == nullptr || size == 0 || table.Count() == 0) {
        return false;
    }
    pText[0] = '\0';
    size_t length = 0;
    for (uint32_t i = 0; i < table.Count(); ++i) {
        char piece[kValueTextSize];
        if (!table[i].ToString(piece, sizeof(piece), true)) {
            continue;
        }
        const size_t pieceLength = std::strlen(piece);
        // The one counts the separator, or for the first piece the terminator.
        if (length + 1 + pieceLength >= size) {
            return false;
        }
        // Only index 0 goes without a separator, even when earlier values were skipped.
        if (i != 0) {
            pText[length++] = ',';
        }
        std::memcpy(pText + length, piece, pieceLength + 1);
        length += pieceLength;
    }
    return true;
}

bool ParameterSetManager::FindValue(PList<ParameterCTValue>& table, unsigned int id,
                                    ParameterCTValue& value) {
    ParameterMutexLock lock(&m_valueLock, false);
    for (uint32_t i = 0; i < table.Count(); ++i) {
        if (table[i].ID == id) {
            value = table[i];
            return true;
        }
    }
    return false;
}

void ParameterSetManager::StoreValue(PList<ParameterCTValue>& table,
                                     const ParameterCTValue& value) {
    ParameterMutexLock lock(&m_valueLock, false);
    Store(table, value);
}

void ParameterSetManager::ReplaceValues(PList<ParameterCTValue>& table,
                                        const ParameterCTValue* pValues, unsigned int count) {
    ParameterMutexLock lock(&m_valueLock, false);
    Clear(table);
    for (unsigned int i = 0; pValues != nullptr && i < count; ++i) {
        Store(table, pValues[i]);
    }
}

void ParameterSetManager::ReplaceValues(PList<ParameterCTValue>& table,
                                        const PList<ParameterCTValue>& values) {
    ParameterMutexLock lock(&m_valueLock, false);
    Clear(table);
    for (uint32_t i = 0; i < values.Count(); ++i) {
        Store(table, values[i]);
    }
}

void ParameterSetManager::ReplaceValues(PList<ParameterCTValue>& table, const char* pText) {
    ParameterMutexLock lock(&m_valueLock, false);
    Clear(table);
    // One scratch value for all pieces: a piece that does not parse enters the table with
    // Valid false under the ID of the piece before it.
    ParameterCTValue value;
    const char* pNext = pText;
    while (pNext != nullptr && *pNext != '\0') {
        char piece[kPieceTextSize];
        ParameterUtils::GetSubString(pNext, ',', piece, sizeof(piece));
        value.FromString(piece);
        Store(table, value);
        pNext = std::strchr(pNext, ',');
        if (pNext != nullptr) {
            ++pNext;
        }
    }
}
