// The count and the model of each thread's initialisation.
#include <gtest/gtest.h>
#include <objbase.h>

#include <string>
#include <thread>

namespace {

// a apartment, m multithreaded, n multithreaded without the old data exchange, d default, u uninitialise.
HRESULT make(char call) {
  if (call == 'a') return CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  if (call == 'm') return CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (call == 'n') return CoInitializeEx(nullptr, COINIT_DISABLE_OLE1DDE);
  if (call == 'd') return CoInitialize(nullptr);
  CoUninitialize();
  return S_OK;
}

// + first, = once more, ! refused because of the other model.
char sign_of(HRESULT result) {
  if (result == RPC_E_CHANGED_MODE) return '!';
  return result == S_OK ? '+' : result == S_FALSE ? '=' : '?';
}

TEST(Apartment, FirstInitialisationDecidesUntilAllAreUndone) {
  const struct {
    const char* what;
    std::string calls;
    std::string results;
  } runs[] = {
      {"the default is an apartment", "dam", "+=!"},
      {"a flag beside the model", "nmd", "+=!"},
      {"two successes need two ends, a refusal needs none", "aamumum", "+=!+!++"},
      {"one end too many does not count", "uaum", "++++"},
  };
  for (const auto& run : runs) {
    std::string results;
    std::thread([&] {
      for (const char call : run.calls) results += sign_of(make(call));
    }).join();
    EXPECT_EQ(results, run.results) << run.what;
  }
}

}  // namespace
