// The count and the model of each thread's initialisation.
#include <gtest/gtest.h>
#include <objbase.h>

#include <thread>
#include <vector>

namespace {

enum class Call { kApartment, kMultithreaded, kMultithreadedNoDde, kDefault, kUninitialize };

struct Step {
  Call call;
  HRESULT result;
};

HRESULT make(Call call) {
  switch (call) {
    case Call::kApartment:
      return CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    case Call::kMultithreaded:
      return CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    case Call::kMultithreadedNoDde:
      return CoInitializeEx(nullptr, COINIT_DISABLE_OLE1DDE);
    case Call::kDefault:
      return CoInitialize(nullptr);
    case Call::kUninitialize:
      CoUninitialize();
      break;
  }
  return S_OK;
}

TEST(Apartment, FirstInitialisationDecidesUntilAllAreUndone) {
  const std::vector<Step> runs[] = {
      {{Call::kDefault, S_OK}, {Call::kApartment, S_FALSE}, {Call::kMultithreaded, RPC_E_CHANGED_MODE}},
      {{Call::kMultithreadedNoDde, S_OK},
       {Call::kMultithreaded, S_FALSE},
       {Call::kDefault, RPC_E_CHANGED_MODE}},
      // Two successes need two ends before the model can change; a refusal needs none.
      {{Call::kApartment, S_OK},
       {Call::kApartment, S_FALSE},
       {Call::kMultithreaded, RPC_E_CHANGED_MODE},
       {Call::kUninitialize, S_OK},
       {Call::kMultithreaded, RPC_E_CHANGED_MODE},
       {Call::kUninitialize, S_OK},
       {Call::kMultithreaded, S_OK}},
      // One end too many does not count against the next beginning.
      {{Call::kUninitialize, S_OK},
       {Call::kApartment, S_OK},
       {Call::kUninitialize, S_OK},
       {Call::kMultithreaded, S_OK}},
  };
  for (const auto& run : runs) {
    std::thread([&run] {
      for (std::size_t i = 0; i < run.size(); ++i)
        EXPECT_EQ(make(run[i].call), run[i].result) << "step " << i;
    }).join();
  }
}

}  // namespace
