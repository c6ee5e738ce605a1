// Runs the graph as `play` does, with consumers that store nothing, and collects what they found.
#include "host/verify/file_verifier.h"

#include <limits>
#include <list>
#include <utility>

#include "host/graph/file_run.h"
#include "host/graph/stream_verifier.h"
#include "host/graph/unit_damage.h"
#include "host/memory.h"

namespace zdr::host {
namespace {

class FileVerifier final : public ConsumerOwner {
 public:
  FileVerifier(const std::string& file, const Options& options, Messages& messages)
      : file_(file),
        options_(options),
        messages_(messages),
        most_units_(options.all_entries ? std::numeric_limits<size_t>::max() - 1 : options.most_entries),
        run_(file, options, FileRun::Use::kRecording, messages, *this) {
    run_.limit_damage(most_units_ + 1);
  }

  ExitCode run();
  std::vector<StreamVerdict> streams();

 private:
  PinConsumer& add_consumer(const std::string& pin_name, DeliveryGuard& guard) override {
    return streams_.emplace_back(pin_name, guard,
                                 StreamVerifier::Settings{digest_kind(options_.hash), options_.decode});
  }
  void drop_last_consumer() override { streams_.pop_back(); }
  ExitCode check(StreamVerifier& stream);
  ExitCode check_decoding(const StreamVerifier& stream);
  std::vector<DamagedUnit> damaged_units(const StreamVerifier& stream) const;
  ExitCode report(const StreamVerifier& stream, ExitCode exit_code, MessageCode code,
                  const std::string& reason) {
    return messages_.report(file_, {exit_code, code, Place::pin(stream.pin_name()), reason, ""});
  }

  const std::string& file_;
  const Options& options_;
  Messages& messages_;
  std::list<StreamVerifier> streams_;
  const size_t most_units_;  // to be listed
  FileRun run_;
};

ExitCode FileVerifier::run() {
  if (const ExitCode prepared = run_.prepare(); prepared != ExitCode::kDone) return prepared;
  ExitCode result = run_.play("verify it");
  for (StreamVerifier& stream : streams_) result = worse_of(result, check(stream));
  return result;
}

ExitCode FileVerifier::check(StreamVerifier& stream) {
  if (stream.has_failed()) {
    return report(stream, ExitCode::kLoss, MessageCode::kStreamIncomplete, "a sample without a buffer");
  }
  if (run_.is_complete()) stream.finish();
  return stream.samples() != 0 && stream.is_aac() ? check_decoding(stream) : ExitCode::kDone;
}

ExitCode FileVerifier::check_decoding(const StreamVerifier& stream) {
  if (const uint64_t damaged = stream.undecodable_units(); damaged != 0) {
    return report(stream, ExitCode::kLoss, MessageCode::kUnitsDamaged,
                  counted(damaged, "damaged access unit") + ": " + stream.first_decoding_damage());
  }
  if (stream.is_decoded()) return ExitCode::kDone;
  // Without --decode, decoding is only an additional check.
  return report(stream, options_.decode ? ExitCode::kNotSupported : ExitCode::kDone,
                MessageCode::kTrackNotPlayed, "not decoded: the decoder does not support this AAC stream");
}

// One more than is listed shows that there are more.
std::vector<DamagedUnit> FileVerifier::damaged_units(const StreamVerifier& stream) const {
  if (run_.movie() == nullptr) return run_.damaged_frames();
  const uint32_t type = track_type(stream.is_audio());
  const auto examine = [&](Bytes unit) { return examine_units(stream.type(), unit).damage; };
  return find_damaged_units(*run_.movie(), file_, type, stream.damage(), examine, most_units_ + 1,
                            [](uint32_t, uint32_t) { return !interrupted(); });
}

std::vector<StreamVerdict> FileVerifier::streams() {
  std::vector<StreamVerdict> verdicts;
  for (const StreamVerifier& stream : streams_) {
    std::vector<DamagedUnit> units = damaged_units(stream);
    const bool has_more = units.size() > most_units_;
    if (has_more) units.pop_back();
    const bool is_pcm = options_.decode && stream.is_decoded();
    verdicts.push_back({stream.pin_name(),
                        file_ + ":" + stream.pin_name() + std::string(is_pcm ? kPcmSuffix : ""),
                        stream.samples(), stream.payload_bytes(), stream.is_decoded(), stream.digest(),
                        std::move(units), has_more});
  }
  return verdicts;
}

}  // namespace

FileVerdict verify_file(const std::string& file, const Options& options) {
  FileVerdict verdict(file);
  Messages messages(Messages::Shown::kNothing);
  verdict.exit_code = report_memory(file, messages, [&] {
    FileVerifier verifier(file, options, messages);
    const ExitCode code = verifier.run();
    verdict.streams = verifier.streams();
    return code;
  });
  if (interrupted()) verdict.exit_code = messages.report_interrupted(file);
  verdict.errors = messages.take_errors();
  verdict.notes = messages.take_notes();
  verdict.verdict = verdict_of(verdict.exit_code, verdict.errors);
  return verdict;
}

}  // namespace zdr::host
