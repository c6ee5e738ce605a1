// Runs the tag parser on a whole file, or on a part of a file that the callbacks present as a whole one.
#include "host/inspect/tags/id3_tags.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "host/inspect/files/os_file.h"
#include "host/memory.h"

namespace zdr::host {
namespace {

// The part of an open file that the callbacks present as a whole file.
struct FilePart {
  void* file;
  int64_t offset;
  int64_t size;
  int64_t position;
};

int32_t seek_part(void* handle, int32_t offset, int32_t whence) {
  auto& part = *static_cast<FilePart*>(handle);
  const int64_t base = whence == 0 ? 0 : whence == 1 ? part.position : part.size;
  const int64_t target = part.offset + base + offset;
  if (base + offset < 0 || target > INT32_MAX) return -1;
  part.position = base + offset;
  return OS_fseek(part.file, static_cast<int32_t>(target), 0);
}

uint32_t read_part(void* buffer, uint32_t size, uint32_t count, void* handle) {
  auto& part = *static_cast<FilePart*>(handle);
  const int64_t left = std::max<int64_t>(0, part.size - part.position);
  const auto items = static_cast<uint32_t>(size == 0 ? 0 : std::min<int64_t>(count, left / size));
  const uint32_t done = items == 0 ? 0 : OS_fread(buffer, size, items, part.file);
  part.position += int64_t{done} * size;
  return done;
}

int32_t position_of_part(void* handle) {
  const int64_t position = static_cast<FilePart*>(handle)->position;
  return position > INT32_MAX ? -1 : static_cast<int32_t>(position);
}

// Open and close are stubs: the file is open already and stays open.
constexpr AACF_FileIo kPartIo = {[](const char16_t*, const char*) -> void* { return nullptr; },
                                 seek_part,
                                 read_part,
                                 OS_fwrite,
                                 [](void*) { return 0; },
                                 position_of_part};

struct NamedField {
  const char* name;
  char16_t* ID3P_Text::*field;
};

constexpr NamedField kFields[] = {
    {"title", &ID3P_Text::title},       {"artist", &ID3P_Text::artist},
    {"album", &ID3P_Text::album},       {"year", &ID3P_Text::year},
    {"comment", &ID3P_Text::comment},   {"genre", &ID3P_Text::genre},
    {"track", &ID3P_Text::track},       {"length", &ID3P_Text::length},
    {"composer", &ID3P_Text::composer}, {"original artist", &ID3P_Text::original_artist},
    {"user url", &ID3P_Text::user_url},
};

constexpr const char* kImageNames[] = {"JPEG", "GIF", "PNG"};

void add_records(const char* version, const ID3P_Tag* tag, std::vector<TagRecord>& records) {
  if (tag == nullptr) return;
  for (const NamedField& named : kFields) {
    const char16_t* const text = tag->text.*named.field;
    if (text == nullptr || *text == 0) continue;
    records.push_back({named.name,
                       version,
                       "",
                       {{"text", text_view(as_bytes(std::u16string_view(text)), TextEncoding::kWide)}}});
  }
  const ID3P_Picture* const picture = tag->text.picture;
  if (picture == nullptr || picture->data_length == 0) return;
  records.push_back(
      {"cover",
       version,
       "",
       {{"image", std::string(kImageNames[picture->format])}, {"size", uint64_t{picture->data_length}}}});
}

// The file was opened before, so if it still exists, memory or handles are exhausted.
OwnedFile reopened(const std::string& file) {
  OwnedFile handle = open_file(file);
  std::error_code code;
  if (!handle && std::filesystem::exists(file, code)) throw_exhausted();
  return handle;
}

}  // namespace

Id3Tags::Id3Tags(const std::string& file) {
  parse(reopened(file).get(), kFileIo);
}

Id3Tags::Id3Tags(const std::string& file, uint64_t offset, uint64_t size) {
  const OwnedFile handle = reopened(file);
  if (!handle || offset > INT32_MAX || size > INT32_MAX) return;
  FilePart part{handle.get(), static_cast<int64_t>(offset), static_cast<int64_t>(size), 0};
  if (seek_part(&part, 0, 0) == 0) parse(&part, kPartIo);
}

// If memory runs out for the body of a tag, the parser reports a tag without texts and leaves the file
// position before the body. If it runs out for a picture, the parser returns the status of damage, which
// therefore counts only if it recurs.
void Id3Tags::parse(void* handle, const AACF_FileIo& io) {
  status_ = with_memory(ID3P_Parse(handle, &io, &tags_), ID3P_ERR_NO_MEMORY);
  if (status_ == ID3P_ERR_FAILED) {
    ID3P_FreeTags(&tags_);
    status_ = with_memory(ID3P_Parse(handle, &io, &tags_), ID3P_ERR_NO_MEMORY);
  }
  if (status_ == ID3P_OK && v2_bytes() != 0 && io.tell(handle) != static_cast<int32_t>(v2_bytes())) {
    throw std::bad_alloc();
  }
}

uint32_t Id3Tags::v2_bytes() const {
  if (tags_.v22 != nullptr) return tags_.v22->size;
  if (tags_.v23 != nullptr) return tags_.v23->size;
  return tags_.v24 != nullptr ? tags_.v24->size : 0;
}

std::vector<TagRecord> Id3Tags::v2_records() const {
  std::vector<TagRecord> records;
  add_records("ID3v2.2", tags_.v22, records);
  add_records("ID3v2.3", tags_.v23, records);
  return records;
}

std::vector<TagRecord> Id3Tags::records() const {
  std::vector<TagRecord> records = v2_records();
  // The parser reports only the size of a tag of this version.
  if (tags_.v24 != nullptr) {
    records.push_back(
        {"ID3v2 tag", "ID3v2.4", "", {{"offset", uint64_t{0}}, {"size", uint64_t{tags_.v24->size}}}});
  }
  add_records("ID3v1", tags_.v1, records);
  return records;
}

Bytes Id3Tags::picture() const {
  const ID3P_Picture* const picture = tags_.v23 != nullptr ? tags_.v23->text.picture : nullptr;
  return picture != nullptr ? Bytes(picture->data, picture->data_length) : Bytes();
}

}  // namespace zdr::host
