// Copying low bands up through the whitening filter, eight slots at a time.
//
// For kernel files only, see fixed_lanes.h.
#pragma once

#include "aacdec/sbr_kernels.h"
#include "aacdec/wide_lanes.h"

namespace zdr::aacdec {
namespace {

uint32_t patch(QmfMatrix& bands, const PatchFilter& filter) {
  const int32_t* const re = bands.re[filter.source];
  const int32_t* const im = bands.im[filter.source];
  const Lanes tap1_re = broadcast(filter.tap1_re);
  const Lanes tap1_im = broadcast(filter.tap1_im);
  const Lanes tap2_re = broadcast(filter.tap2_re);
  const Lanes tap2_im = broadcast(filter.tap2_im);
  Lanes used{};
  for (int s = kLeadSlots; s < kRowSlots; s += kLanes) {
    const ComplexLanes one{load(re + s - 1), load(im + s - 1)};
    const ComplexLanes two{load(re + s - 2), load(im + s - 2)};
    const WideLanes sum_re = widened(load(re + s), 28) + wide_product(one.re, tap1_re) -
                             wide_product(one.im, tap1_im) + wide_product(two.re, tap2_re) -
                             wide_product(two.im, tap2_im);
    const WideLanes sum_im = widened(load(im + s), 28) + wide_product(one.re, tap1_im) +
                             wide_product(one.im, tap1_re) + wide_product(two.re, tap2_im) +
                             wide_product(two.im, tap2_re);
    const ComplexLanes out{narrowed(sum_re, filter.shift), narrowed(sum_im, filter.shift)};
    store(bands.re[filter.target] + s, out.re);
    store(bands.im[filter.target] + s, out.im);
    used |= (out.re ^ sign_mask(out.re)) | (out.im ^ sign_mask(out.im));
  }
  return any_bits(used);
}

}  // namespace
}  // namespace zdr::aacdec
