// Writes ISO base media boxes for tests: raw nesting for the odd cases, and one typed helper per box.
//
// Everything is a value: a box is the bytes it occupies, so that boxes nest by concatenation and a test can
// damage any of them. Whole files from a description of their tracks: movie_builder.h.
#ifndef ZDR_TESTS_SUPPORT_BOX_BUILDER_H
#define ZDR_TESTS_SUPPORT_BOX_BUILDER_H

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace zdr::test {

using Bytes = std::vector<uint8_t>;

// Appends big-endian fields: Fields().u32(1).u16(2).bytes.
struct Fields {
  Bytes bytes;
  Fields& u8(uint64_t value) { return number(value, 1); }
  Fields& u16(uint64_t value) { return number(value, 2); }
  Fields& u24(uint64_t value) { return number(value, 3); }
  Fields& u32(uint64_t value) { return number(value, 4); }
  Fields& u64(uint64_t value) { return number(value, 8); }
  Fields& zeros(size_t count);
  Fields& text(std::string_view text);  // without terminator
  Fields& append(const Bytes& more);
  Fields& number(uint64_t value, int byte_count);
};

Bytes concat(const std::vector<Bytes>& parts);
void store_be32(Bytes& bytes, size_t at, uint32_t value);
uint32_t load_be32(const Bytes& bytes, size_t at);

// ---- Raw boxes --------------------------------------------------------------------------------------------

Bytes box(std::string_view type, const Bytes& body = {});
Bytes box(std::string_view type, const std::vector<Bytes>& children);
Bytes full_box(std::string_view type, uint32_t version, uint32_t flags, const Bytes& body = {});
// The 64-bit size form; `claimed_size` 0: the true one.
Bytes large_box(std::string_view type, const Bytes& body, uint64_t claimed_size = 0);
// The same bytes with another size in the header.
Bytes with_size(Bytes box, uint32_t claimed_size);
// A box header alone.
Bytes header(uint32_t size, std::string_view type);

// ---- File, movie and track level --------------------------------------------------------------------------

Bytes ftyp(std::string_view brand = "isom", uint32_t minor_version = 512,
           const std::vector<std::string_view>& compatible = {"isom"});

// Headers of version 1 write their times and durations as 64 bits.
struct MovieHeader {
  uint32_t version = 0;
  uint64_t creation_time = 0;
  uint64_t modification_time = 0;
  uint32_t time_scale = 1000;
  uint64_t duration = 0;
  uint32_t rate = 0x10000;
  uint16_t volume = 0x100;
};
Bytes mvhd(const MovieHeader& fields = {});

struct TrackHeader {
  uint32_t version = 0;
  uint64_t creation_time = 0;
  uint64_t modification_time = 0;
  uint32_t track_id = 1;
  uint64_t duration = 0;
  uint16_t layer = 0;
  uint16_t alternate_group = 0;
  uint16_t volume = 0;
  uint16_t width = 0;
  uint16_t height = 0;
};
Bytes tkhd(const TrackHeader& fields = {});

struct MediaHeader {
  uint32_t version = 0;
  uint64_t creation_time = 0;
  uint64_t modification_time = 0;
  uint32_t time_scale = 1000;
  uint64_t duration = 0;
  uint16_t language = 0x55C4;  // "und"
};
Bytes mdhd(const MediaHeader& fields = {});
Bytes hdlr(std::string_view handler_type, std::string_view name = "");

struct Edit {
  uint64_t segment_duration = 0;
  int64_t media_time = 0;  // -1: an empty edit
  uint16_t rate_integer = 1;
  uint16_t rate_fraction = 0;
};
Bytes elst(const std::vector<Edit>& edits, uint32_t version = 0);

Bytes vmhd();
Bytes smhd();
Bytes hmhd(uint16_t max_pdu_size, uint16_t average_pdu_size, uint32_t max_bitrate, uint32_t average_bitrate);
Bytes url(bool self_contained, const Bytes& location = {});
Bytes urn(bool self_contained, const Bytes& name_and_location);
Bytes dref(const std::vector<Bytes>& entries, int64_t claimed_count = -1);
Bytes dinf();  // with one self-contained reference

// ---- Sample tables. A claimed count of -1 is the true one. ------------------------------------------------

using Runs = std::vector<std::pair<uint32_t, uint32_t>>;  // (sample count, delta or offset)
struct ChunkRun {
  uint32_t first_chunk;
  uint32_t samples_per_chunk;
  uint32_t description_index = 1;
};
Bytes stts(const Runs& runs, int64_t claimed_count = -1);
Bytes ctts(const Runs& runs, int64_t claimed_count = -1);
Bytes stss(const std::vector<uint32_t>& samples, int64_t claimed_count = -1);
Bytes stsc(const std::vector<ChunkRun>& runs, int64_t claimed_count = -1);
Bytes stsz(const std::vector<uint32_t>& sizes, int64_t claimed_count = -1);
Bytes constant_stsz(uint32_t size, uint32_t sample_count);
Bytes stco(const std::vector<uint64_t>& offsets, int64_t claimed_count = -1);
Bytes co64(const std::vector<uint64_t>& offsets, int64_t claimed_count = -1);
Bytes stsd(const std::vector<Bytes>& entries, int64_t claimed_count = -1);

// ---- Sample entries and codec configurations --------------------------------------------------------------

Bytes video_entry(std::string_view type, uint16_t width, uint16_t height, const Bytes& children = {});
// `sample_rate` in Hz; its upper half is lost in the 16.16 field, as in real files.
Bytes audio_entry(std::string_view type, uint16_t channels, uint32_t sample_rate, const Bytes& children = {},
                  uint16_t sample_size = 16);
Bytes plain_entry(std::string_view type, const Bytes& children = {});  // mp4s, text, rtp

// Descriptor tag and size in one byte (or `size_bytes` of them), then the body.
Bytes descriptor(uint8_t tag, const Bytes& body, int size_bytes = 1);
struct ElementaryStream {
  uint16_t es_id = 1;
  uint8_t flags = 0;
  Bytes optional_fields = {};  // what the flags announce
  uint8_t object_type = 0x40;
  uint8_t stream_type = 5;
  uint32_t max_bitrate = 0;
  uint32_t average_bitrate = 0;
  Bytes decoder_specific_info = {};  // empty: no such descriptor
  Bytes sl_config = {2};             // empty: no such descriptor
};
Bytes es_descriptor(const ElementaryStream& stream = {});
Bytes esds_of(const Bytes& descriptor_bytes);
Bytes esds(const ElementaryStream& stream = {});

struct AvcConfiguration {
  uint8_t profile = 66;
  uint8_t profile_compatibility = 0xC0;
  uint8_t level = 30;
  uint8_t nal_length_size_minus_one = 3;
  std::vector<Bytes> sps = {};
  std::vector<Bytes> pps = {};
};
Bytes avcc(const AvcConfiguration& configuration);
Bytes d263(uint32_t vendor, uint8_t decoder_version, uint8_t level, uint8_t profile,
           const Bytes& children = {});
Bytes bitr(uint32_t average_bitrate, uint32_t max_bitrate);
// damr; dvmr with its sampling frequency in place of the mode change period.
Bytes damr(uint32_t vendor, uint8_t decoder_version, uint16_t mode_set, uint8_t mode_change_period,
           uint8_t frames_per_sample, std::string_view type = "damr");
Bytes dawp(uint32_t vendor, uint8_t decoder_version);
// devc, decb, decw, dqcp, dsmv.
Bytes speech_configuration(std::string_view type, uint32_t vendor, uint8_t decoder_version,
                           uint8_t frames_per_sample);

struct Ac3Configuration {
  uint8_t fscod = 0;
  uint8_t bsid = 8;
  uint8_t bsmod = 0;
  uint8_t acmod = 2;
  uint8_t lfeon = 0;
  uint8_t bit_rate_code = 10;
};
Bytes dac3(const Ac3Configuration& configuration = {});
struct Eac3Substream {
  uint8_t fscod = 0;
  uint8_t bsid = 16;
  uint8_t bsmod = 0;  // five bits
  uint8_t acmod = 2;
  uint8_t lfeon = 0;
  uint8_t num_dep_sub = 0;
  uint16_t channel_location = 0;  // nine bits
};
// `claimed_field` -1: the number of substreams minus 1.
Bytes dec3(uint16_t data_rate, const std::vector<Eac3Substream>& substreams, int claimed_field = -1);

}  // namespace zdr::test

#endif
