// Repeats the queries with which the filter describes a track, and names the first that fails.
#include "host/inspect/diagnosis/track_diagnosis.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include "filters/source/mp4/interfaces/played_codecs.h"
#include "host/formats/byte_order.h"
#include "host/inspect/iso/parser_status.h"
#include "host/memory.h"
#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

constexpr std::string_view kEncryptedEntries[] = {"encv", "enca", "drmi", "drms"};

template <class Record>
struct Release {
  void operator()(Record* record) const { record->release(record); }
};

struct TrackState {
  int32_t status = P3GPP_OK;  // of the first query that failed
  uint32_t type = 0;          // P3GPP_TRACK_
  uint32_t samples = 0;
  uint32_t object_type = 0;
  std::string aac_refusal;
};

// Returns why the decoder does not support an AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1), or an empty
// string if the first fields are supported.
std::string aac_refusal(const P3gppSystemsInfo& systems) {
  if (systems.decoder_specific_info_length < 2) return {};
  const auto bits = static_cast<unsigned>(read_be(systems.decoder_specific_info, 2));
  constexpr unsigned kEscape = 31;
  const unsigned object_type = bits >> 11 == kEscape ? 32 + (bits >> 5 & 63) : bits >> 11;
  const unsigned rate_index = bits >> 7 & 15;
  const unsigned channels = bits >> 3 & 15;
  constexpr unsigned kSupportedTypes[] = {2, 4, 5, 29};  // LC, LTP, SBR, parametric stereo
  if (std::ranges::find(kSupportedTypes, object_type) == std::end(kSupportedTypes))
    return "AAC of audio object type " + std::to_string(object_type) + " is not supported";
  if (rate_index == 12) return "AAC at 7350 Hz is not supported";
  constexpr unsigned kExplicitRate = 15;  // the rate follows, and then the channels
  if (rate_index != kExplicitRate && channels > 2)
    return "AAC with channel configuration " + std::to_string(channels) + " is not supported";
  return {};
}

TrackState query(const ParsedMovie& movie, uint32_t id) {
  TrackState state;
  P3gppTrackInfo* info = nullptr;
  state.status = with_memory(P3GPP_GetTrackInfo(movie.file(), id, &info), P3GPP_ERR_NO_MEMORY);
  if (state.status != P3GPP_OK) return state;
  const std::unique_ptr<P3gppTrackInfo, Release<P3gppTrackInfo>> owned_info(info);
  state.type = info->track_type;
  state.samples = info->sample_count;
  P3gppDecoderInfo* decoder = nullptr;
  state.status = with_memory(P3GPP_GetDecoderInfo(movie.file(), id, &decoder, 1), P3GPP_ERR_NO_MEMORY);
  const std::unique_ptr<P3gppDecoderInfo, Release<P3gppDecoderInfo>> owned_decoder(decoder);
  if (state.status != P3GPP_OK) return state;
  state.object_type = decoder->object_type;
  if (decoder->kind == P3GPP_KIND_SYSTEMS && state.object_type == P3GPP_OTI_AAC)
    state.aac_refusal = aac_refusal(decoder->u.systems);
  movie.open_track(id, state.status);
  return state;
}

Diagnosis diagnose(ExitCode code, const TrackRecord& track, const std::string& reason,
                   const std::string& status = "") {
  return {code, MessageCode::kTrackNotPlayed, place_of(track), reason, status};
}

// True if the last sample begins after the duration in the header, where the filter stops. Edits shift both.
bool begins_after_end(const ParsedMovie& movie, uint32_t id, const TrackFacts& facts) {
  const OpenTrack track = movie.open_track(id);
  uint32_t first = 0;
  uint32_t last = 0;
  uint32_t composition = 0;
  return track && P3GPP_GetSampleTime(track.get(), 1, &first, &composition) == P3GPP_OK &&
         P3GPP_GetSampleTime(track.get(), facts.samples, &last, &composition) == P3GPP_OK && last > first &&
         last - first > facts.duration;
}

// Microsoft's sound formats in QuickTime files have a binary number after these letters.
bool is_sample_entry_type(std::string_view type) {
  return type.starts_with("ms") || is_ascii_text(type);
}

std::string without_sizes(const char* what) {
  return std::string("damaged: its samples have ") + what + " in the tables, but no sizes";
}

// "time table (stts)"
std::string table_text(const std::string& type) {
  constexpr std::pair<std::string_view, const char*> kNames[] = {
      {"stts", "time table"},        {"ctts", "composition time table"},
      {"stss", "key frame table"},   {"stsc", "chunk table"},
      {"stsz", "size table"},        {"stco", "chunk offset table"},
      {"co64", "chunk offset table"}};
  const auto found = std::ranges::find(kNames, type, [](const auto& name) { return name.first; });
  return (found != std::end(kNames) ? found->second : "table") + (" (" + type + ")");
}

std::string object_type_text(uint32_t type) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%02X", static_cast<unsigned>(type));
  return text.data();
}

}  // namespace

bool is_video(const TrackRecord& track) {
  return track.handler == "vide";
}

bool is_audio(const TrackRecord& track) {
  return track.handler == "soun";
}

Place place_of(const TrackRecord& track) {
  std::string name = is_video(track) ? "video track " : is_audio(track) ? "audio track " : "track ";
  name += std::to_string(track.number);
  if (!track.sample_entry.empty()) name += " (" + type_text(track.sample_entry) + ")";
  return Place::track(name, track.number);
}

Place place_of(const HiddenTrack& hidden) {
  return Place::box(hidden.path, hidden.box.offset, hidden.box.size);
}

Diagnosis why_not_played(const ParsedMovie& movie, const TrackRecord& track) {
  if (std::ranges::find(kEncryptedEntries, track.sample_entry) != std::end(kEncryptedEntries))
    return diagnose(ExitCode::kNotSupported, track, "encrypted, which is not supported");
  if (!is_sample_entry_type(track.sample_entry))
    return diagnose(ExitCode::kLoss, track, "damaged: the type of its sample description is not valid");
  if (!track.sample_entry.empty() && !mp4source::is_played_sample_entry(track.sample_entry))
    return diagnose(ExitCode::kNotSupported, track, "codec not supported");
  if (!track.id) return diagnose(ExitCode::kLoss, track, "damaged: it has no track header, and so no ID");
  const TrackState state = query(movie, *track.id);
  if (state.object_type != 0 && !mp4source::is_played_object_type(state.object_type)) {
    return diagnose(ExitCode::kNotSupported, track,
                    "codec not supported (object type " + object_type_text(state.object_type) + ")");
  }
  if (!state.aac_refusal.empty()) return diagnose(ExitCode::kNotSupported, track, state.aac_refusal);
  const bool is_described = state.status == P3GPP_OK || state.object_type != 0;
  if (is_described && state.samples == 0) {
    const bool has_times = track.timed_runs.value_or(0) != 0;
    if (!has_times && movie.chunked_samples(track).count == 0)
      return diagnose(ExitCode::kDone, track, "its tables list no samples");
    return diagnose(ExitCode::kLoss, track, without_sizes(has_times ? "times" : "chunks"));
  }
  if (state.status == P3GPP_ERR_NO_TABLE && track.has_compact_sizes)
    return diagnose(ExitCode::kNotSupported, track, "its sizes are in an stz2 box, which is not read");
  if (state.status == P3GPP_ERR_NO_STBL_PAYLOAD && track.has_priorities)
    return diagnose(ExitCode::kLoss, track,
                    "its sample tables have an stdp box, after which they are not read");
  if (state.status == P3GPP_ERR_BAD_ARGUMENT && track.chunk_runs_offset != 0 && track.chunk_runs == 0)
    return diagnose(ExitCode::kLoss, track, "damaged: its chunk table (stsc) is empty");
  if (state.status != P3GPP_OK) {
    return diagnose(ExitCode::kLoss, track, "cannot be read: " + describe_status(state.status),
                    std::to_string(state.status));
  }
  if (state.type != track_type(is_audio(track)))
    return diagnose(ExitCode::kLoss, track,
                    "not played: another track has the same ID, " + std::to_string(*track.id));
  return diagnose(ExitCode::kLoss, track, "damaged: its configuration or first access unit cannot be used");
}

Diagnosis further_track(const TrackRecord& track) {
  const std::string kind = is_audio(track) ? "audio" : "video";
  return diagnose(ExitCode::kDone, track, "not played: only the first " + kind + " track is played");
}

std::optional<Diagnosis> find_missing_sizes(const ParsedMovie& movie, const TrackRecord& track,
                                            uint32_t samples) {
  const auto times = movie.timed_samples(track);
  if (!times || times->count <= samples) return std::nullopt;
  std::string reason = "only " + std::to_string(samples) + " of its " + counted(times->count, "access unit") +
                       " have sizes in the tables";
  if (samples == 0) reason = without_sizes("times");
  return Diagnosis{ExitCode::kLoss, MessageCode::kUnitsMissing, place_of(track), reason, ""};
}

std::vector<Diagnosis> causes_of_early_end(const ParsedMovie& movie, const TrackRecord& track) {
  TrackFacts facts;
  if (!track.id || movie.get_facts(*track.id, facts) != P3GPP_OK) return {};
  std::vector<Diagnosis> causes;
  const auto add = [&](MessageCode code, const std::string& reason) {
    causes.push_back({ExitCode::kLoss, code, place_of(track), reason, ""});
  };
  if (auto missing = find_missing_sizes(movie, track, facts.samples)) causes.push_back(std::move(*missing));
  if (facts.samples < 2) return causes;
  if (track.has_wide_times) {
    add(MessageCode::kUnitsAfterEnd,
        "its header has 64-bit times, which are not read; it will not play to its end");
  } else if (facts.duration == 0) {
    add(MessageCode::kUnitsAfterEnd, "its header states a duration of 0, so it is not played to its end");
  } else if (begins_after_end(movie, *track.id, facts)) {
    add(MessageCode::kUnitsAfterEnd,
        "its tables go on after the duration that its header states, so it is "
        "not played to its end");
  }
  return causes;
}

std::optional<Diagnosis> find_lost_end(const ParsedMovie& movie, const TrackRecord& track,
                                       uint64_t file_size) {
  TrackFacts facts;
  if (track.overfull_table) return std::nullopt;  // which is the cause
  if (!track.id || movie.get_facts(*track.id, facts) != P3GPP_OK || facts.samples == 0) return std::nullopt;
  const OpenTrack opened = movie.open_track(*track.id);
  if (!opened || movie.has_external_data(track)) return std::nullopt;
  P3gppSample sample{};
  sample.number = facts.samples;
  const int32_t status = with_memory(P3GPP_ReadSample(opened.get(), &sample), P3GPP_ERR_NO_MEMORY);
  const std::string unit = "access unit " + std::to_string(facts.samples) + ", its last one, ";
  if (status != P3GPP_OK) {
    return Diagnosis{ExitCode::kLoss, MessageCode::kUnitsMissing, place_of(track),
                     unit + "cannot be located: " + describe_lookup(status), std::to_string(status)};
  }
  if (!lies_within(sample, file_size)) {
    return Diagnosis{ExitCode::kLoss, MessageCode::kCutOff, place_of(track),
                     "cut off: " + unit + "is past the end of the file", ""};
  }
  const auto chunk = movie.chunk_past_end(track, opened.get(), facts.samples, file_size);
  if (!chunk) return std::nullopt;
  return Diagnosis{ExitCode::kLoss, MessageCode::kFileDamaged, place_of(track),
                   "damaged: chunk " + std::to_string(chunk->number) + " of " + std::to_string(track.chunks) +
                       (chunk->begins_past_end ? " begins" : " extends") + " past the end of the file",
                   ""};
}

std::vector<std::string> faults_of(const ParsedMovie& movie, const TrackRecord& track) {
  std::vector<std::string> faults;
  if (movie.has_external_data(track))
    faults.emplace_back("its media data is in another file, which is not read");
  if (track.time_scale == 0) faults.emplace_back(kNoTimeScale);
  // The checks below would read past the end of the table.
  if (const auto& table = track.overfull_table) {
    faults.push_back("damaged: its " + table_text(table->type) + " counts " +
                     (table->entries == 1 ? "1 entry" : std::to_string(table->entries) + " entries") +
                     ", but has room for " + std::to_string(table->room));
    return faults;
  }
  if (track.timed_runs == 0) faults.emplace_back("damaged: its time table (stts) is empty");
  if (movie.lacks_times(track)) {
    faults.emplace_back("damaged: its time table (stts) states a duration of 0 for every sample");
  } else if (movie.ends_before_duration(track) && !movie.has_fragments()) {
    faults.emplace_back("damaged: its time table (stts) ends before the duration that its header states");
  }
  if (track.has_both_sizes)
    faults.emplace_back(
        "damaged: its size table (stsz) states one size for all samples, and also lists their sizes");
  const ParsedMovie::ChunkedSamples chunks = movie.chunked_samples(track);
  if (chunks.has_invalid_description)
    faults.emplace_back("damaged: its samples refer to a sample description that does not exist");
  TrackFacts facts;
  const bool has_sizes = track.id && movie.get_facts(*track.id, facts) == P3GPP_OK && facts.samples != 0;
  // If there are times for these samples too, they are missed when the track ends. Some writers do not
  // describe a last chunk that is shorter than the others.
  const auto times = movie.timed_samples(track);
  const uint64_t known = std::max<uint64_t>(facts.samples, times ? times->count : 0);
  if (has_sizes && chunks.count > known && chunks.count - known >= chunks.in_last_chunk) {
    faults.push_back("damaged: its chunks hold " + counted(chunks.count, "access unit") +
                     ", but its size table (stsz) lists " + std::to_string(facts.samples));
  }
  const auto key_frame = has_sizes ? movie.invalid_key_frame(track, known) : std::nullopt;
  if (key_frame && key_frame->is_sample) {
    faults.push_back("damaged: its key frame table (stss) is not in ascending order at entry " +
                     std::to_string(key_frame->entry));
  } else if (key_frame) {
    faults.push_back("damaged: its key frame table (stss) names access unit " +
                     std::to_string(key_frame->sample) + " of " + std::to_string(known));
  }
  return faults;
}

}  // namespace zdr::host
