// Status of the parser's own functions, and the one place where "out of memory" becomes a status.
#ifndef ZDR_P3GPP_STATUS_H
#define ZDR_P3GPP_STATUS_H

#include <cstdint>
#include <new>
#include <stdexcept>
#include <utility>

#include "p3gpp/p3gpp.h"

namespace zdr::p3gpp {

using Status = int32_t;  // 0 or a negative P3GPP_ERR_ code

// Runs `call`, which returns a Status; an allocation that fails inside becomes P3GPP_ERR_NO_MEMORY. Used by
// every public function, and by the box loop, whose tolerance of a damaged track includes this failure.
template <typename Call>
Status guarded(Call&& call) noexcept {
  try {
    return std::forward<Call>(call)();
  } catch (const std::bad_alloc&) {
    return P3GPP_ERR_NO_MEMORY;
  } catch (const std::length_error&) {  // a container asked for more than it can ever hold
    return P3GPP_ERR_NO_MEMORY;
  } catch (...) {
    return P3GPP_ERR_GENERIC;
  }
}

}  // namespace zdr::p3gpp

#endif
