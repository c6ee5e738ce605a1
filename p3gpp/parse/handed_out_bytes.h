// Texts and bytes of the parser as they are handed out.
#ifndef ZDR_P3GPP_HANDED_OUT_BYTES_H
#define ZDR_P3GPP_HANDED_OUT_BYTES_H

#include <cstdint>
#include <string_view>

#include "p3gpp/p3gpp.h"

namespace zdr::p3gpp {

// Leads into `text`. Behind a whole std::string stands its own NUL.
inline P3gppBytes bytes_of(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size())};
}

}  // namespace zdr::p3gpp

#endif
