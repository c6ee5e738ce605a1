// Reads an ES_Descriptor as one fixed sequence of fields, without regard to the nesting that the sizes in it
// describe.
#include "p3gpp/api/es_descriptor.h"

#include "p3gpp/p3gpp.h"

namespace zdr::p3gpp {
namespace {

constexpr uint8_t kEsDescriptorTag = 3;
constexpr uint8_t kDecoderConfigTag = 4;
constexpr uint8_t kDecoderSpecificInfoTag = 5;
constexpr uint8_t kSlConfigTag = 6;

// Reads the bytes in order, followed by 4 zero bytes, so that a descriptor that ends early reads as "no
// further tag", not as an error. failed() is true once a read has needed more than that.
class DescriptorCursor {
 public:
  explicit DescriptorCursor(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  bool failed() const { return failed_; }

  uint8_t peek() {
    if (position_ >= bytes_.size() + kZeroPadding) failed_ = true;
    return position_ < bytes_.size() ? bytes_[position_] : uint8_t{0};
  }
  uint8_t u8() {
    const uint8_t byte = peek();
    skip(1);
    return byte;
  }
  uint32_t big_endian(int byte_count) {
    uint32_t value = 0;
    for (int i = 0; i < byte_count; ++i) value = value << 8 | u8();
    return value;
  }
  void skip(uint32_t count) {
    if (count > bytes_.size() + kZeroPadding - position_) failed_ = true;
    if (!failed_) position_ += count;
  }

  // Skips the tag if it comes next.
  bool take_tag(uint8_t tag) {
    if (peek() != tag || failed_) return false;
    skip(1);
    return true;
  }
  // Up to four groups of 7 bits, the most significant first; the top bit announces another.
  uint32_t descriptor_size() {
    uint32_t size = 0;
    for (int i = 0; i < 4; ++i) {
      const uint8_t byte = u8();
      size = size << 7 | (byte & 0x7F);
      if ((byte & 0x80) == 0) break;
    }
    return size;
  }
  // A size and as many bytes, which must all be present.
  std::span<const uint8_t> sized_bytes() {
    const uint32_t size = descriptor_size();
    if (size == 0) return {};
    if (position_ > bytes_.size() || size > bytes_.size() - position_) failed_ = true;
    if (failed_) return {};
    position_ += size;
    return bytes_.subspan(position_ - size, size);
  }

 private:
  static constexpr size_t kZeroPadding = 4;
  std::span<const uint8_t> bytes_;
  size_t position_ = 0;
  bool failed_ = false;
};

// Reads ES_ID and flags, and skips the fields that the flags announce.
void read_es_header(DescriptorCursor& cursor, EsDescriptor& result) {
  result.es_id = static_cast<uint16_t>(cursor.big_endian(2));
  const uint8_t flags = cursor.u8();
  if ((flags & 0x80) != 0) cursor.skip(2);  // depends-on ES_ID
  if ((flags & 0x40) != 0) {
    // Kept: the skip starts at the length byte, not after it, so it ends one byte before the URL does.
    cursor.skip(cursor.peek());
  }
  if ((flags & 0x20) != 0) cursor.skip(2);  // OCR ES_ID
}

void read_decoder_config(DescriptorCursor& cursor, EsDescriptor& result) {
  cursor.descriptor_size();
  result.object_type = cursor.u8();
  result.stream_type = cursor.u8() >> 2;
  cursor.skip(3);  // buffer size
  result.max_bitrate = cursor.big_endian(4);
  result.average_bitrate = cursor.big_endian(4);
}

}  // namespace

Status read_es_descriptor(std::span<const uint8_t> bytes, EsDescriptor& result) {
  DescriptorCursor cursor(bytes);
  if (!cursor.take_tag(kEsDescriptorTag)) return P3GPP_ERR_DECODER_CONFIG;
  cursor.descriptor_size();
  read_es_header(cursor, result);
  if (!cursor.take_tag(kDecoderConfigTag)) return P3GPP_ERR_DECODER_CONFIG;
  read_decoder_config(cursor, result);
  if (cursor.take_tag(kDecoderSpecificInfoTag)) {
    result.decoder_specific_info = cursor.sized_bytes();
  } else if (result.object_type == P3GPP_OTI_MPEG4_VISUAL && !cursor.failed()) {
    // Kept: the caller gets the fields read so far.
    result.lacks_visual_config = true;
    return P3GPP_ERR_DECODER_CONFIG;
  }
  if (cursor.take_tag(kSlConfigTag)) result.sl_config = cursor.sized_bytes();
  return cursor.failed() ? P3GPP_ERR_DECODER_CONFIG : P3GPP_OK;
}

}  // namespace zdr::p3gpp
