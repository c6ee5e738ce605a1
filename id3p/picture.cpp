// Reads the body of a picture frame: encoding, MIME type, zero, picture type, description, zero, image.
//
// Kept: the fields are not read in that order but found by searching for "image/" and for the signature of an
// image. Bytes outside the body read as zero.
#include "id3p/picture.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <optional>
#include <string_view>

#include "id3p/messages.h"
#include "id3p/release.h"

namespace zdr::id3p {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kHeadBytes = 4;
constexpr size_t kEncodingOffset = 4;
constexpr size_t kMimeStartBytes = 7;    // "image/p" and "image/j"
constexpr size_t kMimeBufferBytes = 12;  // room for "image/jpeg" and a terminator
// Kept: from the "i" of "image/png" to the picture type; for "image/jpeg" this is the terminator.
constexpr size_t kTypeDistance = 10;

uint8_t byte_at(Bytes body, size_t offset) {
  return offset < body.size() ? body[offset] : uint8_t{0};
}

struct ImageStart {
  size_t offset;
  uint32_t format;
};

constexpr uint8_t kGif[] = {0x47, 0x49, 0x46};
constexpr uint8_t kPng[] = {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A};
constexpr uint8_t kJpeg[] = {0xFF, 0xD8, 0xFF};

template <size_t kSize>
bool starts_with(Bytes bytes, const uint8_t (&signature)[kSize]) {
  return bytes.size() >= kSize && std::equal(std::begin(signature), std::end(signature), bytes.begin());
}

std::optional<ImageStart> find_image(Bytes body) {
  for (size_t at = 0; at < body.size(); ++at) {
    const Bytes rest = body.subspan(at);
    if (starts_with(rest, kGif)) return ImageStart{at, ID3P_PICTURE_GIF};
    if (starts_with(rest, kPng)) return ImageStart{at, ID3P_PICTURE_PNG};
    if (starts_with(rest, kJpeg)) return ImageStart{at, ID3P_PICTURE_JPEG};
  }
  return std::nullopt;
}

// Allocates zeroed memory for a field. Prints `failure` when out of memory, unless that is null.
template <typename Byte>
bool make(Byte*& buffer, size_t size, const char* failure) {
  buffer = new (std::nothrow) Byte[size]();
  if (buffer == nullptr && failure != nullptr) print(failure);
  return buffer != nullptr;
}

bool make_fixed_buffers(ID3P_Picture& picture) {
  return make(picture.head, kHeadBytes, nullptr) &&
         make(picture.text_encoding, 1, "\n TextEncoding  malloc Fail") &&
         make(picture.mime_type, kMimeBufferBytes, "\n MIMEType  malloc Fail") &&
         make(picture.picture_type, 1, "\n PictureType  malloc Fail");
}

// Returns the offset of the MIME type, found by its first letter; 0 if there is no "image/p" or "image/j".
size_t read_mime_type(Bytes body, ID3P_Picture& picture) {
  for (size_t at = 0; at < body.size(); ++at) {
    if (body[at] != 'i') continue;
    for (size_t i = 0; i < kMimeStartBytes; ++i)
      picture.mime_type[i] = static_cast<char>(byte_at(body, at + i));
    const std::string_view start(picture.mime_type, kMimeStartBytes);
    const std::string_view end = start == "image/p" ? "ng" : start == "image/j" ? "peg" : "";
    if (end.empty()) continue;
    end.copy(picture.mime_type + kMimeStartBytes, end.size());
    *picture.picture_type = byte_at(body, at + kTypeDistance);
    return at;
  }
  return 0;
}

// Kept: the description begins with the picture type.
int32_t read_description(Bytes body, size_t begin, size_t end, ID3P_Picture& picture) {
  if (end <= begin) return ID3P_OK;
  if (!make(picture.description, end - begin, "\n Description  malloc Fail")) return ID3P_ERR_FAILED;
  std::copy(body.begin() + static_cast<std::ptrdiff_t>(begin),
            body.begin() + static_cast<std::ptrdiff_t>(end), picture.description);
  return ID3P_OK;
}

int32_t fill_picture(Bytes body, ID3P_Picture& picture) {
  if (!make_fixed_buffers(picture)) return ID3P_ERR_FAILED;
  for (size_t i = 0; i < kHeadBytes; ++i) picture.head[i] = byte_at(body, i);
  *picture.text_encoding = byte_at(body, kEncodingOffset);
  const size_t mime_at = read_mime_type(body, picture);
  const auto image = find_image(body);
  const Bytes image_bytes = image ? body.subspan(image->offset) : Bytes();
  if (!make(picture.data, image_bytes.size(), "\n PictureData  malloc Fail")) return ID3P_ERR_FAILED;
  if (!image) return ID3P_OK;
  std::copy(image_bytes.begin(), image_bytes.end(), picture.data);
  picture.format = image->format;
  picture.data_length = static_cast<uint32_t>(image_bytes.size());
  return read_description(body, mime_at + kTypeDistance, image->offset, picture);
}

}  // namespace

int32_t PictureReader::read(Bytes frame_body, uint8_t encoding, ID3P_Text& text) {
  // Kept: pictures with text in another encoding are skipped. The first one of a tag is reported; a tag has
  // room for a million.
  if (encoding != 0) {
    if (!skip_reported_) print("\n Unicode not supported now");
    skip_reported_ = true;
    return ID3P_OK;
  }
  release_picture(text);
  text.picture = new (std::nothrow) ID3P_Picture{};
  if (text.picture == nullptr) return ID3P_ERR_NO_MEMORY;
  return fill_picture(frame_body, *text.picture);
}

}  // namespace zdr::id3p
