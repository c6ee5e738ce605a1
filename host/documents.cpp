// Writes the completion script of each shell and the roff source of the man page.
#include "host/documents.h"

#include <sstream>

namespace zdr::host {
namespace {

std::string listed_commands(const CommandTable& table) {
  std::string names;
  for (const CommandRow& command : table.commands) {
    if (!command.listed) continue;
    if (!names.empty()) names += ' ';
    names += command.name;
  }
  return names;
}

std::string option_words(const CommandTable& table, unsigned command) {
  std::string words = "--help";
  for (const OptionRow& option : table.options) {
    if ((option.commands & command) == 0) continue;
    words.append(" ").append(option.name);
    if (*option.short_name != '\0') words.append(" ").append(option.short_name);
  }
  return words;
}

// The completions that bash offers after options that take a value. File names are passed one per line, so
// that blanks do not split them.
std::string bash_values(const CommandTable& table) {
  std::ostringstream out;
  for (const OptionRow& option : table.options) {
    const std::string_view argument = option.argument;
    if (argument.empty()) continue;
    std::string offer = "return ;;\n";  // the shell has nothing to offer
    if (argument == "DIR") offer = "mapfile -t COMPREPLY < <(compgen -d -- \"$current\"); " + offer;
    if (argument == "OUT") offer = "mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); " + offer;
    if (*option.choices != '\0') {
      offer = std::string("COMPREPLY=($(compgen -W \"") + option.choices + "\" -- \"$current\")); " + offer;
    }
    for (const CommandRow& command : table.commands) {
      if ((option.commands & command.bit) == 0) continue;
      out << "    " << command.name << option.name << ") " << offer;
      if (*option.short_name != '\0') out << "    " << command.name << option.short_name << ") " << offer;
    }
  }
  return out.str();
}

std::string bash_completion(const CommandTable& table) {
  std::ostringstream out;
  out << "_zdr() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  COMPREPLY=()\n"
         "  if [ \"$COMP_CWORD\" = 1 ]; then\n"
         "    COMPREPLY=($(compgen -W \""
      << listed_commands(table)
      << " --help --version\" -- \"$current\"))\n"
         "    return\n"
         "  fi\n"
         "  case ${COMP_WORDS[1]}$previous in\n"
      << bash_values(table)
      << "  esac\n"
         "  local words=\n"
         "  case ${COMP_WORDS[1]} in\n";
  for (const CommandRow& command : table.commands) {
    out << "    " << command.name << ") words=\"" << option_words(table, command.bit) << "\" ;;\n";
  }
  out << "  esac\n"
         "  case ${COMP_WORDS[1]}:$current in\n"
         "    *:-*) COMPREPLY=($(compgen -W \"$words\" -- \"$current\")) ;;\n"
         "    completion:*) COMPREPLY=($(compgen -W \"bash zsh fish\" -- \"$current\")) ;;\n"
         "    *) mapfile -t COMPREPLY < <(compgen -f -- \"$current\") ;;\n"
         "  esac\n"
         "}\n"
         "complete -o filenames -F _zdr zdr\n";
  return out.str();
}

std::string zsh_option(const OptionRow& option) {
  std::ostringstream text;
  // Brace expansion yields the pair of names, so the braces must be outside of the quotes.
  if (*option.short_name != '\0') {
    text << "'(" << option.short_name << " " << option.name << ")'{" << option.short_name << ","
         << option.name << "}'";
  } else {
    text << "'" << option.name;
  }
  text << "[" << option.summary << "]";
  if (*option.argument != '\0') {
    text << ":" << option.argument << ":";
    if (*option.choices != '\0') text << "(" << option.choices << ")";
    if (std::string_view(option.argument) == "DIR") text << "_files -/";
    if (std::string_view(option.argument) == "OUT") text << "_files";
  }
  text << "'";
  return text.str();
}

std::string zsh_completion(const CommandTable& table) {
  std::ostringstream out;
  out << "#compdef zdr\n_zdr() {\n  local -a commands\n  commands=(\n";
  for (const CommandRow& command : table.commands) {
    if (command.listed) out << "    '" << command.name << ":" << command.summary << "'\n";
  }
  out << "  )\n  if (( CURRENT == 2 )); then _describe command commands; compadd -- --help --version; "
         "return; fi\n  case ${words[2]} in\n";
  for (const CommandRow& command : table.commands) {
    out << "    " << command.name << ") _arguments '(-h --help)'{-h,--help}'[show the options]'";
    for (const OptionRow& option : table.options) {
      if ((option.commands & command.bit) != 0) out << " " << zsh_option(option);
    }
    if (command.bit == kCompletion) out << " '2:shell:(bash zsh fish)'";
    if (std::string_view(command.operand).starts_with("FILE")) out << " '*:file:_files'";
    out << " ;;\n";
  }
  out << "  esac\n}\n_zdr \"$@\"\n";
  return out.str();
}

std::string fish_completion(const CommandTable& table) {
  std::ostringstream out;
  for (const CommandRow& command : table.commands) {
    if (!command.listed) continue;
    out << "complete -c zdr -n __fish_use_subcommand -a " << command.name << " -d '" << command.summary
        << "'\n";
    for (const OptionRow& option : table.options) {
      if ((option.commands & command.bit) == 0) continue;
      out << "complete -c zdr -n '__fish_seen_subcommand_from " << command.name << "' -l " << option.name + 2;
      if (*option.short_name != '\0') out << " -s " << option.short_name + 1;
      if (*option.argument != '\0') out << " -r";
      if (*option.choices != '\0') out << " -a '" << option.choices << "'";
      out << " -d '" << option.summary << "'\n";
    }
  }
  out << "complete -c zdr -s h -l help -d 'show the options'\n"
         "complete -c zdr -n __fish_use_subcommand -l version -d 'show the version'\n"
         "complete -c zdr -n '__fish_seen_subcommand_from completion' -a 'bash zsh fish'\n";
  return out.str();
}

// roff turns a plain - into a typographic hyphen; \- remains a minus sign.
std::string roff(std::string_view text) {
  std::string out;
  for (char c : text) {
    if (c == '-') out += '\\';
    out += c;
  }
  return out;
}

constexpr const char* kDescription =
    ".SH DESCRIPTION\n"
    ".B play\nand\n.B samples\nload the source filter module, connect a sink to each of its pins,\n"
    "run the graph and store or list what was delivered;\n"
    ".B info\nand\n.B keyframe\nask the module without running it.\n"
    ".B boxes\nreads the file with the parser alone.\n"
    "The others look after the module's registration and this program's own documents.\n"
    ".PP\nResults go to standard output. Messages go to standard error, also what of a file is\n"
    "left out on purpose.\n"
    ".SH OPTIONS\n.TP\n.B \\-\\-help\nprint the usage, of a command behind its name.\n"
    ".TP\n.B \\-\\-version\nprint the version.\n";

constexpr const char* kManPageEnd =
    ".SH FILES\nA written file appears under its name only when it is complete. After a failure or an\n"
    "interruption what was written so far stays as \\fINAME\\fR.part. A file that exists, also one of that\n"
    "name from an earlier run, is replaced only with \\-\\-force; input files, folders, pipes and devices\n"
    "never are. Of several runs that write the same file at once, one does and the others are refused.\n"
    ".PP\nThe registry is the text file \\fIzdr/registry.reg\\fR in $XDG_DATA_HOME or ~/.local/share. "
    "Files "
    "are\nopened by the source filter that it names for their extension, else by that of the module "
    "beside "
    "the program.\n"
    ".SH EXIT STATUS\n"
    ".TP\n0\ndone\n.TP\n1\na file could not be opened or read\n.TP\n2\nbad usage\n"
    ".TP\n3\nplayed, but something was lost\n.TP\n4\nnot supported\n.TP\n5\nan output could not be "
    "written\n"
    ".TP\n130\ninterrupted\n"
    ".SH SIGNALS\nSIGINT, SIGTERM and SIGHUP end a run of play or samples within a second; it keeps what "
    "was written.\nA second one ends the program at once, as does the first in the other commands. A signal "
    "that was ignored\nwhen the program started, as under nohup, remains ignored.\n"
    ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nno colour on a terminal\n"
    ".TP\n.B ZDR_MODULE\npath of the filter module, whatever the registry says\n"
    ".TP\n.B ZDR_REGISTRY\nabsolute path of the registry's file, instead of the one above\n"
    ".TP\n.B XDG_DATA_HOME\nthe folder above the registry's file\n"
    ".TP\n.B XDG_RUNTIME_DIR\nthe folder above that of the named objects which runs of one session "
    "share\n";

void append_option(std::ostringstream& out, const OptionRow& option) {
  out << ".TP\n.B " << roff(option.name);
  if (*option.short_name != '\0') out << ", " << roff(option.short_name);
  if (*option.argument != '\0') out << " \\fI" << option.argument << "\\fR";
  out << "\n" << roff(option.summary);
  if (*option.choices != '\0') out << " (one of: " << option.choices << ")";
  out << ".\n";
}

}  // namespace

std::string completion_script(const CommandTable& table, std::string_view shell) {
  if (shell == "bash") return bash_completion(table);
  if (shell == "zsh") return zsh_completion(table);
  if (shell == "fish") return fish_completion(table);
  return {};
}

std::string man_page(const CommandTable& table, std::string_view version) {
  std::ostringstream out;
  out << ".TH ZDR 1 \"\" \"zdr " << version << "\" \"User Commands\"\n"
      << ".SH NAME\nzdr \\- play media files through the ZdrMp4Source filter\n.SH SYNOPSIS\n";
  for (const CommandRow& command : table.commands) {
    if (!command.listed) continue;
    out << ".B zdr " << command.name << "\n[\\fIoptions\\fR]";
    if (*command.operand != '\0') out << " \\fI" << command.operand << "\\fR";
    out << (command.many_operands ? "..." : "") << "\n.br\n";
  }
  out << kDescription << ".SH COMMANDS\n";
  for (const CommandRow& command : table.commands) {
    if (!command.listed) continue;
    out << ".SS " << command.name << "\n" << roff(command.summary) << ".\n";
    for (const OptionRow& option : table.options) {
      if ((option.commands & command.bit) != 0) append_option(out, option);
    }
  }
  out << kManPageEnd;
  return out.str();
}

}  // namespace zdr::host
