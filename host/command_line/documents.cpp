// Writes the completion script of each shell.
#include "host/command_line/documents.h"

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
    if (argument == "OUT" || argument == "MANIFEST")
      offer = "mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); " + offer;
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
    if (std::string_view(option.argument) == "OUT" || std::string_view(option.argument) == "MANIFEST")
      text << "_files";
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
    out << "    " << command.name << ") _arguments '(-h --help)'{-h,--help}'[print the usage]'";
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
  out << "complete -c zdr -s h -l help -d 'print the usage'\n"
         "complete -c zdr -n __fish_use_subcommand -l version -d 'print the version'\n"
         "complete -c zdr -n '__fish_seen_subcommand_from completion' -a 'bash zsh fish'\n";
  return out.str();
}

}  // namespace

std::string completion_script(const CommandTable& table, std::string_view shell) {
  if (shell == "bash") return bash_completion(table);
  if (shell == "zsh") return zsh_completion(table);
  if (shell == "fish") return fish_completion(table);
  return {};
}

}  // namespace zdr::host
