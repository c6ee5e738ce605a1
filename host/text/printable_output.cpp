// Collects lines and escapes each as a whole, so that a character which arrives in parts stays one.
#include "host/text/printable_output.h"

#include "host/text/decoded_text.h"

namespace zdr::host {

PrintableLines::int_type PrintableLines::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
  if (character == '\n') return pass_on("\n") ? character : traits_type::eof();
  line_ += traits_type::to_char_type(character);
  return character;
}

int PrintableLines::sync() {
  return pass_on("") && target_.pubsync() == 0 ? 0 : -1;
}

bool PrintableLines::pass_on(std::string_view end) {
  const std::string text = printable(line_).append(end);
  line_.clear();
  const auto length = static_cast<std::streamsize>(text.size());
  return target_.sputn(text.data(), length) == length;
}

}  // namespace zdr::host
