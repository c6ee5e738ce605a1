// Writes silent blocks padded with data elements, and the headers of the three kinds of AAC file.
#include "mediakit/aac/stream_builder.h"

#include "mediakit/aac/block_writer.h"

namespace zdr::test {
namespace {

constexpr size_t kAdtsHeaderBytes = 7;
constexpr size_t kLargestDataElement = 254;  // without a second count byte
constexpr size_t kDataElementHeaderBits = 16;

void put_data_element(BitWriter& w, size_t count, uint8_t filler) {
  w.fields({{kDse, 3}, {0, 4}, {1, 1}, {count, 8}}).align().append(Bytes(count, filler));
}

}  // namespace

Bytes silent_block(size_t size, int channels, uint8_t filler) {
  BitWriter w = channels == 1 ? silent_sce() : silent_cpe();
  // Bytes between the header of the next data element and the end element.
  const auto free_bytes = [&w, size] { return size - 1 - (w.size() + kDataElementHeaderBits + 7) / 8; };
  while (free_bytes() > kLargestDataElement) put_data_element(w, 200, filler);
  put_data_element(w, free_bytes(), filler);
  return block_of(w);
}

Bytes adts_frame(size_t size, const FrameFields& fields) {
  const Bytes block = silent_block((size - kAdtsHeaderBytes) / fields.blocks,
                                   static_cast<int>(fields.channels), fields.filler);
  return adts_frame({.rate_index = 4, .channels = fields.channels, .further_blocks = fields.blocks - 1},
                    repeated(block, fields.blocks));
}

Bytes repeated(const Bytes& piece, size_t count) {
  Bytes all;
  all.reserve(piece.size() * count);
  for (size_t i = 0; i < count; ++i) all.insert(all.end(), piece.begin(), piece.end());
  return all;
}

Bytes adts_file(size_t frame_count, size_t frame_size) {
  return repeated(adts_frame(frame_size), frame_count);
}

Bytes adif_header(const AdifFields& fields) {
  BitWriter w{{0x41444946, 32}, {fields.copyright ? 1 : 0, 1}};
  for (uint64_t i = 0; fields.copyright && i < 9; ++i) w.put(0x9D + i, 8);
  w.fields({{0, 2}, {fields.variable_rate ? 1 : 0, 1}, {128000, 23}, {fields.further_programs, 4}});
  if (!fields.variable_rate) w.put(0, 20);
  // program_config_element: one front element, object type LC.
  w.fields({{0, 4}, {1, 2}, {fields.sampling_index, 4}, {1, 4}, {0, 4}, {0, 4}, {0, 2}, {0, 3}, {0, 4}});
  w.fields({{0, 3}, {fields.channels == 2 ? 1 : 0, 1}, {0, 4}});
  return w.align().put(0, 8).bytes();
}

Bytes raw_header() {
  return {2, 0x12, 0x10};
}

}  // namespace zdr::test
