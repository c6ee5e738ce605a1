// Releases, measures and copies the contents of the records of id3p.h.
#include "id3p/release.h"

#include <algorithm>
#include <new>
#include <string_view>

namespace zdr::id3p {
namespace {

constexpr TextField kTextFields[] = {
    &ID3P_Text::title,    &ID3P_Text::artist,          &ID3P_Text::album,   &ID3P_Text::year,
    &ID3P_Text::comment,  &ID3P_Text::genre,           &ID3P_Text::track,   &ID3P_Text::length,
    &ID3P_Text::composer, &ID3P_Text::original_artist, &ID3P_Text::user_url};

void release_tag(ID3P_Tag*& tag) {
  if (tag == nullptr) return;
  if (tag->text.release != nullptr) tag->text.release(&tag->text);
  delete tag;
  tag = nullptr;
}

char16_t* copy_of(const char16_t* text) {
  const std::u16string_view characters = text;
  auto* const copy = new (std::nothrow) char16_t[characters.size() + 1]();
  if (copy != nullptr) characters.copy(copy, characters.size());
  return copy;
}

}  // namespace

std::span<const TextField> text_fields() {
  return kTextFields;
}

void release_picture(ID3P_Text& text) {
  if (text.picture == nullptr) return;
  ID3P_Picture& picture = *text.picture;
  delete[] picture.head;
  delete[] picture.text_encoding;
  delete[] picture.mime_type;
  delete[] picture.picture_type;
  delete[] picture.description;
  delete[] picture.data;
  delete text.picture;
  text.picture = nullptr;
}

}  // namespace zdr::id3p

using namespace zdr::id3p;

void ID3P_FreeTag(ID3P_Text* text) noexcept {
  if (text == nullptr) return;
  for (const TextField field : text_fields()) {
    delete[](text->*field);
    text->*field = nullptr;
  }
  release_picture(*text);
}

void ID3P_FreeTags(ID3P_TagSet* tags) noexcept {
  if (tags == nullptr) return;
  release_tag(tags->v1);
  release_tag(tags->v22);
  release_tag(tags->v23);
  delete tags->v24;
  tags->v24 = nullptr;
}

uint32_t ID3P_TotalTagBytes(const ID3P_TagSet* tags) noexcept {
  if (tags == nullptr) return 0;
  uint32_t total = tags->v24 != nullptr ? tags->v24->size : 0;
  for (const ID3P_Tag* tag : {tags->v1, tags->v22, tags->v23}) {
    if (tag != nullptr) total += tag->size;
  }
  return total;
}

int32_t ID3P_CopyText(ID3P_Text* destination, const ID3P_Tag* tag) noexcept {
  if (destination == nullptr || tag == nullptr) return ID3P_ERR_FAILED;
  destination->release = tag->text.release;
  for (const TextField field : text_fields()) {
    if (tag->text.*field == nullptr) continue;
    destination->*field = copy_of(tag->text.*field);
    if (destination->*field == nullptr) return ID3P_ERR_NO_MEMORY;
  }
  return ID3P_OK;
}
