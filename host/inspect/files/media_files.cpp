// Walks over a folder and its subfolders.
#include "host/inspect/files/media_files.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "filters/source/mp4/interfaces/source_kind.h"

namespace zdr::host {
namespace {

namespace fs = std::filesystem;

struct Entry {
  std::string name;
  bool is_folder;
};

// Its folders, and the files whose extensions are known.
std::vector<Entry> entries_of(const fs::path& folder, std::error_code& error) {
  std::vector<Entry> entries;
  fs::directory_iterator at(folder, error);
  for (; !error && at != fs::directory_iterator(); at.increment(error)) {
    std::error_code ignored;
    std::string name = at->path().filename().string();
    if (at->symlink_status(ignored).type() == fs::file_type::directory) {
      entries.push_back({std::move(name), true});
    } else if (mp4source::source_kind_of(name) != mp4source::SOURCE_KIND_NONE && !at->is_directory(ignored)) {
      entries.push_back({std::move(name), false});
    }
  }
  std::ranges::sort(entries, {}, &Entry::name);
  return entries;
}

}  // namespace

bool is_folder(const std::string& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

void add_media_files(const std::string& folder, const std::function<bool()>& watch,
                     std::vector<MediaFile>& files) {
  if (!watch()) return;
  std::error_code error;
  const std::vector<Entry> entries = entries_of(folder, error);
  if (error) files.push_back({folder, error.message()});
  for (const Entry& entry : entries) {
    const std::string path = (fs::path(folder) / entry.name).string();
    if (entry.is_folder) {
      add_media_files(path, watch, files);
    } else {
      files.push_back({path, ""});
    }
  }
}

}  // namespace zdr::host
