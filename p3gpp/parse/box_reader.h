// Reads the body of one box from the file's sequential stream.
//
// A reader is bounded by its box: it never returns a byte beyond the box, remembers its first error, and
// returns zeros from then on, so that a parser can read field after field and check status() once at the end.
// Readers of nested boxes share one ParseContext.
//
// Every box parser has the signature `Status parse_x(BoxReader& reader, BoxNode& node)`: `node` has size,
// type and offset, and the reader is just past the 8-byte header. A parser need not consume the rest of its
// body: the loop over the children skips it. On failure it returns the status and leaves node.payload null.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "p3gpp/parse/big_endian.h"
#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/parse_context.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

inline constexpr uint32_t kBoxHeaderSize = 8;
inline constexpr uint32_t kFullBoxHeaderSize = 12;  // with version and flags

class BoxReader {
 public:
  // `body_size`: bytes of the box after the stream's position.
  BoxReader(ParseContext& context, uint64_t body_size) : context_(context), remaining_(body_size) {}

  Status status() const { return status_; }
  // Remembers `status` unless there is an earlier error; returns the first one.
  Status fail(Status status);

  // Bytes of this box not yet read, and how many of them the file can still supply.
  uint64_t remaining() const { return remaining_; }
  uint64_t available() const;

  // Absolute file offset of the next byte that will be read.
  uint64_t stream_position() const { return context_.position; }
  ParseContext& context() { return context_; }

  // Fills `out` or fails (and zeroes `out`): P3GPP_ERR_BOX_SIZE when the box is too short for it,
  // P3GPP_ERR_READ when the file is. Reading nothing succeeds and touches no stream.
  bool read(std::span<uint8_t> out);
  template <size_t kCount>
  std::array<uint8_t, kCount> read_array() {
    std::array<uint8_t, kCount> bytes{};
    read(bytes);
    return bytes;
  }
  uint8_t u8() { return read_array<1>()[0]; }
  uint16_t u16() { return load_be16(read_array<2>().data()); }
  uint32_t u32() { return load_be32(read_array<4>().data()); }
  uint64_t u64() { return load_be64(read_array<8>().data()); }

  // Like read(), but into memory that is allocated only if box and file can supply `count` bytes, and if all
  // boxes of the file together have no more than kMaxKeptBytes of it; else P3GPP_ERR_READ.
  std::vector<uint8_t> read_bytes(uint64_t count);
  std::string read_text(uint64_t count);
  // Like read_bytes(remaining()), but returns at most `count` bytes and skips the others.
  std::vector<uint8_t> read_front(uint64_t count);
  std::string read_rest_as_text() { return read_text(remaining_); }

  // Adds the last `count` bytes to remaining() again, although the stream has passed them. The stream is then
  // ahead of the box arithmetic; after a child of narrowed() that stops early it is short of it.
  void uncount(uint64_t count) {
    remaining_ += count;
    uncounted_ += count;
  }
  uint64_t uncounted() const { return uncounted_; }

  // Version and flags of a full box, stored in `node`.
  void read_full_box_header(BoxNode& node);

  // Seeks forward. P3GPP_ERR_BOX_SIZE if the target is beyond the box, P3GPP_ERR_SEEK if the seek fails.
  void skip(uint64_t count);
  void skip_to_end() { skip(remaining_); }

  // Returns a reader for the next `size` bytes. They count as consumed here no matter how many of them it
  // reads. A child that stops early leaves the stream short of its parent's arithmetic; deliberately, nothing
  // resyncs the two.
  BoxReader narrowed(uint64_t size);

 private:
  // True if box and file can supply `count` bytes; else remembers the error.
  bool can_supply(uint64_t count);
  // The same, and takes the bytes from what the file may still keep.
  bool may_keep(uint64_t count);

  ParseContext& context_;
  uint64_t remaining_;
  uint64_t uncounted_ = 0;
  Status status_ = P3GPP_OK;
};

// Ends a parser: moves the record into the node unless the reader failed.
template <typename Payload>
Status store_payload(const BoxReader& reader, BoxNode& node, std::unique_ptr<Payload> payload) {
  if (reader.status() == P3GPP_OK) node.payload = std::move(payload);
  return reader.status();
}

}  // namespace zdr::p3gpp
