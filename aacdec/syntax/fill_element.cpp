// Reads the length of a fill element, then its extension payload by type.
#include "aacdec/syntax/fill_element.h"

#include <new>
#include <type_traits>

#include "aacdec/syntax/sampling_rates.h"

namespace zdr::aacdec {
namespace {

enum ExtensionType { kFillData = 1, kDynamicRange = 11, kSbrData = 13, kSbrDataCrc = 14 };
constexpr int kTypeBits = 4;

static_assert(sizeof(SbrParser) <= kSbrScratchBytes);
static_assert(std::is_trivially_destructible_v<SbrParser>);

// Constructs the SBR parser for measuring, at the first SBR payload.
void make_sbr_parser(BlockContext& context) {
  if (context.scratch.size() < sizeof(SbrParser)) return;
  context.sbr = new (context.scratch.data()) SbrParser(kSamplingRates[context.format.sampling_index]);
}

// `payload_bits` counts from the end of the extension type.
bool parse_sbr_extension(BitReader& reader, int type, uint64_t payload_bits, SbrElement element,
                         BlockContext& context, Frame& frame) {
  context.sbr_signalled = true;
  if (!context.keep_values && context.sbr == nullptr) make_sbr_parser(context);
  const uint64_t start = reader.position();
  if (context.sbr != nullptr) {
    const SbrResult result = parse_sbr_payload(reader, type == kSbrDataCrc, element, *context.sbr, frame.sbr,
                                               context.ps_signalled);
    if (result != SbrResult::kParsed && result != SbrResult::kNoHeader) return false;
  }
  if (reader.position() - start > payload_bits) return false;
  reader.seek(start + payload_bits);
  return true;
}

bool parse_extension_payload(BitReader& reader, uint64_t count, std::optional<SbrElement> element,
                             BlockContext& context, Frame& frame) {
  const int type = static_cast<int>(reader.read(kTypeBits));
  const uint64_t payload_bits = 8 * count - kTypeBits;
  switch (type) {
    case kDynamicRange:
      frame.dynamic_range.program_reference_level = context.program_reference_level;
      parse_dynamic_range(reader, frame.dynamic_range);
      context.program_reference_level = frame.dynamic_range.program_reference_level;
      // Kept: the rest of the element is not skipped, so padding is read as the next element.
      return true;
    case kFillData:
      reader.skip(4 + 8 * (count - 1));
      return true;
    case kSbrData:
    case kSbrDataCrc:
      if (element.has_value()) {
        return parse_sbr_extension(reader, type, payload_bits, *element, context, frame);
      }
      [[fallthrough]];
    default:
      reader.skip(payload_bits);
      return true;
  }
}

}  // namespace

bool parse_fill_element(BitReader& reader, std::optional<SbrElement> element, BlockContext& context,
                        Frame& frame) {
  uint64_t count = reader.read(4);
  if (count == 15) count += reader.read(8) - uint64_t{1};
  // Kept: one payload is read, even if bytes of the element remain.
  return count == 0 || parse_extension_payload(reader, count, element, context, frame);
}

}  // namespace zdr::aacdec
