// Walks over the frames of both versions; a FrameLayout describes how they differ.
//
// Kept: the unsynchronisation flag has no effect; inserted zero bytes stay in the body.
#include "id3p/frame_walker.h"

#include <algorithm>
#include <string_view>

#include "id3p/frame_text.h"
#include "id3p/picture.h"
#include "id3p/release.h"

namespace zdr::id3p {
namespace {

struct FieldRow {
  std::string_view id;
  TextField field;
};

constexpr FieldRow kV22Fields[] = {
    {"TT2", &ID3P_Text::title}, {"TP1", &ID3P_Text::artist},  {"TAL", &ID3P_Text::album},
    {"TYE", &ID3P_Text::year},  {"COM", &ID3P_Text::comment}, {"TCO", &ID3P_Text::genre},
    {"TRK", &ID3P_Text::track}, {"TLE", &ID3P_Text::length},
};
// Kept: a user URL frame (WXXX) is read like a text frame, which yields its description.
constexpr FieldRow kV23Fields[] = {
    {"TIT2", &ID3P_Text::title},    {"TPE1", &ID3P_Text::artist},
    {"TALB", &ID3P_Text::album},    {"TYER", &ID3P_Text::year},
    {"COMM", &ID3P_Text::comment},  {"TCON", &ID3P_Text::genre},
    {"TRCK", &ID3P_Text::track},    {"TLEN", &ID3P_Text::length},
    {"TCOM", &ID3P_Text::composer}, {"TOPE", &ID3P_Text::original_artist},
    {"WXXX", &ID3P_Text::user_url},
};

struct FrameLayout {
  size_t id_bytes;
  size_t size_bytes;
  size_t flag_bytes;
  std::span<const FieldRow> fields;
  std::string_view picture_id;  // empty if pictures are not read
  ByteOrderMark mark;

  size_t header_bytes() const { return id_bytes + size_bytes + flag_bytes; }
};

constexpr FrameLayout kV22{3, 3, 0, kV22Fields, "", ByteOrderMark::kOptional};
constexpr FrameLayout kV23{4, 4, 2, kV23Fields, "APIC", ByteOrderMark::kTaken};

// Header flags that a tag must not have.
// Kept: in version 2.3 they fail the parse; in version 2.2 they leave the tag without texts.
constexpr uint8_t kV22Refused = 0x40 | 0x1F;  // compression, undefined
constexpr uint8_t kV23Refused = 0x20 | 0x1F;  // experimental, undefined
constexpr uint8_t kV23ExtendedHeader = 0x40;
constexpr size_t kExtendedSizeBytes = 4;
// Flags of an ID3v2.3 frame: compression, encryption, undefined.
// Kept: a frame with a group identity is read, and its group byte is interpreted as the encoding.
constexpr uint8_t kUnreadableFrame = 0xC0 | 0x1F;

struct Frame {
  std::string_view id;
  uint8_t flags;     // the second flag byte; 0 in version 2.2
  uint8_t encoding;  // the byte after the header; for an empty frame, the first byte of the next frame
  Bytes body;
};

uint32_t big_endian(Bytes bytes) {
  uint32_t value = 0;
  for (const uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

int32_t store_text(const FrameLayout& layout, const Frame& frame, TextField field, ID3P_Text& text) {
  const auto encoded = find_text(frame.body, frame.encoding, layout.mark);
  if (!encoded) return ID3P_OK;
  Comment stored;
  if (field == &ID3P_Text::comment) {
    stored = comment_of(*encoded);
  } else {
    stored.units = text_of(*encoded);
    stored.out_of_memory = !stored.units;
  }
  // A frame replaces an earlier one with the same ID.
  delete[](text.*field);
  text.*field = stored.units.release();
  return stored.out_of_memory ? ID3P_ERR_NO_MEMORY : ID3P_OK;
}

int32_t read_frame(const FrameLayout& layout, const Frame& frame, PictureReader& pictures, ID3P_Text& text) {
  if ((frame.flags & kUnreadableFrame) != 0) return ID3P_OK;
  if (frame.id == layout.picture_id) return pictures.read(frame.body, frame.encoding, text);
  const auto row = std::ranges::find(layout.fields, frame.id, &FieldRow::id);
  return row == layout.fields.end() ? ID3P_OK : store_text(layout, frame, row->field, text);
}

int32_t walk_frames(const FrameLayout& layout, Bytes body, ID3P_Text& text) {
  const size_t header_bytes = layout.header_bytes();
  PictureReader pictures;
  while (body.size() > header_bytes) {
    const uint32_t size = big_endian(body.subspan(layout.id_bytes, layout.size_bytes));
    if (body[0] == 0 || size > body.size() - header_bytes) return ID3P_OK;
    const Frame frame{{reinterpret_cast<const char*>(body.data()), layout.id_bytes},
                      layout.flag_bytes == 0 ? uint8_t{0} : body[header_bytes - 1],
                      body[header_bytes],
                      body.subspan(header_bytes, size)};
    const int32_t status = read_frame(layout, frame, pictures, text);
    if (status != ID3P_OK) return status;
    body = body.subspan(header_bytes + size);
  }
  return ID3P_OK;
}

// Kept: the last three bytes of the size are signed, so for a larger extended header the position is wrong.
int64_t first_frame_after_extended_header(Bytes body) {
  int64_t size = int64_t{body[0]} << 24;
  for (size_t i = 1; i < kExtendedSizeBytes; ++i) {
    size += int64_t{static_cast<int8_t>(body[i])} * (int64_t{1} << (8 * (kExtendedSizeBytes - 1 - i)));
  }
  return size + int64_t{kExtendedSizeBytes};
}

}  // namespace

int32_t walk_v22_frames(uint8_t flags, Bytes body, ID3P_Text& text) {
  if ((flags & kV22Refused) != 0) return ID3P_ERR_FAILED;
  return walk_frames(kV22, body, text);
}

int32_t walk_v23_frames(uint8_t flags, Bytes body, ID3P_Text& text) {
  if ((flags & kV23Refused) != 0) return ID3P_ERR_FAILED;
  if ((flags & kV23ExtendedHeader) != 0) {
    if (body.size() < kExtendedSizeBytes) return ID3P_OK;
    const int64_t start = first_frame_after_extended_header(body);
    if (start < 0 || start > static_cast<int64_t>(body.size())) return ID3P_OK;
    body = body.subspan(static_cast<size_t>(start));
  }
  return walk_frames(kV23, body, text);
}

}  // namespace zdr::id3p
