#include "host/writers/stream_writer.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/writers/adts_writer.h"
#include "host/writers/decoded_aac_writer.h"
#include "host/writers/qcp_writer.h"
#include "host/writers/video_writers.h"
#include "host/writers/wav_writer.h"

namespace zdr::host {
namespace {

// A stream that only wants a fixed line in front.
class MagicWriter : public StreamWriter {
 public:
  explicit MagicWriter(std::string_view magic) : magic_(magic) {}
  bool begin(OutputFile& file) override {
    return file.write({reinterpret_cast<const uint8_t*>(magic_.data()), magic_.size()});
  }

 private:
  std::string_view magic_;
};

Bytes format_extra(const AM_MEDIA_TYPE& type, size_t fixed_bytes) {
  if (type.pbFormat == nullptr || type.cbFormat < fixed_bytes) return {};
  return Bytes(type.pbFormat, type.cbFormat).subspan(fixed_bytes);
}

Bytes video_extra(const AM_MEDIA_TYPE& type) {
  return format_extra(type, sizeof(VIDEOINFOHEADER));
}

// Where the AAC format block keeps the length of its AudioSpecificConfig, and the bytes themselves.
constexpr size_t kAacConfigLengthAt = 18;
constexpr size_t kAacConfigAt = 26;

Bytes audio_specific_config(const AM_MEDIA_TYPE& type) {
  if (type.pbFormat == nullptr || type.cbFormat < kAacConfigAt) return {};
  const Bytes rest = Bytes(type.pbFormat, type.cbFormat).subspan(kAacConfigAt);
  return rest.first(std::min<size_t>(type.pbFormat[kAacConfigLengthAt], rest.size()));
}

// Both kinds begin 0x0B77; the bitstream identification, five bytes in, is above 10 for E-AC-3 (ETSI TS 102
// 366).
bool is_eac3(Bytes sample) {
  return sample.size() > 5 && sample[5] >> 3 > 10;
}

bool is_aac(const GUID& subtype) {
  const auto& known = mp4source::kSubtypeAacAccepted;
  return std::find(std::begin(known), std::end(known), subtype) != std::end(known);
}

WriterChoice choose_wav(const AM_MEDIA_TYPE& type) {
  WAVEFORMATEX wave;
  if (type.pbFormat == nullptr || type.cbFormat < sizeof wave) return {};
  std::memcpy(&wave, type.pbFormat, sizeof wave);
  return {"wav", std::make_unique<WavWriter>(PcmFormat{wave.nSamplesPerSec, wave.nChannels})};
}

WriterChoice choose_decoder(Bytes audio_specific_config, Bytes first_sample) {
  auto writer = std::make_unique<DecodedAacWriter>(audio_specific_config, first_sample);
  if (!writer->is_usable()) return {};
  return {"wav", std::move(writer)};
}

}  // namespace

WriterChoice choose_writer(const AM_MEDIA_TYPE& type, Bytes first_sample, bool decode) {
  using namespace mp4source;
  if (type.subtype == kSubtypeAvc) return {"h264", std::make_unique<AnnexBWriter>(video_extra(type))};
  if (type.subtype == kSubtypeMpeg4Visual)
    return {"m4v", std::make_unique<Mpeg4VisualWriter>(video_extra(type))};
  if (type.subtype == kSubtypeH263) return {"h263", std::make_unique<StreamWriter>()};
  if (type.subtype == kSubtypeAmrNarrowBand) return {"amr", std::make_unique<MagicWriter>("#!AMR\n")};
  if (type.subtype == kSubtypeAmrWideBand) return {"awb", std::make_unique<MagicWriter>("#!AMR-WB\n")};
  if (type.subtype == kSubtypeQcelp) return {"qcp", std::make_unique<QcpWriter>(kQcelpCodec)};
  if (type.subtype == kSubtypeEvrc) return {"qcp", std::make_unique<QcpWriter>(kEvrcCodec)};
  if (is_aac(type.subtype)) {
    if (decode) return choose_decoder(audio_specific_config(type), first_sample);
    return {"aac", std::make_unique<AdtsWriter>(audio_specific_config(type))};
  }
  if (type.subtype == MEDIASUBTYPE_PCM) return choose_wav(type);
  if (type.subtype == kSubtypeDolbyAc3) {
    return {is_eac3(first_sample) ? "eac3" : "ac3", std::make_unique<StreamWriter>()};
  }
  return {};
}

}  // namespace zdr::host
