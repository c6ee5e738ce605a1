// Fills the codec's member of the public decoder description from a sample entry.
#pragma once

#include "p3gpp/boxes/header_boxes.h"
#include "p3gpp/boxes/sample_entries.h"
#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// The sample entry to describe.
struct DescribedEntry {
  const SampleEntryPayload& record;
  const TkhdPayload& tkhd;
  bool keep_record = false;  // set on failure if the partly filled description is returned anyway

  template <typename Payload>
  const Payload* configuration() const {
    return payload_of<Payload>(record.configuration);
  }
};

// One function per kind of description; the table in decoder_info.cpp selects it by the type of the entry.
Status fill_systems(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_mp4v(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_mp4a(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_text(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_amr(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_amr_wb_plus(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_vmr(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_h263_dimensions(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_s263(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_avc(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_speech_3gpp2(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_ac3(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_eac3(DescribedEntry& entry, P3gppDecoderInfo& info);
Status fill_mp3(DescribedEntry& entry, P3gppDecoderInfo& info);

}  // namespace zdr::p3gpp
