// Selects the sample tables among the boxes (ISO/IEC 14496-12, 8.6 to 8.7).
#include "host/inspect/iso/table_map.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

namespace zdr::host {
namespace {

constexpr std::string_view kTrackPath = "moov/trak[";
constexpr std::string_view kTablePath = "]/mdia/minf/stbl/";

struct TableForm {
  std::string_view type;
  uint32_t header_bytes;  // before the first entry
  uint32_t entry_bytes;
};

constexpr TableForm kForms[] = {{"stts", 16, 8}, {"ctts", 16, 8}, {"stss", 16, 4}, {"stsc", 16, 12},
                                {"stsz", 20, 4}, {"stco", 16, 4}, {"co64", 16, 8}};

}  // namespace

void TableMap::on_box(void* caller, const P3gppBox* box) noexcept {
  auto& map = *static_cast<TableMap*>(caller);
  try {
    map.add(*box);
  } catch (...) {
    map.is_complete_ = false;
  }
}

void TableMap::add(const P3gppBox& box) {
  const std::string_view path = box.path;
  const size_t bracket = path.find(']');
  if (!path.starts_with(kTrackPath) || !path.substr(std::min(bracket, path.size())).starts_with(kTablePath))
    return;
  const auto* const form = std::ranges::find(kForms, std::string_view(box.type), &TableForm::type);
  if (form == std::end(kForms) || box.size <= form->header_bytes) return;
  SampleTable table;
  std::from_chars(path.data() + kTrackPath.size(), path.data() + bracket, table.track);
  table.type = box.type;
  table.begin = box.offset + form->header_bytes;
  table.end = box.offset + box.size;
  table.entry_bytes = form->entry_bytes;
  tables_.push_back(std::move(table));
}

const SampleTable* TableMap::find(uint64_t offset) const {
  const auto found = std::ranges::find_if(
      tables_, [offset](const SampleTable& table) { return offset >= table.begin && offset < table.end; });
  return found != tables_.end() ? &*found : nullptr;
}

}  // namespace zdr::host
