// How a record tells its fields to whoever looks into a file: BoxPayload::describe() calls these, one after
// the other. Nothing is stored, so a box with many entries costs no memory.
#ifndef ZDR_P3GPP_BOX_FIELDS_H
#define ZDR_P3GPP_BOX_FIELDS_H

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/handed_out_bytes.h"

namespace zdr::p3gpp {

class BoxFields {
 public:
  // `visitor` has a `field` function.
  explicit BoxFields(const P3gppBoxVisitor& visitor) : visitor_(visitor) {}

  void number(const char* name, uint64_t value) { tell(name, P3GPP_FIELD_NUMBER, value, {}); }
  void integer(const char* name, int32_t value) {
    tell(name, P3GPP_FIELD_SIGNED, static_cast<uint64_t>(int64_t{value}), {});
  }
  void fixed(const char* name, uint32_t value) { tell(name, P3GPP_FIELD_FIXED, value, {}); }
  void language(uint16_t packed) { tell("language", P3GPP_FIELD_LANGUAGE, packed, {}); }
  // The first four of the characters.
  void type(const char* name, const std::array<char, 5>& value) {
    tell(name, P3GPP_FIELD_TYPE, 0, {value.data(), 4});
  }
  void text(const char* name, std::string_view value) { tell(name, P3GPP_FIELD_TEXT, 0, value); }
  void bytes(const char* name, std::string_view value) { tell(name, P3GPP_FIELD_BYTES, 0, value); }
  void bytes(const char* name, std::span<const uint8_t> value) {
    bytes(name, std::string_view(reinterpret_cast<const char*>(value.data()), value.size()));
  }
  // A time or duration of a full box of `version`.
  void time(const char* name, const FileTime& value, uint8_t version) {
    number(name, version == 1 ? uint64_t{value.first} << 32 | value.second : value.first);
  }

  // The fields that follow are those of the next entry of a list.
  void next_entry() { ++entry_; }

 private:
  void tell(const char* name, int32_t kind, uint64_t number, std::string_view bytes) {
    const P3gppBoxField field{name, entry_, kind, number, bytes_of(bytes)};
    visitor_.field(visitor_.caller, &field);
  }

  const P3gppBoxVisitor& visitor_;
  uint32_t entry_ = 0;
};

}  // namespace zdr::p3gpp

#endif
