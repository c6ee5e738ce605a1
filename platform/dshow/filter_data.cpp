#include "filter_data.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

namespace zdr::dshow {
namespace {

constexpr DWORD kLayoutVersion = 2;
constexpr size_t kHeaderSize = 16;
constexpr size_t kPinSize = 24;
constexpr size_t kTypeSize = 16;
constexpr size_t kMediumSize = 4;

std::span<const REGPINTYPES> types_of(const REGFILTERPINS2& pin) {
  return {pin.lpMediaType, pin.lpMediaType != nullptr ? pin.nMediaTypes : 0};
}
std::span<const REGPINMEDIUM> mediums_of(const REGFILTERPINS2& pin) {
  return {pin.lpMedium, pin.lpMedium != nullptr ? pin.nMediums : 0};
}

// Names and the filters to connect to are not kept.
REGFILTERPINS2 as_version_2(const REGFILTERPINS& pin) {
  REGFILTERPINS2 result{};
  if (pin.bRendered) result.dwFlags |= REG_PINFLAG_B_RENDERER;
  if (pin.bOutput) result.dwFlags |= REG_PINFLAG_B_OUTPUT;
  if (pin.bZero) result.dwFlags |= REG_PINFLAG_B_ZERO;
  if (pin.bMany) result.dwFlags |= REG_PINFLAG_B_MANY;
  result.nMediaTypes = pin.nMediaTypes;
  result.lpMediaType = pin.lpMediaType;
  return result;
}

std::vector<REGFILTERPINS2> pins_of(const REGFILTER2& record) {
  if (record.dwVersion == 2) return {record.rgPins2, record.rgPins2 + record.cPins2};
  std::vector<REGFILTERPINS2> pins;
  for (const REGFILTERPINS& pin : std::span(record.rgPins, record.cPins)) pins.push_back(as_version_2(pin));
  return pins;
}

size_t size_of_records(std::span<const REGFILTERPINS2> pins) {
  size_t size = kHeaderSize;
  for (const REGFILTERPINS2& pin : pins) {
    size += kPinSize + kTypeSize * types_of(pin).size() + kMediumSize * mediums_of(pin).size();
  }
  return size;
}

class Packer {
 public:
  explicit Packer(size_t size_of_records) : pool_start_(size_of_records) {}

  void add_pin(size_t index, const REGFILTERPINS2& pin) {
    add_tag(index, "pi3");
    add_word(pin.dwFlags);
    add_word(pin.cInstances);
    add_word(static_cast<DWORD>(types_of(pin).size()));
    add_word(static_cast<DWORD>(mediums_of(pin).size()));
    add_word(pin.clsPinCategory != nullptr ? pooled(*pin.clsPinCategory) : 0);
    size_t type_index = 0;
    for (const REGPINTYPES& type : types_of(pin)) {
      add_tag(type_index++, "ty3");
      add_word(0);
      add_word(pooled_or_null(type.clsMajorType));
      add_word(pooled_or_null(type.clsMinorType));
    }
    for (const REGPINMEDIUM& medium : mediums_of(pin)) add_word(pooled(medium));
  }
  void add_word(DWORD word) { append(data_, word); }

  std::vector<BYTE> finish() {
    data_.insert(data_.end(), pool_.begin(), pool_.end());
    return std::move(data_);
  }

 private:
  template <class Record>
  static void append(std::vector<BYTE>& out, const Record& record) {
    const auto* first = reinterpret_cast<const BYTE*>(&record);
    out.insert(out.end(), first, first + sizeof record);
  }

  // The first byte counts from '0', as far as a byte counts.
  void add_tag(size_t index, const char* name) {
    data_.push_back(static_cast<BYTE>('0' + index));
    data_.insert(data_.end(), name, name + 3);
  }

  // The offset of the record from the start of the data.
  template <class Record>
  DWORD pooled(const Record& record) {
    std::vector<BYTE> bytes;
    append(bytes, record);
    for (const Pooled& known : pooled_) {
      const auto start = pool_.begin() + static_cast<ptrdiff_t>(known.offset);
      if (known.size == bytes.size() && std::equal(bytes.begin(), bytes.end(), start))
        return static_cast<DWORD>(pool_start_ + known.offset);
    }
    pooled_.push_back({pool_.size(), bytes.size()});
    pool_.insert(pool_.end(), bytes.begin(), bytes.end());
    return static_cast<DWORD>(pool_start_ + pooled_.back().offset);
  }
  DWORD pooled_or_null(const GUID* guid) { return pooled(guid != nullptr ? *guid : GUID_NULL); }

  struct Pooled {
    size_t offset;  // in pool_
    size_t size;
  };

  size_t pool_start_;
  std::vector<BYTE> data_;
  std::vector<BYTE> pool_;
  std::vector<Pooled> pooled_;
};

}  // namespace

std::vector<BYTE> pack_filter_data(const REGFILTER2& record) {
  const std::vector<REGFILTERPINS2> pins = pins_of(record);
  Packer packer(size_of_records(pins));
  packer.add_word(kLayoutVersion);
  packer.add_word(record.dwMerit);
  packer.add_word(static_cast<DWORD>(pins.size()));
  packer.add_word(0);
  for (size_t i = 0; i < pins.size(); ++i) packer.add_pin(i, pins[i]);
  return packer.finish();
}

}  // namespace zdr::dshow
