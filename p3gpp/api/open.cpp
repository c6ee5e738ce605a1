// P3GPP_Open, its variants that report the first error and trace the boxes, and P3GPP_Close.
#include <memory>

#include "p3gpp/boxes/file_record.h"
#include "p3gpp/boxes/top_level.h"
#include "p3gpp/parse/file_stream.h"
#include "p3gpp/parse/parse_context.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {
namespace {

// Linked into every program that opens files, so that the version can be read from the binary.
[[gnu::used]] constexpr char kVersionMarker[] = "VERSION=P3GPP_3_4_4";

Status open_file(std::unique_ptr<P3gppFile>& result, const FMGR_Descriptor* descriptor, FMGR_Context* manager,
                 ParseContext& context) {
  auto file = std::make_unique<P3gppFile>();
  file->descriptor = descriptor;
  file->context = manager;
  const StreamHandle stream(FMGR_FOpen(descriptor, "rb", manager));
  context.stream = stream.get();
  if (!stream || FMGR_FSize64(stream.get(), &context.file_size) != FMGR_OK) return P3GPP_ERR_OPEN;
  const Status status = scan_top_level(context, *file);
  if (status == P3GPP_OK) result = std::move(file);
  return status;
}

Status open_explained(P3gppFile** result, const FMGR_Descriptor* descriptor, FMGR_Context* manager,
                      const P3gppBoxVisitor* visitor, P3gppOpenError& error) {
  if (result == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  *result = nullptr;
  if (descriptor == nullptr || (visitor != nullptr && visitor->box == nullptr)) return P3GPP_ERR_BAD_ARGUMENT;
  ParseContext context;
  context.visitor = visitor;
  std::unique_ptr<P3gppFile> file;
  const Status status = guarded([&] { return open_file(file, descriptor, manager, context); });
  *result = file.release();
  error = context.trail.first_error();
  return status;
}

}  // namespace
}  // namespace zdr::p3gpp

extern "C" {

int32_t P3GPP_OpenTraced(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context,
                         P3gppOpenError* error, const P3gppBoxVisitor* visitor) noexcept {
  P3gppOpenError found{};
  const int32_t status = zdr::p3gpp::open_explained(file, descriptor, context, visitor, found);
  if (found.status == P3GPP_OK) found.status = status;
  if (error != nullptr) *error = found;
  return status;
}

int32_t P3GPP_OpenExplained(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context,
                            P3gppOpenError* error) noexcept {
  return P3GPP_OpenTraced(file, descriptor, context, error, nullptr);
}

int32_t P3GPP_Open(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context) noexcept {
  return P3GPP_OpenExplained(file, descriptor, context, nullptr);
}

int32_t P3GPP_Close(P3gppFile* file) noexcept {
  if (file == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  delete file;
  return P3GPP_OK;
}

}  // extern "C"
