// Selects the variant of the kernels to run. All variants produce the same bits.
#pragma once

#include <span>

namespace zdr::aacdec {

// In ascending order. kBase is what every processor of the target has: SSE2 on x86-64, NEON on AArch64.
// kAvx2 includes FMA.
enum class VectorLevel { kBase, kSse41, kAvx2 };

// The levels that this processor has.
std::span<const VectorLevel> vector_levels();

// The level to use: the highest, unless limit_vector_level() excludes it.
VectorLevel vector_level();

// Lets tests and benchmarks compare the variants. Must not be called while another thread decodes.
void limit_vector_level(VectorLevel highest);

}  // namespace zdr::aacdec
