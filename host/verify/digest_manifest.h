// Manifests of digests, in the format of sha256sum: digest, two spaces, name.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/formats/digest.h"
#include "host/messages.h"

namespace zdr::host {

// "DIGEST  NAME"; a name with a backslash or a line break is escaped as by sha256sum.
std::string manifest_line(const std::string& digest, const std::string& name);

class DigestManifest {
 public:
  // Reads a manifest. Lines that begin with # are comments. Reports the reason for a failure.
  ExitCode read(const std::string& file, Messages& messages);

  // The kind of all its digests; read() refuses a mixture.
  DigestKind kind() const { return kind_; }

  // The digest of a name, which then counts as seen; null if the manifest has none.
  const std::string* look_up(const std::string& name);
  // The names that have not been looked up, in alphabetic order.
  std::vector<std::string> unseen() const;

 private:
  struct Entry {
    std::string digest;
    bool is_seen = false;
  };

  // Returns what is wrong with the line, or null.
  const char* add(std::string_view line);

  std::map<std::string, Entry> entries_;
  DigestKind kind_ = DigestKind::kSha256;
};

}  // namespace zdr::host
