// Packs the description of a filter for its registry entry.
#include "filter_data.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string_view>

namespace zdr::dshow {
namespace {

constexpr DWORD kLayoutVersion = 2;
constexpr size_t kHeaderSize = 16;
constexpr size_t kPinSize = 24;
constexpr size_t kTypeSize = 16;

std::span<const REGFILTERPINS> pins_of(const REGFILTER2& record) {
  return {record.rgPins, record.cPins};
}

std::span<const REGPINTYPES> types_of(const REGFILTERPINS& pin) {
  return {pin.lpMediaType, pin.lpMediaType != nullptr ? pin.nMediaTypes : 0};
}

DWORD flags_of(const REGFILTERPINS& pin) {
  DWORD flags = 0;
  if (pin.bRendered) flags |= REG_PINFLAG_B_RENDERER;
  if (pin.bOutput) flags |= REG_PINFLAG_B_OUTPUT;
  if (pin.bZero) flags |= REG_PINFLAG_B_ZERO;
  if (pin.bMany) flags |= REG_PINFLAG_B_MANY;
  return flags;
}

size_t size_before_pool(std::span<const REGFILTERPINS> pins) {
  size_t size = kHeaderSize;
  for (const REGFILTERPINS& pin : pins) size += kPinSize + kTypeSize * types_of(pin).size();
  return size;
}

class Packer {
 public:
  explicit Packer(size_t pool_start) : pool_start_(pool_start) {}

  void add_word(DWORD word) { add_low_first(word, 4); }

  // Names, and the filters that a pin connects to, are not stored.
  void add_pin(size_t index, const REGFILTERPINS& pin) {
    add_tag(index, "pi3");
    add_word(flags_of(pin));
    add_word(0);  // instances
    add_word(static_cast<DWORD>(types_of(pin).size()));
    add_word(0);  // mediums
    add_word(0);  // category
    size_t type_index = 0;
    for (const REGPINTYPES& type : types_of(pin)) {
      add_tag(type_index++, "ty3");
      add_word(0);
      add_word(pooled(type.clsMajorType));
      add_word(pooled(type.clsMinorType));
    }
  }

  std::vector<BYTE> finish() {
    for (const GUID& guid : pool_) {
      add_low_first(guid.Data1, 4);
      add_low_first(guid.Data2, 2);
      add_low_first(guid.Data3, 2);
      data_.insert(data_.end(), std::begin(guid.Data4), std::end(guid.Data4));
    }
    return std::move(data_);
  }

 private:
  void add_low_first(DWORD number, unsigned bytes) {
    for (; bytes > 0; --bytes, number >>= 8) data_.push_back(static_cast<BYTE>(number));
  }

  // The first byte counts from '0' and wraps.
  void add_tag(size_t index, std::string_view name) {
    data_.push_back(static_cast<BYTE>('0' + index));
    data_.insert(data_.end(), name.begin(), name.end());
  }

  // The offset of the GUID from the start of the data. Null is stored as GUID_NULL.
  DWORD pooled(const GUID* guid) {
    const GUID value = guid != nullptr ? *guid : GUID_NULL;
    const auto found = std::find(pool_.begin(), pool_.end(), value);
    const auto index = static_cast<size_t>(found - pool_.begin());
    if (found == pool_.end()) pool_.push_back(value);
    return static_cast<DWORD>(pool_start_ + index * sizeof(GUID));
  }

  size_t pool_start_;
  std::vector<BYTE> data_;
  std::vector<GUID> pool_;
};

}  // namespace

std::vector<BYTE> pack_filter_data(const REGFILTER2& record) {
  const std::span<const REGFILTERPINS> pins = pins_of(record);
  Packer packer(size_before_pool(pins));
  packer.add_word(kLayoutVersion);
  packer.add_word(record.dwMerit);
  packer.add_word(static_cast<DWORD>(pins.size()));
  packer.add_word(0);
  for (size_t i = 0; i < pins.size(); ++i) packer.add_pin(i, pins[i]);
  return packer.finish();
}

}  // namespace zdr::dshow
