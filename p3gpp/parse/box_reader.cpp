// Bounds every read and skip by the box and by the file.
#include "p3gpp/parse/box_reader.h"

#include <algorithm>

namespace zdr::p3gpp {

Status BoxReader::fail(Status status) {
  if (status_ == P3GPP_OK) status_ = status;
  return status_;
}

uint64_t BoxReader::available() const {
  return std::min(remaining_, context_.left_in_file());
}

bool BoxReader::read(std::span<uint8_t> out) {
  if (out.empty()) return status_ == P3GPP_OK;  // FMGR refuses to read 0 bytes
  if (status_ == P3GPP_OK && out.size() > remaining_) fail(P3GPP_ERR_BOX_SIZE);
  if (status_ == P3GPP_OK) fail(context_.read(out));
  if (status_ != P3GPP_OK) {
    std::fill(out.begin(), out.end(), uint8_t{0});
    return false;
  }
  remaining_ -= out.size();
  return true;
}

bool BoxReader::can_supply(uint64_t count) {
  if (count > remaining_) fail(P3GPP_ERR_BOX_SIZE);
  if (count > available() || count > ParseContext::kMaxReadBytes) fail(P3GPP_ERR_READ);
  return status_ == P3GPP_OK;
}

bool BoxReader::may_keep(uint64_t count) {
  if (!can_supply(count)) return false;
  if (count > context_.left_to_keep) return fail(P3GPP_ERR_READ) == P3GPP_OK;
  context_.left_to_keep -= count;
  return true;
}

std::vector<uint8_t> BoxReader::read_bytes(uint64_t count) {
  if (!may_keep(count)) return {};
  std::vector<uint8_t> bytes(static_cast<size_t>(count));
  read(bytes);
  return bytes;
}

std::vector<uint8_t> BoxReader::read_front(uint64_t count) {
  if (!can_supply(remaining_)) return {};
  std::vector<uint8_t> bytes(static_cast<size_t>(std::min(count, remaining_)));
  read(bytes);
  skip_to_end();
  return bytes;
}

std::string BoxReader::read_text(uint64_t count) {
  if (!may_keep(count)) return {};
  std::string text(static_cast<size_t>(count), '\0');
  read({reinterpret_cast<uint8_t*>(text.data()), text.size()});
  return text;
}

void BoxReader::read_full_box_header(BoxNode& node) {
  const auto bytes = read_array<4>();
  node.version = bytes[0];
  std::copy(bytes.begin() + 1, bytes.end(), node.flags.begin());
}

void BoxReader::skip(uint64_t count) {
  if (count > remaining_) fail(P3GPP_ERR_BOX_SIZE);
  if (count == 0 || status_ != P3GPP_OK) return;
  if (fail(context_.skip(count)) == P3GPP_OK) remaining_ -= count;
}

BoxReader BoxReader::narrowed(uint64_t size) {
  const uint64_t granted = std::min(size, remaining_);
  remaining_ -= granted;
  return BoxReader(context_, granted);
}

}  // namespace zdr::p3gpp
