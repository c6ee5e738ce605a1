// Reads arbitrary bytes as the registry's file. What can be read is written and read back unchanged; what
// cannot has a reason and a line of the text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "platform/win32/runtime/registry/export_text.h"

namespace zdr::fuzz {
namespace {

using namespace platform;

constexpr ExportLimits kLimits{.bytes = 4u << 20};

bool is_equal(const RegistryKey& a, const RegistryKey& b) {
  return a.values == b.values && std::equal(a.children.begin(), a.children.end(), b.children.begin(),
                                            b.children.end(), [](const auto& left, const auto& right) {
                                              return left.first == right.first &&
                                                     is_equal(*left.second, *right.second);
                                            });
}

void check_fault(const std::string& text, const TextFault& fault) {
  const auto breaks = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
  require(fault.reason != nullptr && *fault.reason != '\0', "a text that cannot be read has a reason");
  require(fault.line >= 1 && fault.line <= breaks + 1, "the reason has a line of the text");
}

void check_round_trip(const RegistryKey& top) {
  std::string written;
  if (!write_export(top, kLimits, written)) return;
  RegistryKey again;
  TextFault fault;
  require(read_export(written, again, fault), "what was written can be read");
  require(is_equal(top, again), "what is read back is what was written");
}

}  // namespace
}  // namespace zdr::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zdr::fuzz;
  const std::string text(reinterpret_cast<const char*>(data), size);
  RegistryKey top;
  TextFault fault;
  if (read_export(text, top, fault)) {
    check_round_trip(top);
  } else {
    check_fault(text, fault);
  }
  return 0;
}
