// Runs the parser while the Nth allocation fails. (The tests of the AAC reader make the Nth file callback
// fail.)
#include <gtest/gtest.h>

#include <set>

#include "id3p/id3p.h"
#include "mediakit/files/id3_builder.h"
#include "mediakit/files/memory_file.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

using namespace std::string_literals;

Bytes tagged_file() {
  const std::string picture = "\0image/png\0\3\0\x89PNG\r\n\x1A\n"s;
  const Bytes frames =
      concat({v23_frame("TIT2", bytes_of("\0Song"s)), v23_frame("COMM", bytes_of("\0eng\0Nice\0"s)),
              v23_frame("APIC", bytes_of(picture))});
  return concat({id3v2(3, 0, frames), Bytes(40, 0xFF), id3v1("t", "a", "1999", 1)});
}

TEST(ParseFaults, KeptNoMemoryForTheBodyYieldsATagWithoutTexts) {
  ID3P_SetConsole([](const char*) {});  // drops messages about pictures
  const Bytes content = tagged_file();
  std::multiset<int32_t> statuses;
  bool triggered = true;
  for (uint64_t nth = 1; triggered; ++nth) {
    MemoryFile file(content);
    ID3P_TagSet set{};
    ID3P_Text copy{};
    int32_t status = ID3P_OK;
    {
      const FailingAllocator failing(nth);
      status = ID3P_Parse(file.handle(), &file.io(), &set);
      if (status == ID3P_OK && set.v23 != nullptr) status = ID3P_CopyText(&copy, set.v23);
      triggered = failing.triggered();
    }
    statuses.insert(status);
    if (copy.release != nullptr) copy.release(&copy);
    ID3P_FreeTags(&set);
  }
  ID3P_SetConsole(nullptr);
  // Seven for the ID3v1 tag, one for the ID3v2 tag, one for each text, the picture record, two copies.
  EXPECT_EQ(statuses.count(ID3P_ERR_NO_MEMORY), 13u);
  // The six buffers of the picture.
  EXPECT_EQ(statuses.count(ID3P_ERR_FAILED), 6u);
  // The body of the tag, and the run without a failure.
  EXPECT_EQ(statuses.count(ID3P_OK), 2u);
}

TEST(ParseArguments, NullArgumentsAreRefused) {
  MemoryFile file({});
  ID3P_TagSet set{};
  ID3P_Text text{};
  EXPECT_EQ(ID3P_Parse(nullptr, &file.io(), &set), ID3P_ERR_FAILED);
  EXPECT_EQ(ID3P_Parse(file.handle(), nullptr, &set), ID3P_ERR_FAILED);
  EXPECT_EQ(ID3P_Parse(file.handle(), &file.io(), nullptr), ID3P_ERR_FAILED);
  EXPECT_EQ(ID3P_CopyText(&text, nullptr), ID3P_ERR_FAILED);
}

}  // namespace
}  // namespace zdr::test
