// Reads the fixed fields of an ID3v1 tag.
#include "id3p/id3v1.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "os/os.h"

namespace zdr::id3p {
namespace {

struct V1Field {
  size_t offset;
  uint32_t length;  // characters
  char16_t* ID3P_Text::*destination;
};

// Kept: the genre is the byte as a character, not the name for that number.
constexpr V1Field kGenre{127, 1, &ID3P_Text::genre};
constexpr uint8_t kNoGenre = 0xFF;

constexpr V1Field kFields[] = {
    {3, 30, &ID3P_Text::title}, {33, 30, &ID3P_Text::artist},  {63, 30, &ID3P_Text::album},
    {93, 4, &ID3P_Text::year},  {97, 30, &ID3P_Text::comment}, kGenre,
};

}  // namespace

bool is_v1_tag(std::span<const uint8_t, kV1TagBytes> bytes) {
  return std::memcmp(bytes.data(), "TAG", 3) == 0;
}

bool read_v1_tag(std::span<const uint8_t, kV1TagBytes> bytes, ID3P_Text& text) {
  // A full field has no terminator; the appended one terminates the last field.
  char terminated[kV1TagBytes + 1] = {};
  std::copy(bytes.begin(), bytes.end(), terminated);
  for (const V1Field& field : kFields) {
    const bool is_genre = field.destination == kGenre.destination;
    if (is_genre && bytes[field.offset] == kNoGenre) continue;
    auto* const units = new (std::nothrow) char16_t[field.length + 1]();
    if (units == nullptr) return false;
    text.*field.destination = units;
    OS_AnsiToWide(terminated + field.offset, units, field.length);
  }
  return true;
}

}  // namespace zdr::id3p
