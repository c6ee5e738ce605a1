// Registers one filter with the filter mapper, by its setup record.
#pragma once

#include "registration.h"

namespace zdr::dshow {

// Registers the filter in the default category under its own identifier, replacing an existing entry.
HRESULT register_filter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& setup);
// Returns S_OK also when the filter is not registered.
HRESULT unregister_filter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& setup);

}  // namespace zdr::dshow
