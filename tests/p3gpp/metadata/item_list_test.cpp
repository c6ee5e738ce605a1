// The item list in moov/udta/meta: items, numeric genres, free-form items, damage.
#include <gtest/gtest.h>

#include "tests/p3gpp/metadata/tagged_movie.h"
#include "tests/support/checksum.h"

namespace zdr::test {
namespace {

TEST(ItemList, KeptGenresAfterSwingHaveTheNameOfTheNextOne) {
  const auto genre = [](uint32_t code) {
    const char bytes[] = {static_cast<char>(code >> 8), static_cast<char>(code)};
    return all_tags(OpenedMovie(with_items({item("gnre", {bytes, 2})})));
  };
  EXPECT_EQ(genre(0), "gnre=Blues");
  EXPECT_EQ(genre(84), "gnre=Swing");
  EXPECT_EQ(genre(85), "gnre=Bebob");
  EXPECT_EQ(genre(125), "") << "the last name cannot be reached";
  EXPECT_EQ(genre(0xFFFF), "");
  Checksum names;  // one per line
  for (uint32_t code = 1; code < 125; ++code) names.add(genre(code).substr(5) + "\n");
  EXPECT_EQ(names.value, 0x1A4702DF8F1BEF53u);
}

// Each list is followed by another item, which must still be found.
TEST(ItemList, KeptOddItemsYieldTheseTags) {
  const auto genre = [](std::string_view code) { return item("gnre", code); };
  const auto number = [](size_t size) {
    const Bytes whole = {0, 0, 1, 2, 3, 4};
    return box("trkn", data_atom(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))));
  };
  const Bytes child_beyond_item =
      concat({with_size(box("desc", with_size(data_atom("a"), 30)), 25), Bytes(13)});
  // Name, items, tags.
  const std::vector<std::tuple<const char*, std::vector<Bytes>, std::string>> cases = {
      // Both spellings of the artist share a slot, and both forms of the genre.
      {"artist", {item("\251ART", "first"), item("\251art", "second")}, "\251art=second, "},
      {"genre as text and as number", {item("\251gen", "text"), genre({"\0\2", 2})}, "gnre=Classic Rock, "},
      {"an unusable value leaves the earlier one",
       {item("\251gen", "text"), genre("\x01")},
       "\251gen=text, "},
      {"genre of 3 bytes", {genre({"\0\1\0", 3})}, ""},
      {"number of 3 bytes", {number(3)}, ""},
      {"number of 4 bytes", {number(4)}, "trkn=|258|0, "},
      {"number of 6 bytes", {number(6)}, "trkn=|258|772, "},
      // The list continues after an item's first child.
      {"first child is not data", {box("desc", {full_box("name", 0, 0, {'x'}), data_atom("hidden")})}, ""},
      {"second data is an item of unknown type", {box("desc", {data_atom("a"), data_atom("b")})}, "desc=a, "},
      {"unknown item with any content", {box("abcd", header(0xFFFFFF, "data"))}, ""},
      {"data of 16 bytes", {item("desc", "")}, "desc=, "},
      {"data of 15 bytes", {box("desc", box("data", Bytes(7)))}, ""},
      {"no child: the next item is read as one", {box("desc"), item("cprt", "lost")}, ""},
      {"child beyond its item", {child_beyond_item}, "desc=a" + std::string(13, '\0') + ", "},
  };
  for (auto [name, items, tags] : cases) {
    items.push_back(item("\251day", "end"));
    EXPECT_EQ(all_tags(OpenedMovie(with_items(items))), tags + "\251day=end") << name;
  }
}

TEST(ItemList, KeptOnlyFreeFormItemsNamedGnidAreStored) {
  const auto atom = [](const char* type, std::string_view text) {
    return full_box(type, 0, 0, Fields().text(text).bytes);
  };
  const Bytes mean = atom("mean", "com.apple.iTunes");
  const Bytes name = atom("name", "gnid");
  const Bytes data = data_atom("v");
  const std::vector<std::tuple<const char*, std::vector<Bytes>, std::string>> cases = {
      {"in order", {mean, name, data}, "gnid=v, "},
      {"another name", {atom("mean", "a.much.longer.name.space"), atom("name", "iTunSMPB"), data}, ""},
      {"another first letter", {atom("name", "xnid"), data}, ""},
      {"another second letter", {atom("name", "gxid"), data}, ""},
      {"another third letter", {atom("name", "gnxd"), data}, ""},
      {"another fourth letter", {atom("name", "gnix"), data}, ""},
      {"without mean", {name, data}, "gnid=v, "},
      {"after another name", {atom("name", "abcd"), name, data}, ""},
      {"two values", {mean, name, data_atom("first"), data_atom("second")}, "gnid=first, "},
      {"value before the name", {data, mean, name}, ""},
      {"value too short", {mean, name, box("data", Bytes(7))}, ""},
      {"5 bytes", {Bytes(5)}, ""},
      // Only 8 bytes of an unknown atom are skipped, so its contents are read as the next atom.
      {"unknown atom of size 0", {header(0, "abcd")}, ""},
      {"unknown atom of an invalid size first", {header(3, "abcd"), name, data}, "gnid=v, "},
      {"atoms inside an unknown one", {mean, box("abcd", concat({name, data}))}, "gnid=v, "},
      {"the rest of a longer name is not an atom", {mean, atom("name", "gnid and more"), data}, ""},
      {"a longer name that ends where an atom begins",
       {mean, atom("name", "gnid8bytes  "), data},
       "gnid=v, "},
  };
  for (const auto& [case_name, atoms, tags] : cases) {
    const OpenedMovie movie(with_items({box("----", atoms), item("\251day", "end")}));
    EXPECT_EQ(all_tags(movie), tags + "\251day=end") << case_name;
  }
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
    EXPECT_EQ(movie.error.size, load_be32(file, static_cast<size_t>(movie.error.offset))) << path;
  }
}

// A meta inside meta is opened in place, and only 4 of its first 12 bytes count. A well-formed file therefore
// fails, and a file opens if that box and all boxes around it claim 8 bytes less than they have.
TEST(ItemList, KeptMetaInsideMetaCountsFourBytes) {
  const Bytes inner = item_list_meta({item("\251nam", "inner")});
  const Bytes well_formed = with_user_data(full_box("meta", 0, 0, inner));
  EXPECT_EQ(OpenedMovie(well_formed).status, P3GPP_ERR_GENERIC);

  const Bytes outer = full_box("meta", 0, 0, with_size(inner, inner.size() - 8));
  const Bytes meta = with_size(outer, outer.size() - 8);
  const Bytes udta = with_size(box("udta", meta), outer.size());
  const Bytes moov = box("moov", {mvhd(), udta, box("free")});
  const Bytes file = with_size(moov, moov.size() - 8);
  const OpenedMovie movie(file);
  P3gppTag name{};
  ASSERT_EQ(P3GPP_GetTag(movie.file, P3GPP_TAG_ITEM_NAME, &name), P3GPP_OK);
  EXPECT_EQ(text_of(name.text), "inner");
  EXPECT_EQ(load_be32(file, static_cast<size_t>(name.offset)), name.size) << "its true offset";
}

}  // namespace
}  // namespace zdr::test
