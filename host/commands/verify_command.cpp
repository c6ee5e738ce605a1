// `zdr verify`: plays files without writing them, reports what is damaged or missing, and compares digests
// with a manifest.
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "host/commands/commands.h"
#include "host/inspect/files/media_files.h"
#include "host/memory.h"
#include "host/terminal.h"
#include "host/verify/digest_manifest.h"
#include "host/verify/file_verifier.h"
#include "host/verify/manifest_comparison.h"
#include "host/verify/verdict_report.h"
#include "host/verify/worker_pool.h"

namespace zdr::host {
namespace {

// The files that the command line names, or that are in its folders, and the folders without a result.
struct Operands {
  std::vector<std::string> files;
  std::vector<FileVerdict> failed_folders;
};

void add_failed_folder(Operands& operands, const std::string& folder, MessageCode code,
                       const std::string& reason) {
  const bool is_empty = code == MessageCode::kNoPlayableTrack;
  operands.failed_folders.emplace_back(folder);
  operands.failed_folders.back().add_error({code, folder, {}, reason, ""},
                                           is_empty ? ExitCode::kNotSupported : ExitCode::kCannotOpen,
                                           is_empty ? Verdict::kNotSupported : Verdict::kUnreadable);
}

void add_folder(Operands& operands, const std::string& folder) {
  std::vector<MediaFile> found;
  add_media_files(
      folder, [] { return !interrupted(); }, found);
  for (MediaFile& each : found) {
    if (each.error.empty()) {
      operands.files.push_back(std::move(each.path));
    } else {
      add_failed_folder(operands, each.path, MessageCode::kFileNotReadable, "cannot be read: " + each.error);
    }
  }
  if (found.empty() && !interrupted())
    add_failed_folder(operands, folder, MessageCode::kNoPlayableTrack, "has no file with a known extension");
}

Operands expand(const std::vector<std::string>& operands) {
  Operands expanded;
  for (const std::string& each : operands) {
    if (is_folder(each)) {
      add_folder(expanded, each);
    } else {
      expanded.files.push_back(each);
    }
  }
  return expanded;
}

void verify_files(const Options& options, const std::function<bool()>& watch,
                  const std::function<void(FileVerdict)>& report) {
  if (options.jobs > 1 && options.files.size() > 1)
    return verify_in_processes(options.files, options, watch, report);
  for (const std::string& file : options.files) {
    if (!watch()) return;
    report(verify_file(file, options));
  }
}

// Without a manifest, `manifest` is null; with one, `hash` is the name of its digest.
ExitCode verify(const Options& options, const std::string& hash, DigestManifest* manifest,
                std::ostream& out) {
  const bool is_list = options.files.size() != 1 || manifest != nullptr || is_folder(options.files.front());
  VerdictReport report(options, is_list, out);
  const Operands operands = expand(options.files);
  for (const FileVerdict& folder : operands.failed_folders) report.add(folder);
  const uint64_t all = operands.files.size() + operands.failed_folders.size();
  std::optional<ManifestComparison> comparison;
  if (manifest != nullptr) comparison.emplace(*manifest, operands.files);
  Options expanded = options;
  expanded.files = operands.files;
  expanded.hash = hash;
  std::vector<std::string> named = operands.files;
  if (manifest != nullptr) named.push_back(options.against);
  limit_memory(named);
  ProgressLine progress(!options.quiet);
  const auto watch = [&] { return !interrupted() && !out.fail(); };
  verify_files(expanded, watch, [&](FileVerdict file) {
    if (comparison) comparison->compare(file);
    if (stdout_is_terminal()) clear_progress();
    report.add(file);
    progress.update("verify", report.files(), all);
  });
  const uint64_t not_begun = all - report.files() - report.interrupted();
  const std::string done = std::to_string(report.files()) + " of " + counted(all, "file");
  if (comparison && !interrupted()) {
    for (const FileVerdict& each : comparison->missing()) report.add(each);
  }
  if (stdout_is_terminal()) clear_progress();
  const ExitCode worst = report.finish(not_begun);
  if (!interrupted()) return worst;
  Messages(options.quiet).error({MessageCode::kInterrupted, "", {}, "interrupted after " + done, ""});
  return ExitCode::kInterrupted;
}

}  // namespace

ExitCode run_verify(const Options& options, std::ostream& out) {
  catch_interrupts();
  if (options.against.empty()) return verify(options, options.hash, nullptr, out);
  DigestManifest manifest;
  Messages messages(options.quiet);
  limit_memory({options.against});
  const ExitCode read =
      report_memory(options.against, messages, [&] { return manifest.read(options.against, messages); });
  if (read != ExitCode::kDone) return read;
  const std::string hash = manifest.kind() == DigestKind::kMd5 ? "md5" : "sha256";
  if (options.hash.empty() || options.hash == hash) return verify(options, hash, &manifest, out);
  messages.error({MessageCode::kUsage,
                  options.against,
                  {},
                  "has digests of --hash " + hash + ", and so cannot be compared with --hash " + options.hash,
                  ""});
  return ExitCode::kUsage;
}

}  // namespace zdr::host
