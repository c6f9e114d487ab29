#include "json_values.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "binwriter/byte_writer.h"
#include "tool_error.h"

namespace zyratune {
namespace {

constexpr uint32_t kFloatQuietNan = 0x7fc00000u;
constexpr uint64_t kDoubleQuietNan = 0x7ff8000000000000u;

template <typename T>
Json NonFinite(T value, uint64_t quietNan) {
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
    const uint64_t bits = binwriter::ToBits(value);
    if (bits == quietNan) {
        return "nan";
    }
    char text[24];
    std::snprintf(text, sizeof(text), "0x%0*llx", static_cast<int>(2 * sizeof(T)),
                  static_cast<unsigned long long>(bits));
    return text;
}

}  // namespace

std::string ToHex(const std::vector<uint8_t>& bytes) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (uint8_t byte : bytes) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 15]);
    }
    return text;
}

std::vector<uint8_t> FromHex(const std::string& text, const std::string& where) {
    if (text.size() % 2 != 0 || text.find_first_not_of("0123456789abcdefABCDEF") !=
                                    std::string::npos) {
        throw ToolError(where + ": must be hex digits, two a byte");
    }
    auto nibble = [](char digit) {
        return static_cast<uint8_t>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
    };
    std::vector<uint8_t> bytes(text.size() / 2);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(nibble(text[2 * i]) << 4 | nibble(text[2 * i + 1]));
    }
    return bytes;
}

Json TextJson(const std::string& text) {
    Json value = text;
    try {
        (void)value.dump();
        return value;
    } catch (const Json::type_error&) {
        return Json{{"hex", ToHex(std::vector<uint8_t>(text.begin(), text.end()))}};
    }
}

std::string JsonText(const Json& value, const std::string& where) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_object() && value.size() == 1 && value.contains("hex") &&
        value["hex"].is_string()) {
        std::vector<uint8_t> bytes = FromHex(value["hex"].get<std::string>(), where + ".hex");
        return std::string(bytes.begin(), bytes.end());
    }
    throw ToolError(where + ": must be a string");
}

Json FloatJson(float value) {
    if (!std::isfinite(value)) {
        return NonFinite(value, kFloatQuietNan);
    }
    // The shortest text that reads back as the same float, so that 0.1f shows as 0.1.
    char text[32];
    std::to_chars_result result = std::to_chars(text, text + sizeof(text), value);
    *result.ptr = '\0';
    return Json(std::strtod(text, nullptr));
}

Json DoubleJson(double value) {
    return std::isfinite(value) ? Json(value) : NonFinite(value, kDoubleQuietNan);
}

uint64_t FloatBits(const Json& value, size_t width, const std::string& where) {
    const bool single = width == 4;
    if (value.is_number()) {
        const double number = value.get<double>();
        if (single && std::fabs(number) > std::numeric_limits<float>::max()) {
            throw ToolError(where + ": must be a number in range");
        }
        return single ? binwriter::ToBits(static_cast<float>(number))
                      : binwriter::ToBits(number);
    }
    const std::string text = value.is_string() ? value.get<std::string>() : "";
    const double infinity = std::numeric_limits<double>::infinity();
    if (text == "inf" || text == "-inf") {
        const double number = text == "inf" ? infinity : -infinity;
        return single ? binwriter::ToBits(static_cast<float>(number))
                      : binwriter::ToBits(number);
    }
    if (text == "nan") {
        return single ? kFloatQuietNan : kDoubleQuietNan;
    }
    if (text.size() == 2 + 2 * width && text.compare(0, 2, "0x") == 0 &&
        text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos) {
        return std::stoull(text.substr(2), nullptr, 16);
    }
    throw ToolError(where + ": must be a number");
}

}  // namespace zyratune
