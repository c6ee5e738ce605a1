// Builds a CLI11 parser from the table of commands: one subcommand per row, with its operands and options.
#include "host/command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <functional>
#include <limits>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/command_line/command_table.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/messages.h"
#include "host/terminal.h"
#include "host/text/time_text.h"
#include "host/version.h"

namespace zdr::host {
namespace {

std::vector<std::string> split_words(const std::string& text) {
  std::istringstream in(text);
  return {std::istream_iterator<std::string>(in), {}};
}

std::string refuse_empty(const std::string& value) {
  return value.empty() ? "its value is empty" : "";
}

// The messages of the library's own checks are not sentences.
std::function<std::string(const std::string&)> number_check(uint64_t lowest, uint64_t highest) {
  return [lowest, highest](const std::string& text) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc() && end == text.data() + text.size();
    if (is_number && number >= lowest && number <= highest) return std::string();
    return "'" + text + "' is not a number from " + std::to_string(lowest) + " to " + std::to_string(highest);
  };
}

std::function<std::string(const std::string&)> choice_check(const std::vector<std::string>& choices) {
  return [choices](const std::string& text) {
    if (std::ranges::find(choices, text) != choices.end()) return std::string();
    std::string list;
    for (const std::string& choice : choices) {
      list += (list.empty() ? "" : &choice == &choices.back() ? " or " : ", ") + choice;
    }
    return "'" + text + "' is not " + list;
  };
}

void add_option(CLI::App& app, const OptionRow& row, Options& options) {
  std::string names = row.name;
  if (*row.short_name != '\0') names = std::string(row.short_name) + "," + names;
  const auto* flag = std::get_if<bool Options::*>(&row.target);
  if (flag != nullptr) {
    app.add_flag(names, options.**flag, row.summary);
    return;
  }
  if (const auto* number = std::get_if<uint32_t Options::*>(&row.target); number != nullptr) {
    constexpr uint32_t kDay = 24 * 60 * 60;
    constexpr uint32_t kMostEntries = std::numeric_limits<uint32_t>::max();
    constexpr uint32_t kMostJobs = 256;
    const std::string_view name = row.name;
    const bool is_jobs = name == "--jobs";
    app.add_option(names, options.**number, row.summary)
        ->option_text(row.argument)
        ->check(number_check(is_jobs ? 1 : 0, is_jobs             ? kMostJobs
                                              : name == "--first" ? kMostEntries
                                                                  : kDay));
    return;
  }
  CLI::Option* option =
      app.add_option(names, options.*std::get<std::string Options::*>(row.target), row.summary);
  option->option_text(row.argument);
  option->check(refuse_empty);
  if (*row.choices != '\0') option->check(choice_check(split_words(row.choices)));
  if (std::string_view(row.argument) == "TIME") {
    option->check([](const std::string& text) {
      return parse_time(text) ? std::string() : "'" + text + "' is not a time (12.5 or h:mm:ss.mmm)";
    });
  }
}

void add_operand(CLI::App& app, const CommandRow& row, Options& options) {
  if (*row.operand == '\0') return;
  if (row.bit == kCompletion) {
    app.add_option("shell", options.shell, "bash, zsh or fish")
        ->required()
        ->option_text("SHELL")
        ->check(choice_check({"bash", "zsh", "fish"}));
    return;
  }
  // A list of files would also swallow the operand that follows.
  CLI::Option* files =
      row.many_operands
          ? app.add_option("file", options.files, row.bit == kVerify ? "media file or folder" : "media file")
          : app.add_option_function<std::string>(
                "file", [&options](const std::string& name) { options.files = {name}; }, "media file");
  files->required()->option_text(row.many_operands ? row.operand : "FILE");
  files->check([](const std::string& name) {
    if (name.empty()) return std::string("a file name is empty");
    return name == "-" ? std::string("standard input is not seekable; name a file") : std::string();
  });
  if (row.bit != kKeyframe) return;
  app.add_option("number", options.index, "number of the key frame, from 1")
      ->option_text("N")
      ->check(number_check(1, std::numeric_limits<uint32_t>::max()));
}

bool is_command(std::string_view word) {
  return std::ranges::any_of(command_table().commands,
                             [word](const CommandRow& row) { return row.name == word; });
}

ParsedLine refuse(const std::string& reason, const std::string& command = "") {
  const std::string help = "zdr " + command + (command.empty() ? "" : " ") + "--help";
  print_line_to_terminal(error_line(reason + " (" + help + " shows the usage)"));
  return {nullptr, {}, ExitCode::kUsage};
}

// The number of insertions, removals and changes of single characters that make one word of the other.
size_t distance(std::string_view from, std::string_view to) {
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t k = 0; k < to.size(); ++k) {
      const size_t changed = diagonal + (from[i] == to[k] ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({changed, row[k] + 1, diagonal + 1});
    }
  }
  return row.back();
}

// ": did you mean WORD?" for the nearest of the words, unless none is near.
std::string suggestion(std::string_view given, const std::vector<std::string>& words) {
  const auto nearest =
      std::ranges::min_element(words, {}, [&](const std::string& word) { return distance(given, word); });
  const size_t near = given.size() < 4 ? 1 : 2;
  return nearest == words.end() || distance(given, *nearest) > near ? "" : ": did you mean " + *nearest + "?";
}

std::string in_lower_case(std::string text) {
  for (char& each : text) each = static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
  return text;
}

ParsedLine refuse_command(const std::string& given, const CommandTable& table) {
  std::vector<std::string> names;
  for (const CommandRow& row : table.commands) {
    if (row.listed) names.emplace_back(row.name);
  }
  return refuse("unknown command '" + given + "'" + suggestion(in_lower_case(given), names));
}

struct OptionPair {
  const char* option;
  const char* other;
};

constexpr OptionPair kExclusive[] = {{"first", "all"}, {"json", "jsonl"}};

// Returns why the options cannot be used together; empty if they can.
std::string contradiction(const CLI::App& command) {
  // CLI11's own search ends the program when memory is exhausted.
  const std::vector<const CLI::Option*> options = command.get_options({});
  const auto is_given = [&](const char* name) {
    return std::ranges::any_of(options, [&](const CLI::Option* option) {
      const std::vector<std::string>& names = option->get_lnames();
      return option->count() != 0 && std::ranges::find(names, name) != names.end();
    });
  };
  for (const OptionPair& pair : kExclusive) {
    if (is_given(pair.option) && is_given(pair.other))
      return std::string("--") + pair.option + " and --" + pair.other + " exclude each other";
  }
  return {};
}

void add_commands(CLI::App& app, const CommandTable& table, ParsedLine& line) {
  app.set_help_flag("-h,--help", "print the usage");
  app.set_version_flag("--version", std::string("zdr ") + kVersion, "print the version");
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Positionals", "Operands");
  app.require_subcommand(1);
  app.footer("zdr COMMAND --help lists the options of a command.\nFiles are read by their extension: " +
             known_extensions());
  for (const CommandRow& row : table.commands) {
    CLI::App* command = app.add_subcommand(row.name, row.summary);
    command->group(row.listed ? "Commands" : "");
    add_operand(*command, row, line.options);
    for (const OptionRow& option : table.options) {
      if ((option.commands & row.bit) != 0) add_option(*command, option, line.options);
    }
    command->callback([&line, &row] { line.command = &row; });
  }
}

// Reports words that a command does not take.
ParsedLine refuse_extras(const std::vector<std::string>& extras, const CommandRow& command,
                         const CommandTable& table) {
  const auto is_option = [](const std::string& word) { return word.starts_with('-'); };
  const auto option = std::ranges::find_if(extras, is_option);
  if (option == extras.end()) return refuse("unexpected argument '" + extras.front() + "'", command.name);
  std::vector<std::string> names;
  for (const OptionRow& row : table.options) {
    if ((row.commands & command.bit) != 0) names.emplace_back(row.name);
  }
  const bool is_file = mp4source::source_kind_of(*option) != mp4source::SOURCE_KIND_NONE;
  const std::string advice =
      is_file ? ": a file name that begins with - is given after --" : suggestion(*option, names);
  return refuse("unknown option " + *option + advice, command.name);
}

// Why options exclude each other; empty if they do not.
std::string conflict_of(const Options& options) {
  const bool is_part = !(options.start.empty() && options.stop.empty());
  if (!options.explain_seek.empty() && (is_part || !options.only.empty()))
    return "--explain-seek cannot be used with --start, --stop or --only";
  if (options.trim && is_part) return "--trim cannot be used with --start or --stop";
  if (options.cover == "-") return "--cover needs a file: the description goes to standard output";
  if (options.output != "-") return "";
  if (options.files.size() > 1) return "--output - takes one file";
  if (options.all_key_frames) return "--output - takes one picture";
  return options.json ? "--output - and --json both write to standard output" : "";
}

// Why the command cannot do what the options say together; empty if it can.
std::string refusal_of(const CLI::App& command, const ParsedLine& line) {
  const Options& options = line.options;
  if (std::string reason = contradiction(command); !reason.empty()) return reason;
  const bool is_keyframe = line.command->bit == kKeyframe;
  if (is_keyframe && (options.index != 0) + !options.at.empty() + options.all_key_frames != 1)
    return "exactly one of N, --at TIME and --all is needed";
  const std::optional<int64_t> start = parse_time(options.start);
  const std::optional<int64_t> stop = parse_time(options.stop);
  if (stop && *stop == 0) return "--stop must be greater than 0";
  if (stop && *stop <= start.value_or(0)) return "--stop is not after --start";
  return conflict_of(options);
}

std::string with_small_letter(std::string text) {
  if (!text.empty()) text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

}  // namespace

ParsedLine parse_command_line(int argc, const char* const* argv) {
  const CommandTable table = command_table();
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  if (!words.empty() && words[0] == "help") {
    words.erase(words.begin());
    if (words.size() > 1) return refuse("unexpected argument '" + words[1] + "'");
    if (!words.empty() && words[0] == "help") words.clear();
    words.emplace_back("--help");
  }
  // CLI11 would report only that a subcommand is missing, not the unknown word.
  if (!words.empty() && !words[0].starts_with('-') && !is_command(words[0]))
    return refuse_command(words[0], table);
  if (words.empty()) return refuse("no command given");
  if (words[0].starts_with('-') && words[0] != "--help" && words[0] != "-h" && words[0] != "--version")
    return refuse("unknown option " + words[0] + suggestion(words[0], {"--help", "--version"}));

  ParsedLine line;
  CLI::App app("Plays 3GPP/MP4, AMR and AAC files through the ZdrMp4Source filter.", "zdr");
  add_commands(app, table, line);
  const std::string command = words[0].starts_with('-') ? "" : words[0];
  try {
    std::ranges::reverse(words);  // the order that CLI11 expects
    app.parse(words);
  } catch (const CLI::Success& success) {
    app.exit(success);
    return {};
  } catch (const CLI::ExtrasError& error) {
    const auto row = std::ranges::find(table.commands, std::string_view(command), &CommandRow::name);
    const std::vector<std::string> extras =
        command.empty() ? std::vector<std::string>() : app.remaining(true);
    if (row == table.commands.end() || extras.empty())
      return refuse(with_small_letter(error.what()), command);
    return refuse_extras(extras, *row, table);
  } catch (const CLI::ArgumentMismatch& error) {
    const std::string option = std::string(error.what()).substr(0, std::string_view(error.what()).find(':'));
    return refuse(option + " takes one value", command);
  } catch (const CLI::RequiredError& error) {
    // The operand may be missing because an option before it is misspelt.
    const auto row = std::ranges::find(table.commands, std::string_view(command), &CommandRow::name);
    const std::vector<std::string> extras =
        row == table.commands.end() ? std::vector<std::string>() : app.remaining(true);
    if (!extras.empty()) return refuse_extras(extras, *row, table);
    return refuse(with_small_letter(error.what()), command);
  } catch (const CLI::ParseError& error) {
    return refuse(with_small_letter(error.what()), command);
  }
  line.options.json = line.options.json || line.options.json_lines;
  const std::string refusal = refusal_of(*app.get_subcommand(line.command->name), line);
  if (!refusal.empty()) return refuse(refusal, command);
  return line;
}

}  // namespace zdr::host
