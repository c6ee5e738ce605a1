// The table of media types and their file formats.
#include "host/writers/writer_choice.h"

#include <cstring>
#include <string_view>
#include <utility>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/formats/aac_format.h"
#include "host/formats/ac3_frame.h"
#include "host/formats/video_format.h"
#include "host/writers/adts_writer.h"
#include "host/writers/decoded_aac_writer.h"
#include "host/writers/qcp_writer.h"
#include "host/writers/video_writers.h"
#include "host/writers/wav_writer.h"

namespace zdr::host {
namespace {

// A format that is a fixed magic line followed by the samples.
class MagicWriter : public StreamWriter {
 public:
  explicit MagicWriter(std::string_view magic) : magic_(magic) {}
  bool begin(Output& output) override { return output.write(as_bytes(magic_)); }

 private:
  std::string_view magic_;
};

WriterChoice choose_wav(const AM_MEDIA_TYPE& type, Bytes /*first_sample*/) {
  WAVEFORMATEX wave;
  if (type.pbFormat == nullptr || type.cbFormat < sizeof wave) return {};
  std::memcpy(&wave, type.pbFormat, sizeof wave);
  return {"wav", std::make_unique<WavWriter>(PcmFormat{wave.nSamplesPerSec, wave.nChannels})};
}

WriterChoice choose_decoder(Bytes config, Bytes first_sample) {
  auto writer = std::make_unique<DecodedAacWriter>(config, first_sample);
  if (!writer->is_usable()) return {};
  return {"wav", std::move(writer)};
}

template <class Writer, class... Arguments>
WriterChoice choice(const char* extension, Arguments&&... arguments) {
  return {extension, std::make_unique<Writer>(std::forward<Arguments>(arguments)...)};
}

using Choose = WriterChoice (*)(const AM_MEDIA_TYPE& type, Bytes first_sample);

struct WriterRow {
  GUID subtype;
  Choose choose;
};

// Every codec except AAC, which has several subtypes and can be decoded.
const WriterRow kWriters[] = {
    {mp4source::kSubtypeAvc,
     [](const AM_MEDIA_TYPE& type, Bytes) { return choice<AnnexBWriter>("h264", video_extra(type)); }},
    {mp4source::kSubtypeMpeg4Visual,
     [](const AM_MEDIA_TYPE& type, Bytes) { return choice<Mpeg4VisualWriter>("m4v", video_extra(type)); }},
    {mp4source::kSubtypeH263, [](const AM_MEDIA_TYPE&, Bytes) { return choice<StreamWriter>("h263"); }},
    {mp4source::kSubtypeAmrNarrowBand,
     [](const AM_MEDIA_TYPE&, Bytes) { return choice<MagicWriter>("amr", "#!AMR\n"); }},
    {mp4source::kSubtypeAmrWideBand,
     [](const AM_MEDIA_TYPE&, Bytes) { return choice<MagicWriter>("awb", "#!AMR-WB\n"); }},
    {mp4source::kSubtypeQcelp,
     [](const AM_MEDIA_TYPE&, Bytes) { return choice<QcpWriter>("qcp", kQcelpCodec); }},
    {mp4source::kSubtypeEvrc,
     [](const AM_MEDIA_TYPE&, Bytes) { return choice<QcpWriter>("qcp", kEvrcCodec); }},
    {mp4source::kSubtypeDolbyAc3,
     [](const AM_MEDIA_TYPE&, Bytes sample) {
       return choice<StreamWriter>(is_eac3_frame(sample) ? "eac3" : "ac3");
     }},
    {MEDIASUBTYPE_PCM, choose_wav},
};

}  // namespace

WriterChoice choose_writer(const AM_MEDIA_TYPE& type, Bytes first_sample, bool decode) {
  if (is_aac_access_units(type)) {
    const Bytes config = read_aac_format(type).config;
    return decode ? choose_decoder(config, first_sample) : choice<AdtsWriter>("aac", config);
  }
  for (const WriterRow& row : kWriters) {
    if (row.subtype == type.subtype) return row.choose(type, first_sample);
  }
  return {};
}

}  // namespace zdr::host
