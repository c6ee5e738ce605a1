// The media files of a folder.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zdr::host {

// A file, or a folder that could not be read.
struct MediaFile {
  std::string path;
  std::string error;  // why the folder could not be read; empty for a file
};

bool is_folder(const std::string& path);

// Adds the files below `folder` whose extensions are known, sorted by the bytes of their paths within each
// folder. Links to files count as files; links to folders are not followed, so no walk goes in circles.
// `watch` is called for each folder; returning false ends the walk.
void add_media_files(const std::string& folder, const std::function<bool()>& watch,
                     std::vector<MediaFile>& files);

}  // namespace zdr::host
