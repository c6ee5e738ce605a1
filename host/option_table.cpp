// The rows: adding a command or an option begins here.
#include "host/option_table.h"

namespace zdr::host {
namespace {

constexpr CommandRow kCommands[] = {
    {kPlay, "play", "FILE", true, "play files and write each stream to a file of its own", true},
    {kInfo, "info", "FILE", true, "show the pins of files, their media types, durations and tags", true},
    {kSamples, "samples", "FILE", false, "list every delivered media sample, one row each", true},
    {kBoxes, "boxes", "FILE", false, "list the boxes of an ISO media file with their fields", true},
    {kKeyframe, "keyframe", "FILE N", false, "write the N-th key frame of the video as a picture file", true},
    {kRegister, "register", "", false, "enter the filter module in the registry", true},
    {kUnregister, "unregister", "", false, "take the filter module out of the registry", true},
    {kRegistry, "registry", "", false, "print what stands in the registry", true},
    {kCompletion, "completion", "SHELL", false, "print the completion script for bash, zsh or fish", true},
    {kManPage, "man-page", "", false, "print the man page", false},
};

constexpr unsigned kAnyFile = kPlay | kInfo | kSamples | kKeyframe;

const OptionRow kOptions[] = {
    {kPlay, "--output", "-o", "DIR", "", "folder for the written files (default: the current one)",
     &Options::output},
    {kKeyframe, "--output", "-o", "OUT", "", "file to write, or folder (default: FILE.keyframeN.EXT here)",
     &Options::output},
    {kPlay | kSamples, "--start", "", "TIME", "", "begin at TIME: seconds (12.5) or h:mm:ss.mmm",
     &Options::start},
    {kPlay | kSamples, "--stop", "", "TIME", "", "end at TIME", &Options::stop},
    {kPlay | kSamples, "--only", "", "audio|video", "audio video", "use only the audio or only the video pin",
     &Options::only},
    {kPlay, "--decode", "", "", "", "decode AAC and write it as .wav", &Options::decode},
    {kInfo, "--cover", "", "OUT", "", "write the cover image of the file to OUT", &Options::cover},
    {kPlay | kInfo | kKeyframe, "--force", "", "", "", "replace files that exist", &Options::force},
    {kPlay, "--strict", "", "", "", "exit with 1 instead of 3 when something was lost", &Options::strict},
    {kPlay | kSamples, "--allow-overlap", "", "", "",
     "go on when the tables describe more data than the file holds", &Options::allow_overlap},
    {kAnyFile, "--session", "", "NAME", "", "share named events with other runs of this session name",
     &Options::session},
    {kAnyFile | kBoxes | kRegistry, "--json", "", "", "", "print JSON for programs", &Options::json},
    {kAnyFile | kBoxes | kRegister | kUnregister | kRegistry, "--quiet", "-q", "", "",
     "no progress line and no notes, errors only", &Options::quiet},
};

}  // namespace

std::span<const CommandRow> command_rows() {
  return kCommands;
}
std::span<const OptionRow> option_rows() {
  return kOptions;
}

}  // namespace zdr::host
