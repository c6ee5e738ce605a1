// The item list under moov/udta/meta, with its odd ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tagged_movie.h"

namespace zdr::test {
namespace {

TEST(ItemList, KeepsEveryKindOfItem) {
  const std::string cover = "\x89PNG" + std::string(300, '\x01');
  const OpenedMovie movie(with_items(
      {item("\251nam", "na\xC3\xAFve"), item("cpil", "\x01"), item("\251alb", "album"),
       item("\251ART", "artist"), item("cprt", "right"), item("\251wrt", "writer"), item("desc", "about"),
       item("aART", "band"), item("\251gen", "genre"), number_item("trkn", 3, 12), number_item("disk", 1, 2),
       item("covr", cover), freeform_item("com.apple.iTunes", "gnid", "id"), item("\251day", "2001"),
       item("\251too", "unknown")}));
  ASSERT_EQ(movie.status, P3GPP_OK);
  const char* const texts[] = {"na\xC3\xAFve", "\x01",  "album", "artist", "right",
                               "writer",       "about", "band",  "genre"};
  for (uint32_t i = 0; i < std::size(texts); ++i) {
    EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_NAME + i), texts[i]);
  }
  const Tag track(movie, P3GPP_TAG_ITEM_TRACK);
  EXPECT_EQ(track.fields.u.position.number, 3);
  EXPECT_EQ(track.fields.u.position.total, 12);
  EXPECT_EQ(Tag(movie, P3GPP_TAG_ITEM_DISC).fields.u.position.total, 2);
  const Tag image(movie, P3GPP_TAG_ITEM_COVER);
  EXPECT_EQ(image.text(), cover);
  EXPECT_EQ(image.fields.text.bytes[cover.size()], 0) << "a NUL behind";
  const Tag id(movie, P3GPP_TAG_ITEM_GRACENOTE);
  EXPECT_EQ(id.text(), "id");
  EXPECT_STREQ(id.fields.type, "gnid");
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_DATE), "2001");
  EXPECT_STREQ(Tag(movie, P3GPP_TAG_ITEM_NAME).fields.type, "\251nam");
}

TEST(ItemList, RequiredGenreNamesStandOnePlaceEarlyBehindSwing) {
  const auto genre = [](uint32_t code) {
    const char bytes[] = {static_cast<char>(code >> 8), static_cast<char>(code)};
    return tag_text(OpenedMovie(with_items({item("gnre", {bytes, 2})})), P3GPP_TAG_ITEM_GENRE);
  };
  EXPECT_EQ(genre(0), "Blues");
  EXPECT_EQ(genre(1), "Blues");
  EXPECT_EQ(genre(84), "Swing");
  EXPECT_EQ(genre(85), "Bebob");
  EXPECT_EQ(genre(124), "Euro-House");
  uint64_t hash = 0xCBF29CE484222325;  // FNV-1a of the list that files and players know, a name a line
  for (uint32_t code = 1; code < 125; ++code) {
    for (const char character : genre(code) + "\n")
      hash = (hash ^ static_cast<uint8_t>(character)) * 0x100000001B3;
  }
  EXPECT_EQ(hash, 0x1A4702DF8F1BEF53u);
  EXPECT_EQ(genre(125), "-") << "the last name cannot be reached";
  EXPECT_EQ(genre(0xFFFF), "-");

  const OpenedMovie odd(
      with_items({item("gnre", "\x01"), item("gnre", std::string("\0\1\0", 3)), item("desc", "d")}));
  EXPECT_EQ(tag_text(odd, P3GPP_TAG_ITEM_GENRE), "-") << "not the length of a code";
  EXPECT_EQ(tag_text(odd, P3GPP_TAG_ITEM_DESCRIPTION), "d");
  const OpenedMovie both(with_items({item("\251gen", "text"), item("gnre", std::string("\0\2", 2))}));
  EXPECT_EQ(tag_text(both, P3GPP_TAG_ITEM_GENRE), "Classic Rock") << "one slot for both forms";
}

TEST(ItemList, RequiredBothSpellingsOfTheArtistShareASlot) {
  const OpenedMovie movie(with_items({item("\251ART", "first"), item("\251art", "second")}));
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_ARTIST), "second");
  EXPECT_STREQ(Tag(movie, P3GPP_TAG_ITEM_ARTIST).fields.type, "\251art");
}

// The list goes on behind the item's first child.
TEST(ItemList, RequiredItemsEndWithTheirFirstChild) {
  const Bytes last = item("desc", "end");
  struct Case {
    const char* name;
    Bytes items;
    std::string title;
  };
  const Bytes name_first = box("\251nam", {full_box("name", 0, 0, {'x'}), data_atom("hidden")});
  const std::vector<Case> cases = {
      {"first child is not data", name_first, "-"},
      {"second data is an item of unknown type", box("\251nam", {data_atom("a"), data_atom("b")}), "a"},
      {"unknown item, whatever it holds", box("abcd", header(0xFFFFFF, "data")), "-"},
      {"data of 16 bytes", item("\251nam", ""), ""},
      {"data of 15 bytes", box("\251nam", box("data", Bytes(7))), "-"},
      {"data of 8 bytes", box("\251nam", box("data")), "-"},
      {"no child: the next item is taken for one", concat({box("\251nam"), item("cprt", "lost")}), "-"},
      {"child beyond its item",
       concat({with_size(box("\251nam", with_size(data_atom("a"), 30)), 25), Bytes(13)}),
       "a" + std::string(13, '\0')},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const OpenedMovie movie(with_items({each.items, last}));
    EXPECT_EQ(movie.status, P3GPP_OK);
    EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_NAME), each.title);
    EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_DESCRIPTION), "end");
    EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_COPYRIGHT), "-");
  }
}

TEST(ItemList, NumbersKeepWhatTheirValueHolds) {
  for (const char* type : {"trkn", "disk"}) {
    for (size_t size = 0; size < 12; ++size) {
      const Bytes whole = {0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
      const Bytes value(whole.begin(), whole.begin() + static_cast<int64_t>(size));
      const OpenedMovie movie(with_items({box(type, data_atom(value)), item("desc", "end")}));
      const Tag tag(movie, *type == 't' ? P3GPP_TAG_ITEM_TRACK : P3GPP_TAG_ITEM_DISC);
      EXPECT_EQ(tag.status, size >= 4 ? P3GPP_OK : P3GPP_ERR_NO_TAG) << size;
      EXPECT_EQ(tag.fields.u.position.number, size >= 4 ? 0x102 : 0);
      EXPECT_EQ(tag.fields.u.position.total, size >= 6 ? 0x304 : 0);
      EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_DESCRIPTION), "end");
    }
  }
}

TEST(ItemList, FreeFormItemsAreKeptByOneNameAlone) {
  const auto open = [](const Bytes& freeform) {
    const OpenedMovie movie(with_items({freeform, item("desc", "end")}));
    EXPECT_EQ(movie.status, P3GPP_OK);
    EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_DESCRIPTION), "end") << "the list goes on behind the item";
    return tag_text(movie, P3GPP_TAG_ITEM_GRACENOTE);
  };
  const Bytes mean = full_box("mean", 0, 0, Fields().text("com.apple.iTunes").bytes);
  const Bytes name = full_box("name", 0, 0, Fields().text("gnid").bytes);
  const Bytes data = data_atom("value");
  EXPECT_EQ(open(freeform_item("com.apple.iTunes", "gnid", "value")), "value");
  EXPECT_EQ(open(freeform_item("a.much.longer.name.space", "iTunSMPB", "value")), "-");
  EXPECT_EQ(open(freeform_item("", "", "")), "-");
  EXPECT_EQ(open(box("----", {name, data})), "value") << "mean is not needed";
  EXPECT_EQ(open(box("----", {mean, name, data_atom("first"), data_atom("second")})), "first");
  EXPECT_EQ(open(box("----", {data, mean, name})), "-") << "a value before the name is not seen";
  EXPECT_EQ(open(box("----", {mean, name, box("data", Bytes(7))})), "-") << "too short for a value";
  EXPECT_EQ(open(box("----")), "-");
  EXPECT_EQ(open(box("----", Bytes(5))), "-");
  EXPECT_EQ(open(box("----", header(0, "abcd"))), "-");
  // Required: of an unknown atom 8 bytes are passed over, so that what it holds is read as the next atom.
  EXPECT_EQ(open(box("----", {mean, box("abcd", concat({name, data}))})), "value");
  EXPECT_EQ(open(box("----", {header(3, "abcd"), name, data})), "value") << "its size does not matter";
  EXPECT_EQ(open(box("----", {mean, full_box("name", 0, 0, Fields().text("gnid and more").bytes), data})),
            "-")
      << "the rest of a longer name is no atom";
  EXPECT_EQ(open(box("----", {mean, full_box("name", 0, 0, Fields().text("gnid8bytes  ").bytes), data})),
            "value")
      << "unless it ends where an atom may begin";
}

// All of these fail the open with one status, and are explained by another.
TEST(ItemList, RequiredDamageInsideFailsTheOpen) {
  struct Case {
    const char* path;
    Bytes meta;
    int32_t inner_status;
  };
  const std::vector<Case> cases = {
      {"moov/udta/meta", box("meta", Bytes(2)), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst", item_meta(header(4, "ilst")), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/free", item_meta(header(900, "free")), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta", item_meta(Bytes(5)), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst/desc", item_list_meta({header(7, "desc")}), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst/desc", item_list_meta({header(90, "desc")}), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst/desc/data", item_list_meta({box("desc", header(7, "data"))}), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst/desc/data", item_list_meta({box("desc", header(90, "data"))}),
       P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst/desc", item_list_meta({box("desc", Bytes(3))}), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst/----/mean", item_list_meta({box("----", header(9, "mean"))}), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst/----/name", item_list_meta({box("----", header(0, "name"))}), P3GPP_ERR_BOX_SIZE},
      {"moov/udta/meta/ilst", item_list_meta({Bytes(4)}), P3GPP_ERR_BOX_SIZE},
  };
  for (const Case& each : cases) {
    const Bytes file = concat({with_user_data(each.meta), Bytes(64)});
    const OpenedMovie movie(file);
    EXPECT_EQ(movie.status, P3GPP_ERR_GENERIC) << each.path;
    EXPECT_EQ(movie.error.status, each.inner_status) << each.path;
    EXPECT_STREQ(movie.error.path, each.path);
    EXPECT_EQ(movie.error.size, load_be32(file, movie.error.offset)) << each.path;
  }
  const Bytes whole = with_items({item("covr", std::string(500, 'x'))});
  const OpenedMovie cut(Bytes(whole.begin(), whole.end() - 1));
  EXPECT_EQ(cut.status, P3GPP_ERR_GENERIC);
  EXPECT_EQ(cut.error.status, P3GPP_ERR_READ);
  EXPECT_STREQ(cut.error.path, "moov/udta/meta/ilst/covr");
}

// Whatever byte of an item the file ends in, the item is named.
TEST(ItemList, CutItemsAreNamed) {
  for (const char* type : {"desc", "----"}) {
    const Bytes last = *type == 'd' ? item("desc", "v") : freeform_item("mean", "gnid", "v");
    const Bytes whole = with_items({last});
    for (size_t left = 8; left < last.size(); ++left) {
      const OpenedMovie cut(Bytes(whole.begin(), whole.end() - static_cast<int64_t>(last.size() - left)));
      EXPECT_EQ(cut.error.status, P3GPP_ERR_READ) << left;
      const std::string value_path = *type == 'd' ? "desc" : "gnid";
      EXPECT_THAT(cut.error.path, testing::AnyOf(std::string("moov/udta/meta/ilst/") + type,
                                                 "moov/udta/meta/ilst/" + value_path))
          << left;
      EXPECT_EQ(cut.error.offset, whole.size() - last.size()) << left;
      EXPECT_EQ(cut.error.size, last.size()) << left;
    }
  }
}

// Required: a meta inside meta is opened in place, and only 4 of its first 12 bytes count. It is understood
// where it and all boxes around it tell 8 bytes less than they have; a well-formed file does not.
TEST(ItemList, RequiredMetaInsideMetaCountsFourBytes) {
  const Bytes inner = item_list_meta({item("\251nam", "inner")});
  const Bytes well_formed = with_user_data(full_box("meta", 0, 0, inner));
  EXPECT_EQ(OpenedMovie(well_formed).status, P3GPP_ERR_GENERIC);

  const Bytes outer = full_box("meta", 0, 0, with_size(inner, static_cast<uint32_t>(inner.size() - 8)));
  const Bytes meta = with_size(outer, static_cast<uint32_t>(outer.size() - 8));
  const Bytes udta = with_size(box("udta", meta), static_cast<uint32_t>(outer.size()));
  const Bytes moov = box("moov", {mvhd(), udta, box("free")});
  const OpenedMovie movie(with_size(moov, static_cast<uint32_t>(moov.size() - 8)));
  EXPECT_EQ(movie.status, P3GPP_OK);
  const Tag name(movie, P3GPP_TAG_ITEM_NAME);
  EXPECT_EQ(name.text(), "inner");
  EXPECT_EQ(load_be32(movie.source.bytes, name.fields.offset), name.fields.size) << "its true place";
}

TEST(ItemList, LaterListsReplaceItemByItem) {
  const Bytes first = item_list_meta({item("desc", "old"), item("aART", "band")});
  const Bytes second =
      item_meta(concat({box("free", Bytes(3)), box("ilst", {item("desc", "new")}), box("ilst")}));
  const OpenedMovie movie(with_user_data(concat({first, asset("titl", "t"), second})));
  ASSERT_EQ(movie.status, P3GPP_OK);
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_DESCRIPTION), "new");
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_ALBUM_ARTIST), "band");
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_TITLE), "t");
}

}  // namespace
}  // namespace zdr::test
