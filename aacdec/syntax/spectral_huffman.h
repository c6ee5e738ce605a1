// Decoding of runs of quantised spectral values (ISO/IEC 14496-3, spectral_data), the hottest loop of the
// parser.
//
// The books that keep the sign bits apart from the codeword are merged with them at compile time: a codeword
// and its sign bits are one longer word of a signed book, so that every word is one look-up and the values
// come from a table. Only the escapes of book 11 are read from the stream behind the word.
#pragma once

#include <cstdint>
#include <span>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

inline constexpr int kFirstSpectralBook = 1;
inline constexpr int kLastSpectralBook = 11;

// Decodes values.size() values (a multiple of 4) of book `book` (1 to 11) from the reader's position and
// moves it. False when a word ended behind the data; the values are then meaningless. An escape prefix may
// have any length: the value keeps its low 16 bits, and a magnitude of 8192 and more is for the dequantiser
// to reject.
bool decode_spectral_values(BitReader& reader, int book, std::span<int16_t> values);

// The same without keeping the values, for measuring a frame.
bool skip_spectral_values(BitReader& reader, int book, int count);

}  // namespace zdr::aacdec
