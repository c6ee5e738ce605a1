// Passes the fields of a record to a visitor, one after the other: BoxPayload::describe() calls these
// functions. Nothing is stored, so a box with many entries costs no memory.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/box_node.h"

namespace zdr::p3gpp {

// The result points into `text`. The bytes of a whole std::string are followed by its own NUL.
inline P3gppBytes bytes_of(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size())};
}

class BoxFields {
 public:
  // `visitor` must have a `field` function.
  explicit BoxFields(const P3gppBoxVisitor& visitor) : visitor_(visitor) {}

  void number(const char* name, uint64_t value) { emit(name, P3GPP_FIELD_NUMBER, value, {}); }
  void integer(const char* name, int32_t value) {
    emit(name, P3GPP_FIELD_SIGNED, static_cast<uint64_t>(int64_t{value}), {});
  }
  void fixed(const char* name, uint32_t value) { emit(name, P3GPP_FIELD_FIXED, value, {}); }
  void language(uint16_t packed) { emit("language", P3GPP_FIELD_LANGUAGE, packed, {}); }
  // Passes only the first four characters of `value`.
  void type(const char* name, const std::array<char, 5>& value) {
    emit(name, P3GPP_FIELD_TYPE, 0, {value.data(), 4});
  }
  void text(const char* name, std::string_view value) { emit(name, P3GPP_FIELD_TEXT, 0, value); }
  void bytes(const char* name, std::string_view value) { emit(name, P3GPP_FIELD_BYTES, 0, value); }
  void bytes(const char* name, std::span<const uint8_t> value) {
    bytes(name, std::string_view(reinterpret_cast<const char*>(value.data()), value.size()));
  }
  // A time or duration of a full box of `version`.
  void time(const char* name, const FileTime& value, uint8_t version) {
    number(name, version == 1 ? uint64_t{value.first} << 32 | value.second : value.first);
  }

  // Starts the next entry of a list: the fields that follow belong to it.
  void next_entry() { ++entry_; }

 private:
  void emit(const char* name, int32_t kind, uint64_t number, std::string_view bytes) {
    const P3gppBoxField field{name, entry_, kind, number, bytes_of(bytes)};
    visitor_.field(visitor_.caller, &field);
  }

  const P3gppBoxVisitor& visitor_;
  uint32_t entry_ = 0;
};

}  // namespace zdr::p3gpp
