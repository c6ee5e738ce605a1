// The class templates that the module defines, as a range.
#pragma once

#include <span>

#include "module_entry.h"

namespace zdr::dshow {

inline std::span<const CFactoryTemplate> module_templates() noexcept {
  return {g_Templates, static_cast<std::size_t>(g_cTemplates)};
}

}  // namespace zdr::dshow
