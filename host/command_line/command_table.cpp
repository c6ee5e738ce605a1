// Defines all commands and options. Commands that play or open files first join a session of named events.
#include "host/command_line/command_table.h"

#include <ostream>

#include "host/command_line/documents.h"
#include "host/commands/commands.h"
#include "host/messages.h"
#include "host/verify/worker_pool.h"
#include "host/version.h"
#include "platform/win32/session.h"

namespace zdr::host {
namespace {

// Joins a private session unless the options name one: concurrent runs must not wake each other's workers.
bool join_session(const Options& options) {
  if (options.session.empty()) return platform::set_private_session();
  return platform::set_session(options.session.c_str());
}

template <ExitCode (*kRun)(const Options&, std::ostream&)>
ExitCode in_session(const Options& options, std::ostream& out) {
  if (join_session(options)) return kRun(options, out);
  Messages(false).error(
      {MessageCode::kUsage, "", {}, "'" + options.session + "' cannot be used as a session name", ""});
  return ExitCode::kUsage;
}

ExitCode run_completion(const Options& options, std::ostream& out) {
  out << completion_script(command_table(), options.shell);
  return ExitCode::kDone;
}

ExitCode run_man_page(const Options& /*options*/, std::ostream& out) {
  out << man_page(command_table(), kVersion);
  return ExitCode::kDone;
}

constexpr CommandRow kCommands[] = {
    {kPlay, "play", "FILE", true, "play files and write each stream to a file of its own", true,
     in_session<run_play>},
    {kInfo, "info", "FILE", true, "show the tracks of files, the pins with their media types, and tags", true,
     in_session<run_info>},
    {kVerify, "verify", "FILE", true, "check that files and folders play completely and undamaged", true,
     in_session<run_verify>},
    {kSamples, "samples", "FILE", true, "list every delivered media sample, one row each", true,
     in_session<run_samples>},
    {kBoxes, "boxes", "FILE", true, "list the boxes of ISO media files with their fields", true, run_boxes},
    {kPlot, "plot", "FILE", false, "draw a file as a picture: byte map, interleaving, bit rates, key frames",
     true, in_session<run_plot>},
    {kKeyframes, "keyframes", "FILE", false, "list the key frames of the video: number, time, size, offset",
     true, run_keyframes},
    {kKeyframe, "keyframe", "FILE [N]", false, "write key frames of the video, each to a file of its own",
     true, in_session<run_keyframe>},
    {kRegister, "register", "", false, "register the filter module", true, run_register},
    {kUnregister, "unregister", "", false, "unregister the filter module", true, run_unregister},
    {kRegistry, "registry", "", false, "print the registry", true, run_registry},
    {kCompletion, "completion", "SHELL", false, "print the completion script for bash, zsh or fish", true,
     run_completion},
    {kManPage, "man-page", "", false, "print the man page", false, run_man_page},
    {kVerifyWorker, "verify-worker", "", false, "verify the files whose names are sent", false,
     in_session<run_verify_worker>},
};

constexpr unsigned kAnyFile = kPlay | kInfo | kVerify | kSamples | kKeyframe | kPlot;
constexpr unsigned kAnyVerify = kVerify | kVerifyWorker;
constexpr unsigned kNoModule = kBoxes | kKeyframes;  // that need a file, but not the module

const OptionRow kOptions[] = {
    {kPlay, "--output", "-o", "DIR", "",
     "folder for the output files (default: the current folder), or - to write one stream to standard output",
     &Options::output},
    {kKeyframe, "--output", "-o", "OUT", "",
     "output file or folder (default: STEM.keyframeN.EXT); -: standard output", &Options::output},
    {kKeyframe, "--at", "", "TIME", "", "write the key frame at TIME, or the last one before it",
     &Options::at},
    {kKeyframe, "--all", "", "", "", "write all key frames; then OUT is a folder", &Options::all_key_frames},
    {kPlot, "--output", "-o", "OUT", "", "output file or folder (default: STEM.svg); -: standard output",
     &Options::output},
    {kPlot, "--seek", "", "TIME", "", "show where a seek to TIME lands", &Options::seek},
    {kPlay | kSamples, "--start", "", "TIME", "", "begin at TIME: seconds (12.5) or h:mm:ss.mmm",
     &Options::start},
    {kPlay | kSamples, "--stop", "", "TIME", "", "end at TIME", &Options::stop},
    {kSamples, "--explain-seek", "", "TIME", "",
     "show where each pin begins after a seek to TIME, and what the seek reads", &Options::explain_seek},
    {kPlay | kSamples, "--only", "", "audio|video", "audio video", "use only the audio or only the video pin",
     &Options::only},
    {kPlay, "--decode", "", "", "", "decode AAC and write it as .wav", &Options::decode},
    {kPlay, "--trim", "", "", "",
     "leave out what the edit list does not show, such as priming; not with --start or --stop",
     &Options::trim},
    {kAnyVerify, "--hash", "", "md5|sha256", "md5 sha256", "print a digest of what each stream delivers",
     &Options::hash},
    {kVerify, "--against", "", "MANIFEST", "", "compare the digests with those of an earlier --hash",
     &Options::against},
    {kAnyVerify, "--decode", "", "", "",
     "with --hash: digest the decoded PCM of AAC tracks instead of their access units", &Options::decode},
    {kVerify, "--jobs", "-j", "N", "", "verify N files at once, 1 to 256 (default: 1)", &Options::jobs},
    {kInfo, "--cover", "", "OUT", "", "write the cover image to OUT, a file or a folder", &Options::cover},
    {kInfo, "--exact", "", "", "", "count every frame of AMR and AAC files, which have no tables",
     &Options::exact},
    {kInfo, "--full", "", "", "", "show peak bit rates and the bytes of the format blocks", &Options::full},
    {kPlay | kInfo | kKeyframe | kPlot, "--force", "", "", "", "replace existing files", &Options::force},
    {kPlay, "--strict", "", "", "", "exit with 1 instead of 3 when something was lost", &Options::strict},
    {kPlay | kSamples | kAnyVerify, "--allow-overlap", "", "", "",
     "continue if the sample tables describe more data than the file holds", &Options::allow_overlap},
    {kPlay | kSamples | kInfo | kPlot | kAnyVerify, "--stall-timeout", "", "SECONDS", "",
     "give up on a file after SECONDS without progress (default: 30; 0: never)", &Options::stall_seconds},
    {kBoxes, "--path", "", "PATH", "",
     "show only the boxes at PATH: moov/trak[2], or moov/trak for all tracks", &Options::path},
    {kBoxes, "--entries", "", "TABLE", "stts ctts stss stsh stsc stsz stco co64 elst",
     "show the entries of the tables of this type", &Options::entries},
    {kBoxes, "--first", "", "N", "", "show at most N entries of a table (default: 10)",
     &Options::most_entries},
    {kBoxes, "--all", "", "", "", "show all entries of a table", &Options::all_entries},
    {kAnyVerify, "--first", "", "N", "", "list at most N damaged access units of a stream (default: 10)",
     &Options::most_entries},
    {kAnyVerify, "--all", "", "", "", "list all damaged access units", &Options::all_entries},
    {kAnyFile | kVerifyWorker, "--session", "", "NAME", "",
     "share named events with other runs that have this session name", &Options::session},
    {kAnyFile | kNoModule | kRegistry, "--json", "", "", "", "print JSON instead of text", &Options::json},
    {kPlay | kInfo | kVerify | kBoxes, "--jsonl", "", "", "",
     "print JSON, one line per file, as soon as the file is done", &Options::json_lines},
    {kAnyFile | kNoModule | kRegister | kUnregister | kRegistry, "--quiet", "-q", "", "",
     "show no notes and no progress line", &Options::quiet},
};

}  // namespace

CommandTable command_table() {
  return {kCommands, kOptions};
}

}  // namespace zdr::host
