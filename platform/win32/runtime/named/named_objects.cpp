// Looking up, mapping and making named objects.
#include "platform/win32/runtime/named/named_objects.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string_view>

#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/named/robust_mutex.h"
#include "platform/win32/runtime/named/session_name.h"
#include "platform/win32/runtime/named/shared_mutex.h"
#include "platform/win32/runtime/named/shared_signal.h"
#include "platform/win32/runtime/runtime_folder.h"
#include "platform/win32/runtime/text/utf.h"

namespace zdr::platform {

namespace {

struct NamedTable {
  std::mutex mutex;
  std::map<std::string, KernelObject*, std::less<>> objects;  // holds no references
};

// Never destroyed: modules may close handles while the process ends.
NamedTable& named_table() {
  static NamedTable* const table = new NamedTable;
  return *table;
}

// Session and name, with the two prefixes dropped that would both mean "this user" here.
DWORD make_key(std::u16string_view name, std::string& key) {
  if (name.size() > MAX_PATH) return ERROR_FILENAME_EXCED_RANGE;
  for (const std::u16string_view prefix :
       {std::u16string_view(u"Global\\"), std::u16string_view(u"Local\\")}) {
    if (!name.starts_with(prefix)) continue;
    name.remove_prefix(prefix.size());
    break;
  }
  if (name.empty() || name.find(u'\\') != std::u16string_view::npos) return ERROR_PATH_NOT_FOUND;
  key = fixed_session_name() + "\n" + utf8_file_name(name);
  return NO_ERROR;
}

// FNV-1a of the key with one final mixing step; two of them with different starts make the 128 bits.
uint64_t hash_key(std::string_view key, uint64_t start) noexcept {
  uint64_t hash = start;
  for (const char c : key) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  hash ^= hash >> 32;
  return hash * 0x9E3779B97F4A7C15u;
}

std::string file_stem(std::string_view key) {
  char stem[33];
  std::snprintf(stem, sizeof stem, "%016llx%016llx",
                static_cast<unsigned long long>(hash_key(key, 0xCBF29CE484222325u)),
                static_cast<unsigned long long>(hash_key(key, 0x6C62272E07BB0142u)));
  return stem;
}

SharedPage* map_page(int file) noexcept {
  void* memory = mmap(nullptr, sizeof(SharedPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<SharedPage*>(memory);
}

bool make_mutexes(SharedPage& page) noexcept {
  if (!make_robust_mutex(page.guard)) return false;
  for (SharedWaiter& waiter : page.waiters) {
    if (!make_robust_mutex(waiter.life)) return false;
  }
  return true;
}

// The file is fresh and all zero.
DWORD fill_page(SharedPage& page, const NamedRequest& request, std::string_view key) noexcept {
  if (!make_mutexes(page)) return ERROR_NO_SYSTEM_RESOURCES;
  page.version = SharedPage::kVersion;
  page.kind = request.kind;
  page.manual_reset = request.manual_reset ? 1 : 0;
  page.maximum = request.maximum;
  page.count.store(request.initial, std::memory_order_relaxed);
  page.name_length = static_cast<uint32_t>(key.size());
  std::memcpy(page.name, key.data(), key.size());
  page.magic = SharedPage::kMagic;
  return NO_ERROR;
}

DWORD check_page(const SharedPage& page, const NamedRequest& request, std::string_view key) noexcept {
  if (page.magic != SharedPage::kMagic || page.version != SharedPage::kVersion) return ERROR_INVALID_DATA;
  if (page.name_length != key.size() || std::memcmp(page.name, key.data(), key.size()) != 0) {
    return ERROR_INVALID_HANDLE;
  }
  return page.kind == request.kind ? NO_ERROR : ERROR_INVALID_HANDLE;
}

// Maps the state behind the gate, made anew when nobody is alive.
DWORD map_state(LifeLine& line, const NamedRequest& request, const std::string& key, SharedPage*& page,
                bool& existed) {
  existed = !line.is_alone();
  if (!existed && !request.create) return ERROR_FILE_NOT_FOUND;
  const int file = existed ? line.open_state() : line.create_state(sizeof(SharedPage));
  if (file < 0) return error_from_errno(errno);
  struct stat info;
  const bool whole = fstat(file, &info) == 0 && info.st_size >= static_cast<off_t>(sizeof(SharedPage));
  page = whole ? map_page(file) : nullptr;
  close(file);
  if (!whole) return ERROR_INVALID_DATA;
  if (page == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  const DWORD error = existed ? check_page(*page, request, key) : fill_page(*page, request, key);
  if (error != NO_ERROR) munmap(page, sizeof(SharedPage));
  return error;
}

DWORD open_between_processes(const NamedRequest& request, const std::string& key, Ref<KernelObject>& object,
                             bool& existed) {
  const int folder = runtime_folder(RuntimeFolder::kNamedObjects);
  if (folder < 0) return ERROR_ACCESS_DENIED;
  LifeLine line;
  if (const DWORD error = line.enter(folder, file_stem(key), request.create); error != NO_ERROR) return error;
  SharedPage* page = nullptr;
  if (const DWORD error = map_state(line, request, key, page, existed); error != NO_ERROR) return error;

  SharedState state(page, std::move(line));
  if (request.kind == SharedKind::kMutex) {
    Ref<SharedMutex> mutex(new SharedMutex(std::move(state), key));
    // Still behind the gate: nobody can take the mutex before its creator.
    if (!existed && request.owned) mutex->wait(0);
    mutex->state().join();
    object = Ref<KernelObject>(mutex.detach());
  } else {
    Ref<SharedSignal> signal(new SharedSignal(std::move(state), key));
    signal->state().join();
    object = Ref<KernelObject>(signal.detach());
  }
  return NO_ERROR;
}

SharedKind shared_kind(const KernelObject& object) noexcept {
  return object.kind() == ObjectKind::kSharedMutex ? SharedKind::kMutex
                                                   : static_cast<const SharedSignal&>(object).shared_kind();
}

}  // namespace

SharedState::~SharedState() {
  if (page_ != nullptr) munmap(page_, sizeof(SharedPage));
}

DWORD open_named(LPCWSTR name, const NamedRequest& request, Ref<KernelObject>& object, bool& existed) {
  std::string key;
  if (const DWORD error = make_key(name, key); error != NO_ERROR) return error;
  NamedTable& table = named_table();
  Ref<KernelObject> present;  // dropped after the lock: a last reference comes back here to be forgotten
  std::lock_guard lock(table.mutex);
  const auto found = table.objects.find(key);
  if (found != table.objects.end() && found->second->try_add_reference()) {
    present = Ref<KernelObject>(found->second);
    if (shared_kind(*present) != request.kind) return ERROR_INVALID_HANDLE;
    existed = true;
    object = std::move(present);
    return NO_ERROR;
  }
  if (const DWORD error = open_between_processes(request, key, object, existed); error != NO_ERROR)
    return error;
  table.objects.insert_or_assign(key, object.get());
  return NO_ERROR;
}

void forget_named(const std::string& key, const KernelObject* object) noexcept {
  NamedTable& table = named_table();
  std::lock_guard lock(table.mutex);
  const auto found = table.objects.find(key);
  if (found != table.objects.end() && found->second == object) table.objects.erase(found);
}

}  // namespace zdr::platform
