// Reads arbitrary bytes as a file with ID3 tags: parses them, copies the texts and releases everything.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "id3p/id3p.h"
#include "mediakit/files/memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ID3P_SetConsole([](const char*) {});
  zdr::test::MemoryFile file({data, size});
  ID3P_TagSet tags{};
  const int32_t status = ID3P_Parse(file.handle(), &file.io(), &tags);
  if (status != ID3P_OK && status != ID3P_ERR_FAILED && status != ID3P_ERR_SHORT_READ) std::abort();
  for (const ID3P_Tag* tag : {tags.v1, tags.v22, tags.v23}) {
    if (tag == nullptr) continue;
    if (status == ID3P_OK && tag->size > size) std::abort();
    ID3P_Text copy{};
    if (ID3P_CopyText(&copy, tag) != ID3P_OK) std::abort();
    copy.release(&copy);
  }
  ID3P_FreeTags(&tags);
  return 0;
}
