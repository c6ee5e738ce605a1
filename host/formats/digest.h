// Checksums of what was delivered: CRC-32 by zlib, MD5 and SHA-256 by Nettle, whose contexts are plain
// records, so that hashing allocates no memory and cannot fail.
#pragma once

#include <nettle/md5.h>
#include <nettle/sha2.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "host/text/bytes.h"

namespace zdr::host {

// The CRC-32 of zip and PNG.
uint32_t crc32_of(Bytes bytes);

enum class DigestKind : uint8_t { kMd5, kSha256 };

// The kind with this name ("md5", "sha256").
std::optional<DigestKind> digest_kind(std::string_view name);
// The kind whose digests have so many hexadecimal digits.
std::optional<DigestKind> digest_kind_of_length(size_t digits);

class Digest {
 public:
  explicit Digest(DigestKind kind);

  void add(Bytes bytes);
  // The digest of all bytes so far in lower-case hexadecimal digits. Resets the object.
  std::string finish();

 private:
  std::variant<md5_ctx, sha256_ctx> state_;
};

}  // namespace zdr::host
