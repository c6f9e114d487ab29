#include "parser/runtimeschema/schema_text.h"

namespace RuntimeSchema {
namespace {

bool IsLineBreak(char c) {
    return c == '\n' || c == '\r' || c == '\v' || c == '\f' || c == '\x1c' || c == '\x1d' ||
           c == '\x1e';
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || IsLineBreak(c) || c == '\x1f'; }

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (IsLineBreak(text[i])) {
            lines.push_back(text.substr(start, i - start));
            if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
                ++i;
            }
            start = i + 1;
        }
    }
    if (start < text.size()) {
        lines.push_back(text.substr(start));
    }
    return lines;
}

std::vector<std::string> Words(const std::string& line) {
    std::vector<std::string> words;
    const size_t end = line.find('#');
    const size_t stop = end == std::string::npos ? line.size() : end;
    size_t i = 0;
    while (i < stop) {
        while (i < stop && IsBlank(line[i])) {
            ++i;
        }
        const size_t first = i;
        while (i < stop && !IsBlank(line[i])) {
            ++i;
        }
        if (i > first) {
            words.push_back(line.substr(first, i - first));
        }
    }
    return words;
}

bool IsIdentifier(const std::string& word) {
    if (word.empty() || !IsLetter(word[0])) {
        return false;
    }
    for (char c : word) {
        if (!IsLetter(c) && !IsDigit(c)) {
            return false;
        }
    }
    return true;
}

bool ReadNumber(const std::string& digits, uint64_t& value) {
    constexpr uint64_t kCap = uint64_t{1} << 63;
    if (digits.empty()) {
        return false;
    }
    value = 0;
    for (char c : digits) {
        if (!IsDigit(c)) {
            return false;
        }
        value = value >= kCap / 10 ? kCap : value * 10 + static_cast<uint64_t>(c - '0');
    }
    return true;
}

}  // namespace RuntimeSchema
