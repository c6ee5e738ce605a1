// Compares the digests of verified files with a manifest.
#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "host/verify/digest_manifest.h"
#include "host/verify/file_verdict.h"

namespace zdr::host {

class ManifestComparison {
 public:
  // `files` are all that will be verified. The manifest must outlive the object.
  ManifestComparison(DigestManifest& manifest, const std::vector<std::string>& files)
      : manifest_(manifest), files_(files.begin(), files.end()) {}

  // Adds an error for each stream that differs, and a note for each that the manifest lacks. A file that was
  // interrupted is not compared.
  void compare(FileVerdict& file);
  // After the last file: the streams that are in the manifest only, each as a verdict of its own.
  std::vector<FileVerdict> missing() const;

 private:
  void compare_stream(FileVerdict& file, const StreamVerdict& stream);

  DigestManifest& manifest_;
  const std::unordered_set<std::string> files_;
};

}  // namespace zdr::host
