// Looks up each stream by its name, which states whether its digest is that of decoded sound.
#include "host/verify/manifest_comparison.h"

namespace zdr::host {
namespace {

bool is_of_pcm(const std::string& name) {
  return name.ends_with(kPcmSuffix);
}

// The name of the same stream with the digest of its access units instead of its PCM, or the reverse.
std::string name_of_other_form(const std::string& name) {
  return is_of_pcm(name) ? name.substr(0, name.size() - kPcmSuffix.size()) : name + std::string(kPcmSuffix);
}

}  // namespace

void ManifestComparison::compare(FileVerdict& file) {
  if (file.verdict == Verdict::kInterrupted) return;
  for (const StreamVerdict& stream : file.streams) compare_stream(file, stream);
}

void ManifestComparison::compare_stream(FileVerdict& file, const StreamVerdict& stream) {
  const auto message = [&](MessageCode code, const std::string& reason) {
    return Message{code, file.file, Place::pin(stream.pin), reason, ""};
  };
  const auto differs = [&](MessageCode code, const std::string& reason) {
    file.add_error(message(code, reason), ExitCode::kLoss, Verdict::kDiffers);
  };
  const std::string* const expected = manifest_.look_up(stream.name);
  if (expected != nullptr) {
    if (stream.digest.empty()) {
      differs(MessageCode::kStreamMissing, "is in the manifest, but has no digest");
    } else if (*expected != stream.digest) {
      differs(MessageCode::kDigestDiffers,
              "its digest is " + stream.digest + ", in the manifest " + *expected);
    }
  } else if (manifest_.look_up(name_of_other_form(stream.name)) != nullptr) {
    differs(MessageCode::kNotInManifest,
            is_of_pcm(stream.name)
                ? "not compared: the manifest has the digest of its access units (made without --decode)"
                : "not compared: the manifest has the digest of its decoded sound (made with --decode)");
  } else if (!stream.digest.empty()) {
    file.notes.push_back(message(MessageCode::kNotInManifest, "is not in the manifest"));
  }
}

std::vector<FileVerdict> ManifestComparison::missing() const {
  std::vector<FileVerdict> verdicts;
  for (const std::string& name : manifest_.unseen()) {
    const bool is_verified = files_.contains(name.substr(0, name.rfind(':')));
    const std::string reason = is_verified ? "was not delivered" : "its file was not verified";
    verdicts.emplace_back(name).add_error(
        {MessageCode::kStreamMissing, name, {}, "is in the manifest, but " + reason, ""}, ExitCode::kLoss,
        Verdict::kMissing);
  }
  return verdicts;
}

}  // namespace zdr::host
