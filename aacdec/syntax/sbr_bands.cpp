// Derives the other SBR band tables from the master table.
#include "aacdec/syntax/sbr_bands.h"

#include <algorithm>

#include "aacdec/syntax/sbr_master_bands.h"
#include "aacdec/syntax/sbr_octaves.h"

namespace zdr::aacdec {
namespace {

bool derive_tables(const SbrHeader& header, SbrBandTables& tables) {
  if (header.xover_band >= tables.master_count) return false;
  const int high_count = tables.master_count - header.xover_band;
  std::copy_n(tables.master + header.xover_band, high_count + 1, tables.high);
  const int odd = high_count % 2;
  const int low_count = (high_count + 1) / 2;
  tables.low[0] = tables.high[0];
  for (int j = 1; j <= low_count; ++j) tables.low[j] = tables.high[2 * j - odd];
  tables.high_count = static_cast<uint8_t>(high_count);
  tables.low_count = static_cast<uint8_t>(low_count);
  tables.kx = tables.high[0];
  tables.m = static_cast<uint8_t>(tables.high[high_count] - tables.kx);
  return tables.kx <= kTopBand / 2;
}

bool build_noise_bands(const SbrHeader& header, SbrBandTables& tables) {
  const int64_t octaves = log2_of(tables.k2) - log2_of(tables.kx);
  const int count = std::max(1, static_cast<int>(round_quotient(header.noise_bands * octaves, kOctave)));
  if (count > kMaxNoiseBands) return false;
  tables.noise_count = static_cast<uint8_t>(count);
  tables.noise[0] = tables.low[0];
  int band = 0;
  for (int j = 1; j <= count; ++j) {
    band += (tables.low_count - band) / (count + 1 - j);
    tables.noise[j] = tables.low[band];
  }
  return true;
}

// Returns the end of the next patch: the highest border, from `index` down, that source bands below
// `source_end` can reach.
int patch_end(const SbrBandTables& tables, int index, int source_end, int& odd) {
  for (;; --index) {
    const int end = tables.master[index];
    odd = (end - 2 + tables.k0) & 1;
    if (end <= tables.k0 - 1 + source_end - odd || index == 0) return end;
  }
}

// Kept: at most five patches are built, so the bands of a sixth stay silent. A last patch of one or two bands
// is dropped unless it is the only one.
bool build_patches(int32_t rate, SbrBandTables& tables) {
  const int target_end = tables.kx + tables.m;
  const int goal = static_cast<int>(round_quotient(2048000, rate));
  const int last = tables.master_count;
  int index = last;
  if (goal < target_end) {
    index = static_cast<int>(std::lower_bound(tables.master, tables.master + last, goal) - tables.master);
  }
  int source_end = tables.k0;
  int done = tables.kx;
  int count = 0;
  int empty_rounds = 0;
  for (int end = 0; end != target_end && count < kMaxPatches;) {
    int odd = 0;
    end = patch_end(tables, index, source_end, odd);
    const int width = end - done;
    if (width > 0) {
      if (tables.k0 - odd - width < 0) return false;
      tables.patch_start[count] = static_cast<uint8_t>(tables.k0 - odd - width);
      tables.patch_width[count] = static_cast<uint8_t>(width);
      ++count;
      done = source_end = end;
      empty_rounds = 0;
    } else {
      // Retry from the end of the core, then with the last index; after a third empty round the search would
      // never end.
      source_end = tables.kx;
      if (++empty_rounds == 3) return false;
    }
    if (tables.master[index] - end < 3) index = last;
  }
  if (count > 1 && tables.patch_width[count - 1] < 3) --count;
  tables.patch_count = static_cast<uint8_t>(count);
  return true;
}

// The borders of the patches, including both ends.
struct PatchBorders {
  explicit PatchBorders(const SbrBandTables& tables)
      : count(std::min<int>(tables.patch_count, kMaxPatches) + 1) {
    border[0] = tables.kx;
    for (int p = 0; p + 1 < count; ++p) {
      border[p + 1] = static_cast<uint8_t>(border[p] + tables.patch_width[p]);
    }
  }
  bool contains(uint8_t band) const { return std::find(border, border + count, band) != border + count; }

  int count;
  uint8_t border[kMaxPatches + 1];
};

// Removes borders that are closer than 0.49 limiter bands to their neighbour, patch borders last. Returns the
// new end of the sorted borders.
uint8_t* join_close_borders(int64_t bands_per_octave_tenths, const PatchBorders& patches, uint8_t* borders,
                            uint8_t* end) {
  const auto remove = [&end](uint8_t* border) { end = std::copy(border + 1, end, border); };
  for (uint8_t* border = borders + 1; border < end;) {
    const int64_t octaves = log2_of(*border) - log2_of(*(border - 1));
    if (octaves * bands_per_octave_tenths * 10 >= kOctave * 49) {
      ++border;
    } else if (*border == *(border - 1) || !patches.contains(*border)) {
      remove(border);
    } else if (!patches.contains(*(border - 1))) {
      remove(border - 1);
    } else {
      ++border;
    }
  }
  return end;
}

}  // namespace

bool build_sbr_bands(const SbrHeader& header, int32_t sbr_rate_hz, SbrBandTables& tables) {
  tables = {};
  if (!build_master_bands(header, sbr_rate_hz, tables)) return false;
  // Kept: no room above the core is not an error; the payload is then parsed without any bands.
  if (tables.k2 <= tables.k0) return true;
  return derive_tables(header, tables) && build_noise_bands(header, tables) &&
         build_patches(sbr_rate_hz, tables);
}

void build_limiter_bands(const SbrHeader& header, SbrBandTables& tables) {
  tables.limiter_count = 0;
  if (tables.low_count == 0) return;
  if (header.limiter_bands == 0) {
    tables.limiter_count = 1;
    tables.limiter[0] = tables.low[0];
    tables.limiter[1] = tables.low[tables.low_count];
    return;
  }
  const PatchBorders patches(tables);
  uint8_t* const borders = tables.limiter;
  uint8_t* end = std::copy_n(tables.low, tables.low_count + 1, borders);
  if (patches.count > 2) end = std::copy(patches.border + 1, patches.border + patches.count - 1, end);
  std::sort(borders, end);
  // 1.2, 2 or 3 bands per octave.
  static constexpr int64_t kBandsPerOctaveTenths[4] = {0, 12, 20, 30};
  end = join_close_borders(kBandsPerOctaveTenths[header.limiter_bands], patches, borders, end);
  tables.limiter_count = static_cast<uint8_t>(end - borders - 1);
}

}  // namespace zdr::aacdec
