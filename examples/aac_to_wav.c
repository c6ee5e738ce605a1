/* Decodes an ADTS file to a WAVE file, with the AAC decoder alone: aac_to_wav IN.aac OUT.wav. */
#include <stdio.h>

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
  put(out, "", 1, 2); /* PCM */
  put(out, "", config->channels, 2);
  put(out, "", config->outputRate, 4);
  put(out, "", config->outputRate * config->channels * 2, 4);
  put(out, "", config->channels * 2, 2);
  put(out, "", 16, 2);
  put(out, "data", pcm_bytes, 4);
}

/* Returns the bytes of PCM that were written, negative if a frame cannot be decoded. */
static int32_t decode(Zd_AAC_Dec_Instance* decoder, int32_t size, FILE* out) {
  int32_t position = 0, written = 0;
  /* The output is one frame late, so a call without a unit follows the last one. */
  for (int drained = 0; !drained;) {
    int32_t bytes = size - position, pcm_bytes = sizeof pcm;
    const uint8_t* unit = bytes > 0 ? stream + position : NULL;
    if (Zd_AAC_Dec_Decode(decoder, unit, &bytes, pcm, &pcm_bytes) != ZD_AAC_DEC_OK) return -1;
    written += (int32_t)fwrite(pcm, 1, (size_t)pcm_bytes, out);
    drained = unit == NULL;
    position += drained ? 0 : bytes;
  }
  return written;
}

int main(int argc, char** argv) {
  Zd_AAC_Dec_Config config;
  Zd_AAC_Dec_Instance* decoder = NULL;
  FILE* in = argc == 3 ? fopen(argv[1], "rb") : NULL;
  FILE* out = in != NULL ? fopen(argv[2], "wb") : NULL;
  if (out == NULL) return 2;
  const int32_t size = (int32_t)fread(stream, 1, sizeof stream, in);
  int32_t header_bytes = size;
  if (Zd_AAC_Dec_GetConfig(stream, &header_bytes, &config, 1, NULL, 0) != ZD_AAC_DEC_OK ||
      Zd_AAC_Dec_Create(&decoder, ZD_AAC_DEC_MODE_PS) != ZD_AAC_DEC_OK ||
      Zd_AAC_Dec_SetConfig(decoder, &config) != ZD_AAC_DEC_OK) {
    return 1;
  }
  put_header(out, &config, 0); /* its sizes are known at the end */
  const int32_t pcm_bytes = decode(decoder, size, out);
  rewind(out);
  put_header(out, &config, pcm_bytes);
  Zd_AAC_Dec_Close(decoder);
  return fclose(out) != 0 || pcm_bytes < 0;
}
