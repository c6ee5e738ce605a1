// A shared library that can be loaded but serves no class.
extern "C" __attribute__((visibility("default"))) int zdr_entryless_module() {
  return 1;
}
