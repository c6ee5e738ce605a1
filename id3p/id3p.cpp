// ID3P_Parse: finds the tags of a file and reads them.
#include "id3p/id3p.h"

#include <array>
#include <memory>
#include <new>
#include <string_view>

#include "id3p/callback_file.h"
#include "id3p/frame_walker.h"
#include "id3p/id3v1.h"

namespace zdr::id3p {
namespace {

// Identifies the version of the parser in every binary that contains it.
[[gnu::used]] constexpr char kVersionMarker[] = "VERSION=ID3P_3_2_0";

constexpr uint32_t kHeaderBytes = 10;
constexpr uint8_t kFooterFlag = 0x10;

struct V2Header {
  uint8_t version;
  uint8_t flags;
  uint32_t body_size;
  uint32_t tag_size() const { return body_size + kHeaderBytes; }
};

using FrameWalker = int32_t (*)(uint8_t flags, std::span<const uint8_t> body, ID3P_Text& text);

// Kept: the top bit of each byte counts, although a syncsafe number has 7 bits per byte.
uint32_t syncsafe(const uint8_t* bytes) {
  return bytes[0] * 0x200000u + bytes[1] * 0x4000u + bytes[2] * 0x80u + bytes[3];
}

ID3P_Tag* make_tag(uint32_t size) {
  auto* const tag = new (std::nothrow) ID3P_Tag{};
  if (tag == nullptr) return nullptr;
  tag->text.release = &ID3P_FreeTag;
  tag->size = size;
  return tag;
}

int32_t parse_v1(const CallbackFile& file, ID3P_TagSet& tags) {
  std::array<uint8_t, kV1TagBytes> bytes{};
  if (!file.seek_from_end(-int32_t{kV1TagBytes}) || !file.read_whole(bytes)) return ID3P_OK;
  if (!is_v1_tag(bytes)) return ID3P_OK;
  tags.v1 = make_tag(kV1TagBytes);
  if (tags.v1 == nullptr) return ID3P_ERR_NO_MEMORY;
  return read_v1_tag(bytes, tags.v1->text) ? ID3P_OK : ID3P_ERR_NO_MEMORY;
}

// Kept: a tag that claims more bytes than the file holds fails like the short read it would cause, before
// memory is allocated for it.
bool is_in_file(const CallbackFile& file, const V2Header& header) {
  return header.tag_size() <= file.size();
}

int32_t parse_frames(const CallbackFile& file, const V2Header& header, FrameWalker walk, ID3P_Tag*& tag) {
  tag = make_tag(header.tag_size());
  if (tag == nullptr) return ID3P_ERR_NO_MEMORY;
  if (!is_in_file(file, header)) return ID3P_ERR_SHORT_READ;
  const std::unique_ptr<uint8_t[]> body(new (std::nothrow) uint8_t[header.body_size]);
  // Kept: if the body cannot be allocated, the tag has no texts.
  if (!body) return ID3P_OK;
  const std::span<uint8_t> bytes(body.get(), header.body_size);
  if (!file.read_whole(bytes)) return ID3P_ERR_SHORT_READ;
  return walk(header.flags, bytes, tag->text);
}

int32_t parse_v24(const CallbackFile& file, const V2Header& header, ID3P_TagSet& tags) {
  tags.v24 = new (std::nothrow) ID3P_V24Info{};
  if (tags.v24 == nullptr) return ID3P_ERR_NO_MEMORY;
  // Kept: the tag is measured, not read, and a footer does not count in its size.
  *tags.v24 = {header.tag_size(), static_cast<uint8_t>(header.flags & kFooterFlag)};
  if (!is_in_file(file, header)) return ID3P_ERR_SHORT_READ;
  return file.seek_to(header.tag_size()) ? ID3P_OK : ID3P_ERR_SHORT_READ;
}

int32_t parse_v2(const CallbackFile& file, ID3P_TagSet& tags) {
  std::array<uint8_t, kHeaderBytes> bytes{};
  if (!file.seek_to(0)) return ID3P_ERR_FAILED;
  if (!file.read_whole(bytes)) return ID3P_OK;
  if (std::string_view(reinterpret_cast<const char*>(bytes.data()), 3) != "ID3") return ID3P_OK;
  const V2Header header{bytes[3], bytes[5], syncsafe(&bytes[6])};
  switch (header.version) {
    case 2: {
      const int32_t status = parse_frames(file, header, &walk_v22_frames, tags.v22);
      // Kept: failures within the frames of this version are ignored.
      const bool is_readable = status != ID3P_ERR_SHORT_READ && tags.v22 != nullptr;
      return is_readable ? ID3P_OK : status;
    }
    case 3:
      return parse_frames(file, header, &walk_v23_frames, tags.v23);
    case 4:
      return parse_v24(file, header, tags);
    default:
      return ID3P_OK;
  }
}

}  // namespace
}  // namespace zdr::id3p

using namespace zdr::id3p;

int32_t ID3P_Parse(void* handle, const AACF_FileIo* io, ID3P_TagSet* tags) noexcept {
  if (tags == nullptr) return ID3P_ERR_FAILED;
  *tags = {};
  if (handle == nullptr || io == nullptr) return ID3P_ERR_FAILED;
  const CallbackFile file(handle, *io);
  const int32_t status = parse_v1(file, *tags);
  return status == ID3P_OK ? parse_v2(file, *tags) : status;
}
