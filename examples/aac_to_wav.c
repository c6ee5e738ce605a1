/* Decodes an ADTS file to a WAVE file, with the AAC decoder alone: aac_to_wav IN.aac OUT.wav. */
#include <stdio.h>
#include <string.h>

#include "aacdec/zd_aac_dec.h"

static uint8_t stream[64 << 20];
static int16_t pcm[2 * 2048]; /* the largest frame: two channels, doubled by SBR */
static void put(FILE* out, const char* name, int32_t value, int bytes) { /* low byte first */
  fputs(name, out);
  for (int i = 0; i < bytes; ++i) fputc(value >> (8 * i) & 0xFF, out);
}

static void put_header(FILE* out, const Zd_AAC_Dec_Config* config, int32_t pcm_bytes) {
  put(out, "RIFF", 36 + pcm_bytes, 4);
  put(out, "WAVEfmt ", 16, 4);
  put(out, "", 1 | config->channels << 16, 4); /* 1: PCM */
  put(out, "", config->outputRate, 4);
  put(out, "", config->outputRate * config->channels * 2, 4);
  put(out, "", config->channels * 2 | 16 << 16, 4); /* bytes of a sample, bits */
  put(out, "data", pcm_bytes, 4);
}

/* Returns the bytes of PCM that were written. A damaged frame becomes silence. */
static int32_t decode(Zd_AAC_Dec_Instance* decoder, int32_t size, int32_t frame_bytes, FILE* out) {
  int32_t position = 0, written = 0;
  for (int drained = 0; !drained;) {
    int32_t bytes = size - position, pcm_bytes = frame_bytes;
    drained = bytes <= 0; /* one more call, because the output is one frame late */
    if (Zd_AAC_Dec_Decode(decoder, drained ? NULL : stream + position, &bytes, pcm, &pcm_bytes) == 0) {
      position += bytes;
    } else { /* at a header, all of which begin alike, the frame before the damaged one is in `pcm` */
      if (memcmp(stream + position, stream, 3) != 0) pcm_bytes = 0;
      while (++position < size && memcmp(stream + position, stream, 3) != 0) continue;
    }
    written += (int32_t)fwrite(pcm, 1, (size_t)pcm_bytes, out);
  }
  return written;
}

int main(int argc, char** argv) {
  Zd_AAC_Dec_Config config;
  Zd_AAC_Dec_Instance* decoder = NULL;
  FILE* in = argc == 3 ? fopen(argv[1], "rb") : NULL;
  FILE* out = in != NULL ? fopen(argv[2], "wb") : NULL;
  if (out == NULL) return 2;
  int32_t size = (int32_t)fread(stream, 1, sizeof stream - 3, in), header_bytes = size;
  if (Zd_AAC_Dec_GetConfig(stream, &header_bytes, &config, 1, NULL, 0) != ZD_AAC_DEC_OK ||
      Zd_AAC_Dec_Create(&decoder, ZD_AAC_DEC_MODE_PS) != ZD_AAC_DEC_OK ||
      Zd_AAC_Dec_SetConfig(decoder, &config) != ZD_AAC_DEC_OK) {
    return 1;
  }
  put_header(out, &config, 0); /* its sizes are known at the end */
  const int32_t pcm_bytes = decode(decoder, size, config.outputBytes, out);
  rewind(out);
  put_header(out, &config, pcm_bytes);
  Zd_AAC_Dec_Close(decoder);
  return fclose(out) != 0;
}
