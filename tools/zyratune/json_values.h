// How the tool's JSON spells what JSON cannot hold as it is: bytes as hex text, texts that are
// no UTF-8 as {"hex": ...}, and floating-point values that are no numbers as text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace zyratune {

using Json = nlohmann::ordered_json;

std::string ToHex(const std::vector<uint8_t>& bytes);
// ToolError naming `where` for text that is no even run of hex digits.
std::vector<uint8_t> FromHex(const std::string& text, const std::string& where);

// A text as a JSON string, or {"hex": ...} when it is no UTF-8.
Json TextJson(const std::string& text);
// The reverse of TextJson; ToolError naming `where` for anything else.
std::string JsonText(const Json& value, const std::string& where);

// Finite values as numbers; infinities as "inf" and "-inf", the quiet NaN as "nan", and any
// other NaN as the hex text of its bits ("0x7fc00001").
Json FloatJson(float value);
Json DoubleJson(double value);
// The bits of a float or double (`width` 4 or 8) that `value` spells; ToolError naming `where`
// for a value that is no number of that type.
uint64_t FloatBits(const Json& value, size_t width, const std::string& where);

}  // namespace zyratune
