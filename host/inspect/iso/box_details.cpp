// Reads the bytes of a box as its layout says.
#include "host/inspect/iso/box_details.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>

#include "host/inspect/iso/bit_reader.h"
#include "host/inspect/iso/box_layout.h"
#include "host/inspect/iso/field_layouts.h"
#include "host/text/decoded_text.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

using namespace layouts;

constexpr uint64_t kMostRestBytes = 1024;
constexpr uint64_t kMostConfigurationBytes = 4096;

const Layout* find_layout(std::string_view type, std::string_view container) {
  if (container == "stsd")
    return is_video_entry(type) ? &kVideoLayout : is_audio_entry(type) ? &kAudioLayout : nullptr;
  if (container == "tref") return &kReferenceLayout;
  if (container == "ilst") return nullptr;
  const auto* const found = std::ranges::find(kLayouts, type, &Layout::type);
  return found != std::end(kLayouts) ? found : nullptr;
}

bool takes_rest(Kind kind) {
  return kind >= Kind::kTypes;
}

size_t bits_of(const FieldRow& row, uint8_t version) {
  return row.bits != kWide ? row.bits : version == 1 ? 64 : 32;
}

// The bytes of fields without those that take the rest.
uint64_t bytes_of(std::span<const FieldRow> rows, uint8_t version) {
  size_t bits = 0;
  for (const FieldRow& row : rows) bits += takes_rest(row.kind) ? 0 : bits_of(row, version);
  return (bits + 7) / 8;
}

bool shows_entries(std::string_view type, const EntryChoice& choice) {
  return type == choice.table || type == "elst";
}

// --- Values ---

int64_t sign_extended(uint64_t value, size_t bits) {
  const uint64_t sign = uint64_t{1} << (bits - 1);
  return static_cast<int64_t>((value ^ sign) - sign);
}

std::string type_of(uint64_t raw) {
  std::string type;
  for (unsigned shift = 32; shift > 0; shift -= 8) type += static_cast<char>(raw >> (shift - 8) & 0xFF);
  return type_text(type);
}

// A name of QuickTime begins with its length. `left_out` bytes of the text are not in `bytes`.
TextView text_of(Bytes bytes, uint64_t left_out) {
  if (left_out != 0) return {bytes, bytes.size() + left_out};
  if (!bytes.empty() && bytes[0] == bytes.size() - 1) bytes = bytes.subspan(1);
  while (!bytes.empty() && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
  return text_view(bytes);
}

// The angle by which a matrix turns the picture, if it does nothing else.
std::optional<uint64_t> rotation_of(const ArrayView& matrix) {
  struct Rotation {
    std::array<double, 4> matrix;  // its upper left corner
    uint64_t degrees;
  };
  constexpr Rotation kRotations[] = {
      {{1, 0, 0, 1}, 0}, {{0, 1, -1, 0}, 90}, {{-1, 0, 0, -1}, 180}, {{0, -1, 1, 0}, 270}};
  const auto at = [&](size_t index) { return std::get<double>(*matrix.at(index)); };
  const std::array corner = {at(0), at(1), at(3), at(4)};
  const auto* const found = std::ranges::find(kRotations, corner, &Rotation::matrix);
  return found != std::end(kRotations) ? std::optional(found->degrees) : std::nullopt;
}

// --- Reading ---

// Reads the fields of a box or of an entry.
class LayoutReader {
 public:
  // `left_out`: bytes that follow in the file.
  LayoutReader(Bytes bytes, uint64_t left_out, uint8_t version, FieldSink& sink)
      : reader_(bytes), left_out_(left_out), version_(version), sink_(sink) {}

  void read(std::span<const FieldRow> rows) {
    for (const FieldRow& row : rows) {
      if (!reader_.has_failed()) read(row);
    }
  }
  bool has_failed() const { return reader_.has_failed(); }
  uint64_t entries() const { return common_size_ == 0 ? entries_ : 0; }

 private:
  void read(const FieldRow& row);
  void read_matrix(const FieldRow& row);
  void read_number(const FieldRow& row);
  FieldValue value_of(const FieldRow& row, uint64_t raw, size_t bits) const;

  BitReader reader_;
  uint64_t left_out_;
  uint8_t version_;
  FieldSink& sink_;
  uint64_t entries_ = 0;
  uint64_t common_size_ = 0;
};

void LayoutReader::read(const FieldRow& row) {
  switch (row.kind) {
    case Kind::kSkipped:
      reader_.skip(bits_of(row, version_));
      return;
    case Kind::kMatrix:
      return read_matrix(row);
    case Kind::kTypes:
      return sink_.add({row.name, ArrayView{reader_.rest(), ArrayView::Kind::kTypes}});
    case Kind::kTrackIds:
      return sink_.add({row.name, ArrayView{reader_.rest(), ArrayView::Kind::kNumbers}});
    case Kind::kText:
      return sink_.add({row.name, text_of(reader_.rest(), left_out_)});
    default:
      return read_number(row);
  }
}

void LayoutReader::read_matrix(const FieldRow& row) {
  const ArrayView matrix{reader_.take_bytes(kMatrixBits / 8), ArrayView::Kind::kMatrix};
  if (matrix.bytes.size() < kMatrixBits / 8) return;
  sink_.add({row.name, matrix});
  if (const auto degrees = rotation_of(matrix)) sink_.add({row.second_name, *degrees});
}

void LayoutReader::read_number(const FieldRow& row) {
  const size_t bits = bits_of(row, version_);
  const uint64_t raw = reader_.take(bits);
  if (reader_.has_failed()) return;
  if (row.kind == Kind::kCount) entries_ = raw;
  if (row.kind == Kind::kCommonSize) common_size_ = raw;
  sink_.add({row.name, value_of(row, raw, bits)});
  DateDigits digits;
  if (row.kind == Kind::kTime && !format_date(raw, digits).empty())
    sink_.add({row.second_name, FileDate{raw}});
}

FieldValue LayoutReader::value_of(const FieldRow& row, uint64_t raw, size_t bits) const {
  switch (row.kind) {
    case Kind::kSigned:
      return sign_extended(raw, bits);
    case Kind::kOffset:
      return version_ == 0 ? FieldValue(raw) : FieldValue(sign_extended(raw, bits));
    case Kind::kFixed:
      return from_fixed(static_cast<uint32_t>(raw << (32 - bits))) /
             static_cast<double>(uint64_t{1} << (32 - bits) / 2);
    case Kind::kLanguage:
      return language_text(static_cast<uint32_t>(raw));
    case Kind::kType:
      return type_of(raw);
    default:
      return raw + row.bias;
  }
}

void read_entries(const BodyView& body, const Layout& layout, uint64_t claimed, const EntryChoice& choice,
                  FieldSink& sink) {
  const uint64_t header = bytes_of(layout.fields, body.version);
  const auto size = static_cast<size_t>(bytes_of(layout.entry, body.version));
  const uint64_t held = std::min(claimed, (body.length - header) / size);
  if (held < claimed) sink.add({"entries_in_box", held});
  if (!shows_entries(body.type, choice)) return;
  const Bytes entries = body.front.subspan(static_cast<size_t>(header));
  const uint64_t shown = std::min({held, choice.most, uint64_t{entries.size() / size}});
  for (size_t entry = 0; entry < shown; ++entry) {
    sink.begin_entry();
    LayoutReader(entries.subspan(entry * size, size), 0, body.version, sink).read(layout.entry);
  }
  if (shown < held) sink.leave_out(held - shown);
}

}  // namespace

bool has_layout(std::string_view type) {
  const auto* const found = std::ranges::find(kLayouts, type, &Layout::type);
  return found != std::end(kLayouts) ? found->use == Use::kReplaces
                                     : is_video_entry(type) || is_audio_entry(type);
}

uint64_t wanted_body_bytes(std::string_view type, std::string_view container, const EntryChoice& choice) {
  const Layout* const layout = find_layout(type, container);
  if (layout == nullptr) return 0;
  if (layout->decode != nullptr) return kMostConfigurationBytes;
  const bool has_rest = takes_rest(layout->fields.back().kind);
  const uint64_t fields = bytes_of(layout->fields, 1) + (has_rest ? kMostRestBytes : 0);
  const uint64_t entry = bytes_of(layout->entry, 1);
  if (entry == 0 || !shows_entries(type, choice)) return fields;
  return fields + entry * std::min(choice.most, UINT64_MAX / 2 / entry);
}

void describe_body(const BodyView& body, const EntryChoice& choice, FieldSink& sink) {
  const Layout* const layout = find_layout(body.type, body.container);
  if (layout == nullptr || body.front.empty()) return;
  if (layout->decode != nullptr) return layout->decode(body.front, sink);
  LayoutReader reader(body.front, body.length - body.front.size(), body.version, sink);
  reader.read(layout->fields);
  if (!layout->entry.empty() && !reader.has_failed())
    read_entries(body, *layout, reader.entries(), choice, sink);
}

}  // namespace zdr::host
