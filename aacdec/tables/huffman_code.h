// The codeword of a Huffman book, as the tables of books list it.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

struct HuffmanCode {
  uint8_t length;  // bits
  uint32_t word;   // `length` bits, right-aligned
};

}  // namespace zdr::aacdec
