// Writes the man page from the table of commands, the filter's table of extensions, and the texts of this
// file.
#include <span>
#include <sstream>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/command_line/documents.h"

namespace zdr::host {
namespace {

// roff turns a plain - into a typographic hyphen; \- remains a minus sign.
std::string roff(std::string_view text) {
  std::string out;
  for (char c : text) {
    if (c == '-') out += '\\';
    out += c;
  }
  return out;
}

// A term with its explanation.
struct Term {
  const char* term;
  const char* text;
};

void append_terms(std::ostringstream& out, std::span<const Term> terms) {
  for (const Term& each : terms) out << ".TP\n.B " << roff(each.term) << "\n" << roff(each.text) << "\n";
}

constexpr const char* kDescription = R"(.SH DESCRIPTION
.BR play ,
.B verify
and
.B samples
load the source filter module, connect a sink to each of its pins, run the graph and write, check or list
what was delivered;
.B info
and
.B keyframe
query the module without running it.
.B plot
runs it only for \-\-seek, and also draws files that the module does not open.
.B boxes
lists the boxes of a file without the module, even if the file does not open; boxes that the parser does
not use are marked as not read.
.B keyframes
lists the key frames of the video, which are its sync samples, also without the module. The other commands register the module,
and print the registry or a completion script.
.PP
Results go to standard output. Messages go to standard error, one line each. Errors report
what went wrong, and notes list what is left out by design.
.SH OPTIONS
.TP
.B \-\-help
print the usage or, after the name of a command, the usage of that command; \fBzdr help\fR \fICOMMAND\fR
does the same.
.TP
.B \-\-version
print the version.
)";

constexpr Term kOutputs[] = {
    {".h264", "AVC, a byte stream that begins with the parameter sets"},
    {".m4v", "MPEG-4 visual, preceded by its configuration"},
    {".h263", "H.263"},
    {".aac", "AAC in ADTS frames"},
    {".wav", "16-bit PCM: decoded AAC; always for AAC files, and with --decode for other files"},
    {".amr, .awb", "AMR and AMR-WB, preceded by the magic line"},
    {".qcp", "QCELP and EVRC"},
    {".ac3, .eac3", "AC-3 and E-AC-3"},
};

constexpr Term kColumns[] = {
    {"file", "the name of the file, if several are listed"},
    {"pin", "name of the pin"},
    {"index", "number of the sample within its pin, from 0"},
    {"start, stop",
     "times in units of 100 ns, relative to --start; the stop of an audio sample is its start + 1"},
    {"size",
     "bytes; a sample of an AAC track holds up to ten access units, and the 20-byte table of their sizes"},
    {"sync, discontinuity, preroll", "1 if the flag is set, else 0"},
    {"crc32", "CRC-32 of the bytes, 8 hexadecimal digits"},
};

constexpr Term kVerdicts[] = {
    {"ok", "everything was delivered, except what is left out by design"},
    {"damaged", "data is present, but wrong: a box, or the access units that are listed below the line"},
    {"lost", "something is missing"},
    {"not supported", "nothing in the file can be played"},
    {"unreadable",
     "the file does not exist or may not be read, an .aac file is not recognised, or the run failed"},
    {"differs", "a digest is not that of the manifest, or was not compared, for the reason in the line"},
    {"missing", "a stream of the manifest was not delivered, or its file was not verified"},
    {"interrupted", "the file was being verified when a signal ended the run"},
};

constexpr const char* kPicture = R"(.SH PICTURE
.B plot
writes \fISTEM\fR.svg, a picture without scripts that browsers show, from top to bottom:
.TP
.B Byte map
the boxes of the file to scale, and for each track the parts of the file that belong to it; hatched: media data that
no track uses, and bytes outside all boxes.
.TP
.B Seek
with \-\-seek: for each pin the first sample that is delivered, the preroll, and the first sample that is shown.
.TP
.B File offset against time
where each track has its data at each time, and so how the tracks are interleaved.
.TP
.B Tracks
bit rate, key frames, and the least, the mean and the largest size of the access units. The peak second is
the one with most bits, counted in whole seconds from the first access unit on, as in \fBinfo \-\-full\fR.
.PP
Times are decoding times. Faults of boxes and tables are listed, and marked where they are; damage inside access units
is not, \fBverify\fR finds it. At most eight tracks are drawn.
)";

constexpr const char* kManifests = R"(.PP
Below the line are further faults, the damaged access units, and notes on what was not verified,
such as tracks that are not played (\-\-quiet hides the notes). The total counts the files of each word, those
with such tracks, and those that were not begun.
.PP
With
.B \-\-hash
each stream has a line in the format of
.BR sha256sum (1):
the digest, two spaces and a name. All other lines begin with #. The name is \fIFILE\fR:\fIPIN\fR, as in
clip.mp4:Video0, with the file as given or found; it is \fIFILE\fR:\fIPIN\fR.pcm if the AAC of a movie was
decoded for the digest (\-\-decode). The digest covers all access units in order, without the size tables
of AAC samples; for an AAC file it covers the PCM.
.B \-\-against
reads such lines and ignores those that begin with #. A stream that the manifest lacks is noted.
.PP
In a folder, all files with known extensions are verified, sorted by name, including those in subfolders. Links
to folders are not followed.
)";

constexpr Term kExitCodes[] = {
    {"0", "Done: everything was delivered and written, except what the notes list as left out by design."},
    {"1",
     "A file could not be opened or read: it does not exist, is a folder, may not be read, or is damaged; or "
     "the filter module cannot be loaded or does not answer in time (--stall-timeout). With --strict, also "
     "the cases of 3."},
    {"2",
     "Bad usage: an unknown command or option, a missing or bad value, --stop not after --start, \"-\" as a "
     "file, or two streams for standard output."},
    {"3",
     "Done, but something was lost: the file is cut off or became unreadable, a track or an access unit is "
     "damaged, a pin failed, no sample arrived in time (--stall-timeout), or the sample tables describe more "
     "data than the file holds (--allow-overlap). Or a stream differs from the manifest (--against)."},
    {"4",
     "Not supported: an unknown extension, or no track that can be played. Or the file does not have what "
     "was requested: a key frame of that number, a box or table, a cover image, a stream (--only), or the "
     "time of --start, --at, --seek or --explain-seek."},
    {"5",
     "An output could not be written: it exists and --force was not given, the folder cannot be written "
     "to, the disk is full, or standard output cannot be written."},
    {"130", "Interrupted."},
};

constexpr Term kEnvironment[] = {
    {"NO_COLOR", "if not empty, messages on a terminal have no colour"},
    {"TERM", "if \"dumb\", neither colour nor a progress line"},
    {"ZDR_MODULE", "path of the filter module; overrides the registry"},
    {"ZDR_REGISTRY", "absolute path of the registry file"},
    {"XDG_DATA_HOME", "folder of zdr/registry.reg (default: ~/.local/share)"},
    {"XDG_RUNTIME_DIR", "folder of the named objects that runs of the same --session share"},
};

constexpr Term kExamples[] = {
    {"zdr play clip.mp4 -o out", "Writes out/clip.Audio0.aac and out/clip.Video0.h264."},
    {"zdr play --decode --start 10 --stop 1:00:00.5 clip.mp4",
     "Writes a part of the clip, with decoded audio."},
    {"zdr info song.m4a --cover cover.jpg", "Shows tracks and tags, and saves the cover image."},
    {"zdr info --json *.3gp", "Describes many files as JSON."},
    {"zdr samples clip.mp4 --only video", "Lists the pictures with their times."},
    {"zdr verify folder -j 4 --hash sha256 > manifest", "Checks all media files of a folder, four at once."},
    {"zdr verify folder --against manifest", "Checks them again later."},
    {"zdr plot clip.mp4 --seek 12.5", "Draws clip.svg, with where a seek to 12.5 s lands."},
    {"zdr boxes clip.mp4 --path moov/trak[2] --entries stts --all",
     "Lists the boxes of the second track, with all durations in its time table."},
    {"zdr keyframe clip.mp4 3 -o key.h264", "Saves the third key frame."},
    {"zdr keyframe clip.mp4 --at 90", "Saves the key frame at that time, or the last one before it."},
    {"source <(zdr completion bash)", "Completes commands and options in this shell."},
};

constexpr const char* kJson = R"(.SH JSON
With
.B \-\-json
a command prints one object, in UTF\-8. The object of a file has its "exit_code", and ends with the arrays
"errors" and "warnings" (the notes) of objects with a "code" and a "text". With several files, the array
"files" has one object per file;
.B \-\-jsonl
prints each of these objects on a line of its own, as soon as the file is done.
.B samples
prints one object per line: one with the name of the file, one per sample with the columns
above as members and flags as true or false, and one with the totals of each pin, the messages and the exit
code. Times are integers in units of 100 ns, or of the time scale that is given with them. If a name is not
UTF\-8, a second member, whose key ends in "_hex", has its bytes in hexadecimal.
)";

constexpr const char* kFiles = R"(.SH FILES
A written file appears under its name only when it is complete. After a failure or an interruption,
what was written so far remains as \fINAME\fR.part. An existing file, including a .part of an earlier
run, is replaced only with \-\-force; input files, folders, pipes and devices never are. If several
runs write the same file at once, all but the first are refused.
.PP
The program uses at most 64 MiB of memory, or four times the size of the largest file named, if that
is more. A file that needs more is refused.
.PP
The registry is the text file \fIzdr/registry.reg\fR in $XDG_DATA_HOME or ~/.local/share. Files are
opened by the source filter that it names for their extension, else by that of the module next to
the program.
)";

constexpr const char* kSignals = R"(.SH SIGNALS
SIGINT, SIGTERM and SIGHUP end a run of play, verify, plot, samples, keyframes or keyframe \-\-all within a
second; incomplete outputs remain as \fINAME\fR.part, and verify prints the results so far, with the files
that it was verifying and the number of those not begun. A second signal ends the program at once, as the
first does in the other commands. A signal that was ignored when the program started, as under nohup,
remains ignored.
)";

constexpr const char* kLimits = R"(.SH LIMITS
Notes report what is left out by design of an undamaged file:
.IP \(bu 2
Only the first audio and the first video track of a file are played, and only codecs that have an
output format above. Text tracks are not read.
.IP \(bu 2
Edit lists are not applied, so priming is not trimmed, unless \fB\-\-trim\fR is given; a list of several
edits never is. But an empty edit at the start delays a track; media that this moves past the end of the
track is not played.
.IP \(bu 2
Of an AAC file, the last one to three frames are not read, and parametric stereo is not used. Of a speech
file, the last frame is not delivered if it would be a media sample of its own.
.PP
Movie fragments, headers with 64\-bit times, sample tables after an stdp box and media data in another file
are not read; what is missing because of that is reported as lost. So is the rest of an AAC file whose reader
estimates fewer frames than it has, and a speech or AAC file that is too short for one media sample.
.PP
AAC is decoded if it is LC or LTP, mono or stereo, with frames of 1024 samples, with or without SBR
and parametric stereo. An AAC file is read up to 2 GiB. Files must be seekable.
)";

void append_option(std::ostringstream& out, const OptionRow& option) {
  out << ".TP\n.B " << roff(option.name);
  if (*option.short_name != '\0') out << ", " << roff(option.short_name);
  if (*option.argument != '\0') out << " \\fI" << option.argument << "\\fR";
  out << "\n" << roff(option.summary);
  if (*option.choices != '\0') out << " (one of: " << option.choices << ")";
  out << ".\n";
}

void append_synopsis(std::ostringstream& out, const CommandTable& table) {
  out << ".SH SYNOPSIS\n";
  for (const CommandRow& command : table.commands) {
    if (!command.listed) continue;
    out << ".B zdr " << command.name << "\n[\\fIoptions\\fR]";
    if (*command.operand != '\0') out << " \\fI" << command.operand << "\\fR";
    out << (command.many_operands ? "..." : "") << "\n.br\n";
  }
}

void append_commands(std::ostringstream& out, const CommandTable& table) {
  out << ".SH COMMANDS\n";
  for (const CommandRow& command : table.commands) {
    if (!command.listed) continue;
    out << ".SS " << command.name << "\n" << roff(command.summary) << ".\n";
    for (const OptionRow& option : table.options) {
      if ((option.commands & command.bit) != 0) append_option(out, option);
    }
  }
}

void append_inputs(std::ostringstream& out) {
  struct Kind {
    mp4source::SourceKind kind;
    const char* name;
  };
  constexpr Kind kKinds[] = {
      {mp4source::SOURCE_KIND_MP4, "3GPP, MP4 and 3GPP2 files (ISO media): pins Audio0 and Video0"},
      {mp4source::SOURCE_KIND_AMR, "AMR and AMR-WB files: pin \"AMR Audio1\""},
      {mp4source::SOURCE_KIND_AAC, "AAC files (ADTS, ADIF or raw): pin Audio1, which delivers PCM"},
  };
  out << ".SH INPUT FILES\nThe extension of the name, upper or lower case, decides how a file is read; "
         "its content does not.\n";
  for (const Kind& kind : kKinds) {
    out << ".TP\n" << roff(kind.name) << "\n";
    for (const mp4source::KnownExtension& known : mp4source::kKnownExtensions) {
      if (known.kind == kind.kind) out << "\\&" << roff(known.extension) << "\n";
    }
  }
}

void append_outputs(std::ostringstream& out) {
  out << ".SH OUTPUT FILES\n.B play\nwrites \\fISTEM\\fR.\\fIPIN\\fR.\\fIEXT\\fR for each pin: the name of "
         "the file "
         "without its extension, the\nname of the pin, and an extension for the format:\n";
  append_terms(out, kOutputs);
  out << ".PP\n.B keyframe\nwrites \\fISTEM\\fR.keyframe\\fIN\\fR.\\fIEXT\\fR, in one of the first three "
         "formats.\n";
}

void append_samples(std::ostringstream& out) {
  out << ".SH ROWS OF SAMPLES\n.B samples\nprints a line with the names of the columns, then one row per "
         "media sample, "
         "its values separated by commas:\n";
  append_terms(out, kColumns);
}

void append_verdicts(std::ostringstream& out) {
  out << ".SH VERDICTS\n.B verify\nprints a line for each file, with one of these words:\n";
  append_terms(out, kVerdicts);
  out << kManifests;
}

void append_examples(std::ostringstream& out) {
  out << ".SH EXAMPLES\n";
  append_terms(out, kExamples);
}

}  // namespace

std::string man_page(const CommandTable& table, std::string_view version) {
  std::ostringstream out;
  out << ".TH ZDR 1 \"\" \"zdr " << version << "\" \"User Commands\"\n"
      << ".SH NAME\nzdr \\- play media files through the ZdrMp4Source filter\n";
  append_synopsis(out, table);
  out << kDescription;
  append_commands(out, table);
  append_inputs(out);
  append_outputs(out);
  append_verdicts(out);
  out << kPicture;
  append_samples(out);
  out << kJson << kFiles << ".SH EXIT STATUS\n";
  append_terms(out, kExitCodes);
  out << ".PP\nWith several files, the worst of their codes: 130, then 5, 2, 1, 4, 3.\n"
      << kSignals << ".SH ENVIRONMENT\n";
  append_terms(out, kEnvironment);
  append_examples(out);
  out << kLimits
      << ".SH SEE ALSO\nThe documents of the filter and the libraries, in share/doc/ZdrMp4Source of the\n"
      << "installation.\n";
  return out.str();
}

}  // namespace zdr::host
