// Filling the samples of a speech or AAC file: read, stamp, mark. Runs on the pin's worker.
#include <algorithm>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/mp4_source.h"
#include "filters/source/mp4/sources/first_sample.h"
#include "filters/source/mp4/sources/sample_buffer.h"

namespace zdr::mp4source {
FileStream* CZanMP4SourceOutputPin::file_stream() const {
  return file_stream_ && file_stream_->kind() == source_->source_kind() ? file_stream_.get() : nullptr;
}

HRESULT CZanMP4SourceOutputPin::fill_file(IMediaSample* sample) {
  const Positions segment = positions();
  if (segment.seek_pending) clear_seek_pending();
  FileStream* const stream = file_stream();
  if (stream == nullptr) return S_FALSE;
  if (segment.seek_pending && !start_at_frame(*stream, sample, segment.start)) return S_FALSE;

  mark_first_sample(stream->kind(), sample);
  BYTE* buffer = nullptr;
  const HRESULT hr = get_buffer(sample, &buffer);
  const LONG size = sample->GetSize();
  FrameGroup group;
  {
    const std::lock_guard lock(mutex_);
    if (FAILED(hr)) {
      stream->skip_next();
      return hr;
    }
    group = stream->read_group(buffer, static_cast<uint32_t>(std::max<LONG>(size, 0)));
  }
  if (group.size == 0) return S_FALSE;
  const REFERENCE_TIME absolute_start = wrapping_ms_to_reference_time(group.time_ms);
  if (absolute_start >= segment.stop) return S_FALSE;
  REFERENCE_TIME start = wrapping_sub(absolute_start, segment.start);
  REFERENCE_TIME stop = wrapping_add(start, kAudioDuration);
  sample->SetTime(&start, &stop);
  last_delivered_ = start;
  return sample->SetActualDataLength(static_cast<LONG>(group.size));
}

bool CZanMP4SourceOutputPin::start_at_frame(FileStream& stream, IMediaSample* sample, REFERENCE_TIME start) {
  FileStream::SeekResult result;
  {
    const std::lock_guard lock(mutex_);
    result = stream.seek(start);
  }
  if (result == FileStream::SeekResult::kFailed) return false;
  if (result == FileStream::SeekResult::kMoved) {
    sample->SetDiscontinuity(TRUE);
    sample->SetSyncPoint(TRUE);
  }
  return true;
}

}  // namespace zdr::mp4source
