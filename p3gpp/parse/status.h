// The status type of the parser, and the one place that turns "out of memory" into a status.
#pragma once

#include <cstdint>
#include <new>
#include <stdexcept>
#include <utility>

#include "p3gpp/p3gpp.h"

namespace zdr::p3gpp {

using Status = int32_t;  // 0 or a negative P3GPP_ERR_ code

// Runs `call`, which returns a Status; a failed allocation inside it becomes P3GPP_ERR_NO_MEMORY. Used by
// every public function that allocates, and by the box loop, which tolerates a later track that fails this
// way too.
template <typename Call>
Status guarded(Call&& call) noexcept {
  try {
    return std::forward<Call>(call)();
  } catch (const std::bad_alloc&) {
    return P3GPP_ERR_NO_MEMORY;
  } catch (const std::length_error&) {  // more elements than the container can ever hold
    return P3GPP_ERR_NO_MEMORY;
  } catch (...) {
    return P3GPP_ERR_GENERIC;
  }
}

}  // namespace zdr::p3gpp
