// Selects the variant of the kernels to run. All variants produce the same bits.
#pragma once

namespace zdr::aacdec {

// True if the processor has AVX2 and allow_wide_vectors() does not exclude it.
bool use_wide_vectors();

// Lets tests and benchmarks compare the variants. Must not be called while another thread decodes.
void allow_wide_vectors(bool allowed);

}  // namespace zdr::aacdec
