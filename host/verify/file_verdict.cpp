// Derives verdicts from errors, and converts them to bytes and back.
#include "host/verify/file_verdict.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>

namespace zdr::host {
namespace {

constexpr std::array<std::string_view, kVerdicts> kWords = {
    "ok", "damaged", "lost", "not supported", "unreadable", "differs", "missing", "interrupted"};

// Losses of data that is present, but wrong.
constexpr MessageCode kDamage[] = {MessageCode::kFileDamaged, MessageCode::kUnitsDamaged,
                                   MessageCode::kStreamIncomplete};
// Why a file does not open, other than damage.
constexpr MessageCode kUnreadable[] = {
    MessageCode::kFileNotFound,    MessageCode::kFileNotReadable, MessageCode::kFileNotSeekable,
    MessageCode::kFileTypeUnknown, MessageCode::kReadFailed,      MessageCode::kOutOfMemory,
    MessageCode::kModuleFailed,    MessageCode::kGraphFailed,     MessageCode::kStalled};

bool has_any(const std::vector<Message>& errors, std::span<const MessageCode> codes) {
  return std::ranges::any_of(
      errors, [codes](const Message& error) { return std::ranges::find(codes, error.code) != codes.end(); });
}

class Packer {
 public:
  template <class Number>
  void number(Number& value) {
    const auto wide = static_cast<uint64_t>(value);
    bytes.append(reinterpret_cast<const char*>(&wide), sizeof wide);
  }
  void text(std::string& value) {
    size_t size = value.size();
    number(size);
    bytes += value;
  }
  template <class Item>
  void list(std::vector<Item>& items) {
    size_t count = items.size();
    number(count);
    for (Item& item : items) transfer(*this, item);
  }

  std::string bytes;
};

class Unpacker {
 public:
  explicit Unpacker(std::string_view bytes) : rest_(bytes) {}

  template <class Number>
  void number(Number& value) {
    uint64_t wide = 0;
    const std::string_view digits = take(sizeof wide);
    std::memcpy(&wide, digits.data(), digits.size());
    value = static_cast<Number>(wide);
  }
  void text(std::string& value) {
    size_t size = 0;
    number(size);
    value = take(size);
  }
  template <class Item>
  void list(std::vector<Item>& items) {
    size_t count = 0;
    number(count);
    while (!failed_ && count-- != 0) transfer(*this, items.emplace_back());
  }
  bool is_done() const { return !failed_ && rest_.empty(); }

 private:
  // Empty if there are not so many bytes.
  std::string_view take(size_t size) {
    failed_ = failed_ || size > rest_.size();
    const std::string_view taken = rest_.substr(0, failed_ ? 0 : size);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rest_;
  bool failed_ = false;
};

template <class Archive>
void transfer(Archive& archive, DamagedUnit& unit) {
  archive.number(unit.number);
  archive.number(unit.time);
  archive.number(unit.offset);
  archive.text(unit.reason);
}

template <class Archive>
void transfer(Archive& archive, StreamVerdict& stream) {
  archive.text(stream.pin);
  archive.text(stream.name);
  archive.number(stream.samples);
  archive.number(stream.payload_bytes);
  archive.number(stream.is_decoded);
  archive.text(stream.digest);
  archive.list(stream.damaged_units);
  archive.number(stream.has_more_damage);
}

template <class Archive>
void transfer(Archive& archive, Message& message) {
  archive.number(message.code);
  archive.text(message.file);
  archive.number(message.place.kind);
  archive.text(message.place.name);
  archive.number(message.place.number);
  archive.number(message.place.size);
  archive.text(message.reason);
  archive.text(message.status);
}

template <class Archive>
void transfer(Archive& archive, FileVerdict& verdict) {
  archive.text(verdict.file);
  archive.number(verdict.exit_code);
  archive.number(verdict.verdict);
  archive.list(verdict.streams);
  archive.list(verdict.errors);
  archive.list(verdict.notes);
}

}  // namespace

std::string_view word_of(Verdict verdict) {
  return kWords[static_cast<size_t>(verdict)];
}

Verdict verdict_of(ExitCode code, const std::vector<Message>& errors) {
  if (code == ExitCode::kDone) return Verdict::kOk;
  if (code == ExitCode::kInterrupted) return Verdict::kInterrupted;
  if (code == ExitCode::kNotSupported) return Verdict::kNotSupported;
  if (code == ExitCode::kLoss) return has_any(errors, kDamage) ? Verdict::kDamaged : Verdict::kLost;
  return has_any(errors, kUnreadable) ? Verdict::kUnreadable : Verdict::kDamaged;
}

void FileVerdict::add_error(Message error, ExitCode code, Verdict worse) {
  errors.push_back(std::move(error));
  exit_code = worse_of(exit_code, code);
  if (verdict == Verdict::kOk) verdict = worse;
}

std::string pack(FileVerdict verdict) {
  Packer packer;
  transfer(packer, verdict);
  return std::move(packer.bytes);
}

bool unpack(std::string_view bytes, FileVerdict& verdict) {
  Unpacker unpacker(bytes);
  transfer(unpacker, verdict);
  return unpacker.is_done();
}

}  // namespace zdr::host
