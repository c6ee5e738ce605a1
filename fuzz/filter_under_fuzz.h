// The source filter as a host gets it, in a session of its own.
#pragma once

#include <dshow.h>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "fuzz/require.h"
#include "platform/com/com_ptr.h"
#include "platform/dshow/module_entry.h"
#include "platform/win32/session.h"

namespace zdr::fuzz {

inline com::ComPtr<IBaseFilter> new_source_filter() {
  static const bool is_private = platform::set_private_session();
  require(is_private, "the session is private");
  com::ComPtr<IClassFactory> factory;
  com::ComPtr<IBaseFilter> filter;
  require(DllGetClassObject(mp4source::kClsidSourceFilter, IID_IClassFactory, factory.out_void()) == S_OK,
          "the module has the class");
  require(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.out_void()) == S_OK,
          "the module makes a filter");
  return filter;
}

}  // namespace zdr::fuzz
