#include "parser/runtimeschema/schema_text.h"

#include <set>
#include <utility>

namespace RuntimeSchema {
namespace {

bool IsLineBreak(char c) {
    return c == '\n' || c == '\r' || c == '\v' || c == '\f' || c == '\x1c' || c == '\x1d' ||
           c == '\x1e';
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || IsLineBreak(c) || c == '\x1f'; }

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr uint64_t kUInt32Max = 0xFFFFFFFF;

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

bool ReadVersion(const std::string& word, Version& version, std::string& problem) {
    const size_t first = word.find('.');
    const size_t second = first == std::string::npos ? first : word.find('.', first + 1);
    uint64_t parts[3] = {};
    if (second == std::string::npos || !ReadNumber(word.substr(0, first), parts[0]) ||
        !ReadNumber(word.substr(first + 1, second - first - 1), parts[1]) ||
        !ReadNumber(word.substr(second + 1), parts[2])) {
        problem = "'" + word + "' is not a version A.B.C";
        return false;
    }
    if (parts[0] > 0xFFFF || parts[1] > 0xFFFF || parts[2] > kUInt32Max) {
        problem = "version part out of range";
        return false;
    }
    version = {static_cast<uint16_t>(parts[0]), static_cast<uint16_t>(parts[1]),
               static_cast<uint32_t>(parts[2])};
    return true;
}

bool ReadEnumValues(const std::vector<std::string>& words, size_t first,
                    std::vector<ParameterEngine::EnumRange>& ranges, std::string& problem) {
    std::set<std::pair<uint64_t, uint64_t>> values;
    for (size_t i = first; i < words.size(); ++i) {
        const std::string& word = words[i];
        const size_t dash = word.find('-');
        const bool range = dash != std::string::npos;
        uint64_t low = 0;
        uint64_t high = 0;
        if (!ReadNumber(word.substr(0, dash), low) ||
            (range && !ReadNumber(word.substr(dash + 1), high))) {
            problem = "'" + word + "' is not a value or a range of values";
            return false;
        }
        if (!range) {
            high = low;
        }
        if (high < low || high > kUInt32Max) {
            problem = "bad range '" + word + "'";
            return false;
        }
        for (const auto& value : values) {
            if (!(high < value.first || low > value.second)) {
                problem = "'" + word + "' overlaps another value";
                return false;
            }
        }
        values.emplace(low, high);
    }
    // Adjacent ranges join, so 75 76 is kept as 75-76.
    for (const auto& value : values) {
        if (!ranges.empty() && uint64_t{ranges.back().last} + 1 == value.first) {
            ranges.back().last = static_cast<uint32_t>(value.second);
        } else {
            ranges.push_back(
                {static_cast<uint32_t>(value.first), static_cast<uint32_t>(value.second)});
        }
    }
    return true;
}

}  // namespace RuntimeSchema
