// ID3P_Parse: which tags a file has, and where they end.
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

// Stays in every program that reads tags, so that the version can be told from the binary.
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

// Kept: the top bit of each size byte counts, though a syncsafe number has none.
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

// A size beyond the file is answered like the read that would come back short, without taking memory for it.
bool is_in_file(const CallbackFile& file, const V2Header& header) {
  return header.tag_size() <= file.size();
}

int32_t parse_frames(const CallbackFile& file, const V2Header& header, FrameWalker walk, ID3P_Tag*& tag) {
  tag = make_tag(header.tag_size());
  if (tag == nullptr) return ID3P_ERR_NO_MEMORY;
  if (!is_in_file(file, header)) return ID3P_ERR_SHORT_READ;
  const std::unique_ptr<uint8_t[]> body(new (std::nothrow) uint8_t[header.body_size]);
  // Kept: a tag without room for its body is one without texts.
  if (body == nullptr) return ID3P_OK;
  const std::span<uint8_t> bytes(body.get(), header.body_size);
  if (!file.read_whole(bytes)) return ID3P_ERR_SHORT_READ;
  return walk(header.flags, bytes, tag->text);
}

int32_t parse_v24(const CallbackFile& file, const V2Header& header, ID3P_TagSet& tags) {
  tags.v24 = new (std::nothrow) ID3P_V24Info{};
  if (tags.v24 == nullptr) return ID3P_ERR_NO_MEMORY;
  // Kept: the footer is told, but its ten bytes are not counted.
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
      // Kept: faults inside of a tag of this version don't matter.
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
