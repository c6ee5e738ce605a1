// Decodes runs of quantised spectral values (ISO/IEC 14496-3, 4.6.3), the hottest loop of the parser.
//
// Where a book transmits sign bits after the codeword, codeword and sign bits are merged at compile time into
// one longer word of a signed book: every word is one lookup, and the values come from a table. Only the
// escapes of book 11 are read separately.
#pragma once

#include <cstdint>
#include <span>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

inline constexpr int kFirstSpectralBook = 1;
inline constexpr int kLastSpectralBook = 11;

// Reads values.size() values (a multiple of 4) of book `book` (1 to 11). False if a word extends past the end
// of the data; the values are unspecified then. Magnitudes of 8192 and more are invalid; the dequantiser
// rejects them.
bool decode_spectral_values(BitReader& reader, int book, std::span<int16_t> values);

struct SpectralRun {
  uint16_t book;
  uint16_t count;  // of values
};

// Passes over the values of several runs, for measuring a frame. False as above.
bool skip_spectral_values(BitReader& reader, std::span<const SpectralRun> runs);

}  // namespace zdr::aacdec
