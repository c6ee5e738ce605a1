// An FMGR stream with an owner: closed when the handle goes.
#ifndef ZDR_P3GPP_STREAM_HANDLE_H
#define ZDR_P3GPP_STREAM_HANDLE_H

#include <memory>

#include "fmgr/fmgr.h"

namespace zdr::p3gpp {

struct StreamCloser {
  void operator()(FMGR_Stream* stream) const noexcept { FMGR_FClose(stream); }
};
using StreamHandle = std::unique_ptr<FMGR_Stream, StreamCloser>;

}  // namespace zdr::p3gpp

#endif
