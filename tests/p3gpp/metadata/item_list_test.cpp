// The item list in moov/udta/meta: items, numeric genres, free-form items, damage.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/p3gpp/metadata/tagged_movie.h"

namespace zdr::test {
namespace {

using testing::ElementsAre;
using Texts = std::vector<std::string>;

TEST(ItemList, StoresEveryKindOfItem) {
  const std::string cover = "\x89PNG" + std::string(300, '\x01');
  const OpenedMovie movie(with_items(
      {item("\251nam", "na\xC3\xAFve"), item("cpil", "\x01"), item("\251alb", "album"),
       item("\251ART", "artist"), item("cprt", "right"), item("\251wrt", "writer"), item("desc", "about"),
       item("aART", "band"), item("\251gen", "genre"), number_item("trkn", 3, 12), number_item("disk", 1, 2),
       item("covr", cover), freeform_item("com.apple.iTunes", "gnid", "id"), item("\251day", "2001"),
       item("\251too", "unknown")}));
  EXPECT_THAT(all_tags(movie),
              ElementsAre("\251nam=na\xC3\xAFve", "cpil=\x01", "\251alb=album", "\251ART=artist",
                          "cprt=right", "\251wrt=writer", "desc=about", "aART=band", "\251gen=genre",
                          "trkn=3/12", "disk=1/2", "covr=" + cover, "gnid=id", "\251day=2001"));
}

TEST(ItemList, KeptGenresAfterSwingHaveTheNameOfTheNextOne) {
  const auto genre = [](uint32_t code) {
    const char bytes[] = {static_cast<char>(code >> 8), static_cast<char>(code)};
    const Texts tags = all_tags(OpenedMovie(with_items({item("gnre", {bytes, 2})})));
    return tags.empty() ? "-" : tags[0].substr(5);
  };
  EXPECT_EQ(genre(0), "Blues");
  EXPECT_EQ(genre(84), "Swing");
  EXPECT_EQ(genre(85), "Bebob");
  EXPECT_EQ(genre(125), "-") << "the last name cannot be reached";
  EXPECT_EQ(genre(0xFFFF), "-");
  uint64_t hash = 0xCBF29CE484222325;  // FNV-1a of the list, one name per line
  for (uint32_t code = 1; code < 125; ++code) {
    for (const char character : genre(code) + "\n")
      hash = (hash ^ static_cast<uint8_t>(character)) * 0x100000001B3;
  }
  EXPECT_EQ(hash, 0x1A4702DF8F1BEF53u);
}

struct ListCase {
  const char* name;
  std::vector<Bytes> items;
  Texts tags;
};

// Appends another item to every case; it must still be found.
void expect_tags(std::vector<ListCase> cases) {
  for (ListCase& each : cases) {
    each.items.push_back(item("\251day", "end"));
    each.tags.push_back("\251day=end");
    EXPECT_EQ(all_tags(OpenedMovie(with_items(each.items))), each.tags) << each.name;
  }
}

TEST(ItemList, KeptBothSpellingsOfTheArtistShareASlot) {
  const auto genre = [](std::string_view code) { return item("gnre", code); };
  expect_tags({
      {"artist", {item("\251ART", "first"), item("\251art", "second")}, {"\251art=second"}},
      {"genre as text and as number", {item("\251gen", "text"), genre({"\0\2", 2})}, {"gnre=Classic Rock"}},
      {"an unusable value leaves the earlier one",
       {item("\251gen", "text"), genre("\x01")},
       {"\251gen=text"}},
      {"genre of 3 bytes", {genre({"\0\1\0", 3})}, {}},
  });
}

// The list continues after an item's first child.
TEST(ItemList, KeptItemsEndWithTheirFirstChild) {
  const Bytes child_beyond_item =
      concat({with_size(box("desc", with_size(data_atom("a"), 30)), 25), Bytes(13)});
  expect_tags({
      {"first child is not data", {box("desc", {full_box("name", 0, 0, {'x'}), data_atom("hidden")})}, {}},
      {"second data is an item of unknown type", {box("desc", {data_atom("a"), data_atom("b")})}, {"desc=a"}},
      {"unknown item with any content", {box("abcd", header(0xFFFFFF, "data"))}, {}},
      {"data of 16 bytes", {item("desc", "")}, {"desc="}},
      {"data of 15 bytes", {box("desc", box("data", Bytes(7)))}, {}},
      {"data of 8 bytes", {box("desc", box("data"))}, {}},
      {"no child: the next item is read as one", {box("desc"), item("cprt", "lost")}, {}},
      {"child beyond its item", {child_beyond_item}, {"desc=a" + std::string(13, '\0')}},
  });
}

TEST(ItemList, NumbersMayLackTheirTotal) {
  for (const std::string type : {"trkn", "disk"}) {
    for (size_t size = 0; size < 12; ++size) {
      const Bytes whole = {0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
      const Bytes value(whole.begin(), whole.begin() + static_cast<int64_t>(size));
      const Texts stored = {type + (size >= 6 ? "=258/772" : "=258/0")};
      expect_tags({{"number", {box(type, data_atom(value))}, size >= 4 ? stored : Texts()}});
    }
  }
}

TEST(ItemList, KeptOnlyFreeFormItemsNamedGnidAreStored) {
  const auto atom = [](const char* type, std::string_view text) {
    return full_box(type, 0, 0, Fields().text(text).bytes);
  };
  const Bytes mean = atom("mean", "com.apple.iTunes");
  const Bytes name = atom("name", "gnid");
  const Bytes data = data_atom("v");
  const auto freeform = [](const std::vector<Bytes>& atoms) {
    return std::vector<Bytes>{box("----", atoms)};
  };
  expect_tags({
      {"in order", freeform({mean, name, data}), {"gnid=v"}},
      {"another name",
       freeform({atom("mean", "a.much.longer.name.space"), atom("name", "iTunSMPB"), data}),
       {}},
      {"empty texts", freeform({atom("mean", ""), atom("name", ""), data_atom("")}), {}},
      {"without mean", freeform({name, data}), {"gnid=v"}},
      {"after another name", freeform({atom("name", "abcd"), name, data}), {}},
      {"two values", freeform({mean, name, data_atom("first"), data_atom("second")}), {"gnid=first"}},
      {"value before the name", freeform({data, mean, name}), {}},
      {"value too short", freeform({mean, name, box("data", Bytes(7))}), {}},
      {"empty", freeform({}), {}},
      {"5 bytes", freeform({Bytes(5)}), {}},
      // Only 8 bytes of an unknown atom are skipped, so its contents are read as the next atom.
      {"unknown atom of size 0", freeform({header(0, "abcd")}), {}},
      {"unknown atom of an invalid size first", freeform({header(3, "abcd"), name, data}), {"gnid=v"}},
      {"atoms inside an unknown one", freeform({mean, box("abcd", concat({name, data}))}), {"gnid=v"}},
      {"the rest of a longer name is not an atom", freeform({mean, atom("name", "gnid and more"), data}), {}},
      {"a longer name that ends where an atom begins",
       freeform({mean, atom("name", "gnid8bytes  "), data}),
       {"gnid=v"}},
  });
}

// All of these fail the open with the same status, while P3gppOpenError has the exact one.
TEST(ItemList, KeptDamageInsideFailsTheOpen) {
  // Paths are relative to moov/udta/meta.
  const std::vector<std::pair<std::string, Bytes>> cases = {
      {"", box("meta", Bytes(2))},
      {"", item_meta(Bytes(5))},
      {"/ilst", item_meta(header(4, "ilst"))},
      {"/free", item_meta(header(900, "free"))},
      {"/ilst", item_list_meta({Bytes(4)})},
      {"/ilst/desc", item_list_meta({header(7, "desc")})},
      {"/ilst/desc", item_list_meta({header(90, "desc")})},
      {"/ilst/desc", item_list_meta({box("desc", Bytes(3))})},
      {"/ilst/desc/data", item_list_meta({box("desc", header(7, "data"))})},
      {"/ilst/desc/data", item_list_meta({box("desc", header(90, "data"))})},
      {"/ilst/----/mean", item_list_meta({box("----", header(9, "mean"))})},
      {"/ilst/----/name", item_list_meta({box("----", header(0, "name"))})},
  };
  for (const auto& [path, meta] : cases) {
    const Bytes file = concat({with_user_data(meta), Bytes(64)});
    const OpenedMovie movie(file);
    EXPECT_EQ(movie.status, P3GPP_ERR_GENERIC) << path;
    EXPECT_EQ(movie.error.status, P3GPP_ERR_BOX_SIZE) << path;
    EXPECT_EQ(movie.error.path, "moov/udta/meta" + path);
    EXPECT_EQ(movie.error.size, load_be32(file, movie.error.offset)) << path;
  }
}

// A meta inside meta is opened in place, and only 4 of its first 12 bytes count. A well-formed file therefore
// fails, and a file opens if that box and all boxes around it claim 8 bytes less than they have.
TEST(ItemList, KeptMetaInsideMetaCountsFourBytes) {
  const Bytes inner = item_list_meta({item("\251nam", "inner")});
  const Bytes well_formed = with_user_data(full_box("meta", 0, 0, inner));
  EXPECT_EQ(OpenedMovie(well_formed).status, P3GPP_ERR_GENERIC);

  const Bytes outer = full_box("meta", 0, 0, with_size(inner, static_cast<uint32_t>(inner.size() - 8)));
  const Bytes meta = with_size(outer, static_cast<uint32_t>(outer.size() - 8));
  const Bytes udta = with_size(box("udta", meta), static_cast<uint32_t>(outer.size()));
  const Bytes moov = box("moov", {mvhd(), udta, box("free")});
  const OpenedMovie movie(with_size(moov, static_cast<uint32_t>(moov.size() - 8)));
  P3gppTag name{};
  ASSERT_EQ(P3GPP_GetTag(movie.file, P3GPP_TAG_ITEM_NAME, &name), P3GPP_OK);
  EXPECT_EQ(text_of(name.text), "inner");
  EXPECT_EQ(load_be32(movie.source.bytes, name.offset), name.size) << "its true offset";
}

TEST(ItemList, LaterListsReplaceItemByItem) {
  const Bytes first = item_list_meta({item("desc", "old"), item("aART", "band")});
  const Bytes second =
      item_meta(concat({box("free", Bytes(3)), box("ilst", {item("desc", "new")}), box("ilst")}));
  EXPECT_THAT(all_tags(OpenedMovie(with_user_data(concat({first, asset("titl", "t"), second})))),
              ElementsAre("titl=t", "desc=new", "aART=band"));
}

}  // namespace
}  // namespace zdr::test
