// One check per codec.
#include "host/graph/unit_damage.h"

#include <algorithm>
#include <iterator>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/formats/aac_format.h"
#include "host/formats/ac3_frame.h"
#include "host/formats/amr_frame.h"
#include "host/formats/byte_order.h"
#include "host/formats/video_format.h"
#include "host/writers/qcp_writer.h"

namespace zdr::host {
namespace {

// Each NAL unit is preceded by its length (ISO/IEC 14496-15).
UnitReport examine_avc(const AM_MEDIA_TYPE& type, Bytes rest) {
  const unsigned length_bytes = nal_length_bytes(video_extra(type));
  if (rest.size() >= length_bytes && read_be(rest.data(), length_bytes) == 0) return {"empty NAL unit"};
  while (!rest.empty()) {
    const uint64_t length = rest.size() < length_bytes ? rest.size() : read_be(rest.data(), length_bytes);
    if (rest.size() < length_bytes || length > rest.size() - length_bytes)
      return {"NAL unit extends past the end of its access unit"};
    rest = rest.subspan(length_bytes + static_cast<size_t>(length));
  }
  return {};
}

UnitReport examine_h263(const AM_MEDIA_TYPE&, Bytes sample) {
  const bool begins_picture = sample.size() > 2 && read_be(sample.data(), 3) >> 2 == 0x20;
  return {begins_picture ? nullptr : "picture without a start code"};
}

UnitReport examine_mpeg4_visual(const AM_MEDIA_TYPE&, Bytes sample) {
  const bool has_start_code = sample.size() > 3 && read_be(sample.data(), 3) == 1;
  return {has_start_code ? nullptr : "picture without a start code"};
}

// A sample has several access units, each of one or more frames.
UnitReport examine_ac3(const AM_MEDIA_TYPE&, Bytes rest) {
  while (!rest.empty()) {
    const size_t size = ac3_frame_size(rest);
    if (size == 0) return {"frame without a valid header"};
    if (size > rest.size()) return {"frame extends past the end of its access unit"};
    rest = rest.subspan(size);
  }
  return {};
}

template <bool IsWideBand>
UnitReport examine_amr(const AM_MEDIA_TYPE&, Bytes rest) {
  UnitReport report;
  while (!rest.empty()) {
    const uint32_t size = amr_frame_size(rest[0], IsWideBand);
    if (size == 0 || size > rest.size()) {
      report.damage = kAmrFrameDamage;
      return report;
    }
    if (is_blank_amr_frame(rest.first(size))) {
      report.damage = kBlankAmrFrame;
      return report;
    }
    ++report.speech_frames;
    rest = rest.subspan(size);
  }
  return report;
}

template <const QcpCodec& Codec>
UnitReport examine_qcp(const AM_MEDIA_TYPE&, Bytes sample) {
  return {count_speech_frames(Codec, sample).is_whole ? nullptr : kSpeechFrameDamage};
}

// Parses every access unit as the decoder does before it decodes. A stream that the decoder does not support
// is not examined.
UnitReport examine_aac(const AM_MEDIA_TYPE& type, Bytes sample) {
  constexpr int32_t kMostChannels = 2;
  const auto config = read_aac_config(read_aac_format(type).config, {});
  if (!config || config->channels > kMostChannels) return {};
  const std::vector<Bytes> units = split_aac_sample(sample);
  if (units.empty()) return {kAacTableDamage};
  const auto damaged = std::ranges::count_if(units, [&](Bytes unit) {
    return unit.size() > kLongestAacUnit || (!begins_with_syncword(unit) && !is_aac_unit(*config, unit));
  });
  if (damaged == 0) return {};
  return {.damage = kAacUnitDamage, .damaged_units = static_cast<uint32_t>(damaged)};
}

struct ExaminerRow {
  const GUID& subtype;
  UnitReport (*examine)(const AM_MEDIA_TYPE& type, Bytes sample);
};

constexpr ExaminerRow kExaminers[] = {
    {mp4source::kSubtypeAvc, examine_avc},
    {mp4source::kSubtypeH263, examine_h263},
    {mp4source::kSubtypeMpeg4Visual, examine_mpeg4_visual},
    {mp4source::kSubtypeAmrNarrowBand, examine_amr<false>},
    {mp4source::kSubtypeAmrWideBand, examine_amr<true>},
    {mp4source::kSubtypeDolbyAc3, examine_ac3},
    {mp4source::kSubtypeQcelp, examine_qcp<kQcelpCodec>},
    {mp4source::kSubtypeEvrc, examine_qcp<kEvrcCodec>},
};

}  // namespace

UnitReport examine_units(const AM_MEDIA_TYPE& type, Bytes sample) {
  if (is_aac_access_units(type)) return examine_aac(type, sample);
  const auto* const row =
      std::ranges::find_if(kExaminers, [&](const ExaminerRow& each) { return each.subtype == type.subtype; });
  if (row == std::end(kExaminers)) return {};
  return sample.empty() ? UnitReport{"access unit without data"} : row->examine(type, sample);
}

}  // namespace zdr::host
