// Which of the bit-equal forms of the kernels runs.
#pragma once

namespace zdr::aacdec {

// True where the processor has AVX2 and it has not been forbidden.
bool use_wide_vectors();

// For tests that compare the forms. Not while another thread decodes.
void allow_wide_vectors(bool allowed);

}  // namespace zdr::aacdec
