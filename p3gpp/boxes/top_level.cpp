// Reads the top-level boxes. Only these may be larger than 4 GiB or extend to the end of the file.
#include "p3gpp/boxes/top_level.h"

#include <algorithm>

#include "p3gpp/boxes/leaf_boxes.h"
#include "p3gpp/boxes/movie_boxes.h"
#include "p3gpp/parse/box_view.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

constexpr uint32_t kWideHeaderSize = 16;  // with the 64-bit size

class TopLevelScan {
 public:
  TopLevelScan(ParseContext& context, P3gppFile& file) : context_(context), file_(file) {}
  Status run();

 private:
  struct Box {
    uint32_t size = 0;  // the 32-bit field
    PathStep step;
    bool is(std::string_view type) const { return step.is(type); }
  };
  enum class Next : uint8_t { kBox, kStop };

  Status read_header(Box& box, Next& next);
  Status read_large_size(Box& box);
  Status handle(const Box& box, Next& next);
  Status read_moov(const Box& box);
  void store_moof(const Box& box);
  Status skip(const Box& box, Next& next);
  Status refuse(Status status, const Box& box) { return refuse_child(context_, box.step, status); }
  // The size by which the scan advances.
  uint64_t measured(const Box& box) const { return is_wide_ ? large_size_ : box.size; }
  // The bytes to skip after the header. Once a box has used the 64-bit form, every header counts as 16 bytes,
  // even if it has 8.
  uint64_t body_size(const Box& box) const {
    return measured(box) - (is_wide_ ? kWideHeaderSize : kBoxHeaderSize);
  }

  ParseContext& context_;
  P3gppFile& file_;
  uint64_t position_ = 0;  // sum of the measured sizes; the stream may be elsewhere
  // Kept: once a box has used the 64-bit form, every later one is measured by the 64-bit size read last.
  bool is_wide_ = false;
  uint64_t large_size_ = 0;
};

Status TopLevelScan::read_large_size(Box& box) {
  std::array<uint8_t, 8> bytes{};
  if (const Status status = context_.read(bytes); status != P3GPP_OK) return refuse(status, box);
  is_wide_ = true;
  large_size_ = box.step.size = load_be64(bytes.data());
  return large_size_ < kWideHeaderSize ? refuse(P3GPP_ERR_BOX_SIZE, box) : P3GPP_OK;
}

Status TopLevelScan::read_header(Box& box, Next& next) {
  std::array<uint8_t, kBoxHeaderSize> header{};
  if (context_.read(header) != P3GPP_OK) {  // the end of the file
    next = Next::kStop;
    return P3GPP_OK;
  }
  box.size = load_be32(header.data());
  box.step.size = box.size;
  box.step.offset = position_;
  std::copy_n(header.begin() + 4, 4, box.step.type.begin());
  if (box.size == 1) return read_large_size(box);
  if (box.size >= kBoxHeaderSize || is_wide_) return P3GPP_OK;
  next = Next::kStop;
  if (box.size != 0) return refuse(P3GPP_ERR_BOX_SIZE, box);
  show_unread_box(context_, box.step, P3GPP_OK);  // size 0: it extends to the end of the file
  return P3GPP_OK;
}

// Kept: the children are measured by the 32-bit size field, which is 1 in the 64-bit form, so such a moov
// fails.
Status TopLevelScan::read_moov(const Box& box) {
  if (box.size < kBoxHeaderSize) {
    return refuse(context_.left_in_file() < kBoxHeaderSize ? P3GPP_ERR_READ : P3GPP_ERR_BOX_SIZE, box);
  }
  const BoxReader body(context_, box.size - kBoxHeaderSize);
  return parse_box(body, box.size, box.step, nullptr, parse_moov, Rest::kReadAsNextBox, file_.moov);
}

Status TopLevelScan::skip(const Box& box, Next& next) {
  const uint64_t count = body_size(box);
  if (count > context_.left_in_file()) {  // no box can follow
    next = Next::kStop;
    return P3GPP_OK;
  }
  const Status status = count == 0 ? P3GPP_OK : context_.skip(count);
  return status == P3GPP_OK ? P3GPP_OK : refuse(status, box);
}

// Kept: a moof is stored without payload; fragments are not read.
void TopLevelScan::store_moof(const Box& box) {
  const TrailScope scope(context_.trail, box.step);
  file_.moof = make_node(box.size, box.step, nullptr);
  show_parsed_box(context_, *file_.moof, P3GPP_OK);
}

Status TopLevelScan::handle(const Box& box, Next& next) {
  if (box.is("moov")) {
    next = Next::kStop;  // Kept: nothing after the first moov is read.
    return read_moov(box);
  }
  if (box.is("ftyp")) {
    return parse_box(BoxReader(context_, body_size(box)), box.size, box.step, nullptr, parse_ftyp,
                     Rest::kSkipped, file_.ftyp);
  }
  if (box.is("moof")) {
    store_moof(box);
  } else {
    show_unread_box(context_, box.step, P3GPP_OK);
  }
  return skip(box, next);
}

Status TopLevelScan::run() {
  Next next = Next::kBox;
  while (next == Next::kBox) {
    Box box;
    Status status = read_header(box, next);
    if (status == P3GPP_OK && next == Next::kBox) status = handle(box, next);
    if (status != P3GPP_OK) return status;
    position_ += measured(box);
  }
  return file_.moov ? P3GPP_OK : P3GPP_ERR_NO_MOOV;
}

}  // namespace

Status scan_top_level(ParseContext& context, P3gppFile& file) {
  return TopLevelScan(context, file).run();
}

}  // namespace zdr::p3gpp
