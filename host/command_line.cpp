// Builds a CLI11 parser from the table of commands: one subcommand per row, with its operands and options.
#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <optional>
#include <sstream>

#include "host/command_table.h"
#include "host/messages.h"
#include "host/terminal.h"
#include "host/time_text.h"
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
    app.add_option(names, options.**number, row.summary)
        ->option_text(row.argument)
        ->check(CLI::Range(0u, kDay));
    return;
  }
  CLI::Option* option =
      app.add_option(names, options.*std::get<std::string Options::*>(row.target), row.summary);
  option->option_text(row.argument);
  option->check(refuse_empty);
  if (*row.choices != '\0') option->check(CLI::IsMember(split_words(row.choices)));
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
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    return;
  }
  // A list of files would also swallow the operand that follows.
  CLI::Option* files =
      row.many_operands
          ? app.add_option("file", options.files, "media file")
          : app.add_option_function<std::string>(
                "file", [&options](const std::string& name) { options.files = {name}; }, "media file");
  files->required()->option_text(row.many_operands ? row.operand : "FILE");
  files->check([](const std::string& name) {
    if (name.empty()) return std::string("a file name is empty");
    return name == "-" ? std::string("standard input is not seekable; name a file") : std::string();
  });
  if (row.bit != kKeyframe) return;
  app.add_option("number", options.index, "which key frame, from 1")
      ->required()
      ->option_text("N")
      ->check(CLI::Range(1u, std::numeric_limits<uint32_t>::max()));
}

bool is_command(std::string_view word) {
  return std::ranges::any_of(command_table().commands,
                             [word](const CommandRow& row) { return row.name == word; });
}

ParsedLine refuse(const std::string& reason) {
  print_line_to_terminal(error_line(reason + " (zdr --help shows the usage)"));
  return {nullptr, {}, ExitCode::kUsage};
}

}  // namespace

ParsedLine parse_command_line(int argc, const char* const* argv) {
  // CLI11 would report only that a subcommand is missing, not the unknown word.
  if (argc > 1 && *argv[1] != '-' && !is_command(argv[1])) {
    return refuse("'" + std::string(argv[1]) + "' is not a command");
  }
  ParsedLine line;
  CLI::App app("Plays 3GPP/MP4, AMR and AAC files through the ZdrMp4Source filter.", "zdr");
  app.set_version_flag("--version", std::string("zdr ") + kVersion);
  app.require_subcommand(1);
  const CommandTable table = command_table();
  for (const CommandRow& row : table.commands) {
    CLI::App* command = app.add_subcommand(row.name, row.summary);
    if (!row.listed) command->group("");
    add_operand(*command, row, line.options);
    for (const OptionRow& option : table.options) {
      if ((option.commands & row.bit) != 0) add_option(*command, option, line.options);
    }
    command->callback([&line, &row] { line.command = &row; });
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    app.exit(success);
    return {};
  } catch (const CLI::ParseError& error) {
    return refuse(error.what());
  }
  const std::optional<int64_t> start = parse_time(line.options.start);
  const std::optional<int64_t> stop = parse_time(line.options.stop);
  if (start && stop && *stop <= *start) return refuse("--stop is not after --start");
  return line;
}

}  // namespace zdr::host
