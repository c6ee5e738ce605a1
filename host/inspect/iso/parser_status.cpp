// The table of statuses.
#include "host/inspect/iso/parser_status.h"

#include "p3gpp/p3gpp.h"

namespace zdr::host {
namespace {

struct StatusText {
  int32_t status;
  const char* text;
};

constexpr StatusText kStatusTexts[] = {
    {P3GPP_ERR_GENERIC, "a required box is missing or damaged"},
    {P3GPP_ERR_OUT_OF_RANGE, "a number in it is out of range"},
    {P3GPP_ERR_READ, "the file ends inside this box, or the box claims more than it holds"},
    {P3GPP_ERR_SEEK, "a position in the file cannot be reached"},
    {P3GPP_ERR_BOX_SIZE, "the box size is wrong"},
    {P3GPP_ERR_NO_MOOV, "no movie box found: not an ISO media file, or only the beginning of one"},
    {P3GPP_ERR_NO_TABLE, "a sample table is missing or shorter than its count"},
    {P3GPP_ERR_NO_STBL_PAYLOAD, "the track has no usable sample tables"},
    {P3GPP_ERR_NO_STBL, "the track has no sample tables"},
    {P3GPP_ERR_NO_ENTRY_PAYLOAD, "the sample entry has no decoder configuration"},
    {P3GPP_ERR_NO_TRACK, "its boxes are damaged"},
    {P3GPP_ERR_ENTRY_NOT_HANDLED, "no decoder description for this kind of sample entry"},
    {P3GPP_ERR_DECODER_CONFIG,
     "the decoder configuration is missing, malformed or of a form that is not read"},
};

}  // namespace

std::string describe_lookup(int32_t status) {
  if (status == P3GPP_ERR_OUT_OF_RANGE) return "the sample tables do not say where it is";
  if (status == P3GPP_ERR_BAD_ARGUMENT) return "the tables have no chunk for it";
  return status == P3GPP_ERR_READ ? "its tables are cut off" : describe_status(status);
}

std::string describe_status(int32_t status) {
  for (const StatusText& known : kStatusTexts) {
    if (known.status == status) return known.text;
  }
  return "cannot be parsed";
}

}  // namespace zdr::host
