#include "parser/livetuning/dialin_request_text.h"

#include <cstring>

namespace {

std::string Part(const std::string& text, size_t start, size_t end) {
    if (start >= text.size()) {
        return {};
    }
    const size_t length = (end == std::string::npos ? text.size() : end) - start;
    return text.substr(start, length < DialinRequestText::kMaxPart ? length
                                                                    : DialinRequestText::kMaxPart);
}

}  // namespace

DialinRequestText::DialinRequestText(const unsigned char* pPayload, unsigned int size) {
    const void* pNul = pPayload != nullptr ? std::memchr(pPayload, '\0', size) : nullptr;
    const size_t length = pNul != nullptr
                              ? static_cast<size_t>(static_cast<const unsigned char*>(pNul) - pPayload)
                              : (pPayload != nullptr ? size : 0);
    const std::string text(reinterpret_cast<const char*>(pPayload), length);
    const size_t first = text.find(':');
    Path = Part(text, 0, first);
    if (first == std::string::npos) {
        return;
    }
    const size_t second = text.find(':', first + 1);
    Module = Part(text, first + 1, second);
    HasModule = true;
    if (second != std::string::npos) {
        Rest = Part(text, second + 1, std::string::npos);
        HasRest = true;
    }
}
