// Computes digests with Nettle and CRC-32 with zlib.
#include "host/formats/digest.h"

#include <zlib.h>

#include <array>

#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

struct Row {
  DigestKind kind;
  std::string_view name;
  size_t bytes;
};

constexpr Row kRows[] = {{DigestKind::kMd5, "md5", MD5_DIGEST_SIZE},
                         {DigestKind::kSha256, "sha256", SHA256_DIGEST_SIZE}};

}  // namespace

uint32_t crc32_of(Bytes bytes) {
  return static_cast<uint32_t>(crc32_z(0, bytes.data(), bytes.size()));
}

std::optional<DigestKind> digest_kind(std::string_view name) {
  for (const Row& row : kRows) {
    if (row.name == name) return row.kind;
  }
  return std::nullopt;
}

std::optional<DigestKind> digest_kind_of_length(size_t digits) {
  for (const Row& row : kRows) {
    if (2 * row.bytes == digits) return row.kind;
  }
  return std::nullopt;
}

Digest::Digest(DigestKind kind) {
  if (kind == DigestKind::kMd5) {
    md5_init(&state_.emplace<md5_ctx>());
  } else {
    sha256_init(&state_.emplace<sha256_ctx>());
  }
}

void Digest::add(Bytes bytes) {
  if (auto* const md5 = std::get_if<md5_ctx>(&state_)) {
    md5_update(md5, bytes.size(), bytes.data());
  } else {
    sha256_update(&std::get<sha256_ctx>(state_), bytes.size(), bytes.data());
  }
}

std::string Digest::finish() {
  std::array<uint8_t, SHA256_DIGEST_SIZE> digest{};
  if (auto* const md5 = std::get_if<md5_ctx>(&state_)) {
    md5_digest(md5, MD5_DIGEST_SIZE, digest.data());
    return hex_text(Bytes(digest).first(MD5_DIGEST_SIZE));
  }
  sha256_digest(&std::get<sha256_ctx>(state_), SHA256_DIGEST_SIZE, digest.data());
  return hex_text(digest);
}

}  // namespace zdr::host
