// The names of colour code points (ISO/IEC 23091-2), as other programs print them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace zdr::host {

using ColourNames = std::array<const char*, 23>;

inline constexpr ColourNames kPrimaries = {
    nullptr, "bt709",  nullptr,    nullptr,    "bt470m",   "bt470bg", "smpte170m", "smpte240m",
    "film",  "bt2020", "smpte428", "smpte431", "smpte432", nullptr,   nullptr,     nullptr,
    nullptr, nullptr,  nullptr,    nullptr,    nullptr,    nullptr,   "ebu3213"};
inline constexpr ColourNames kTransfers = {
    nullptr,     "bt709",     nullptr,     nullptr,    "bt470m",       "bt470bg", "smpte170m",
    "smpte240m", "linear",    "log100",    "log316",   "iec61966-2-4", "bt1361e", "iec61966-2-1",
    "bt2020-10", "bt2020-12", "smpte2084", "smpte428", "arib-std-b67"};
inline constexpr ColourNames kMatrices = {
    "gbr",       "bt709", nullptr,    nullptr,   "fcc",       "bt470bg",           "smpte170m",
    "smpte240m", "ycgco", "bt2020nc", "bt2020c", "smpte2085", "chroma-derived-nc", "chroma-derived-c",
    "ictcp"};

// The number of a code point without a name.
inline std::string colour_name(const ColourNames& names, uint64_t code) {
  const char* const name = code < names.size() ? names[static_cast<size_t>(code)] : nullptr;
  return name != nullptr ? name : std::to_string(code);
}

}  // namespace zdr::host
