// Opens, creates and maps the pages of named events.
#include "platform/win32/runtime/named/named_event.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/named/life_line.h"
#include "platform/win32/runtime/named/session_name.h"
#include "platform/win32/runtime/runtime_folder.h"
#include "platform/win32/runtime/wait_signal.h"
#include "platform/win32/utf.h"

namespace zdr::platform {

namespace {

// The file of an event. All but the word is constant while a process has the event open.
struct EventPage {
  static constexpr uint32_t kMagic = 0x4A4F5A44;
  static constexpr uint32_t kVersion = 2;

  uint32_t magic;
  uint32_t version;
  uint32_t manual_reset;
  FutexWord word;
  uint32_t key_length;
  char key[1280];  // distinguishes keys of equal hashes
};

// The mapped page of an event; unmaps it and then leaves the event's file.
class MappedPage {
 public:
  explicit MappedPage(LifeLine line) noexcept : line_(std::move(line)) {
    void* memory = mmap(nullptr, sizeof(EventPage), PROT_READ | PROT_WRITE, MAP_SHARED, line_.file(), 0);
    if (memory != MAP_FAILED) page_ = static_cast<EventPage*>(memory);
  }
  MappedPage(MappedPage&& other) noexcept
      : line_(std::move(other.line_)), page_(std::exchange(other.page_, nullptr)) {}
  MappedPage& operator=(MappedPage&&) = delete;
  ~MappedPage() {
    if (page_ != nullptr) munmap(page_, sizeof(EventPage));
  }

  EventPage* get() const noexcept { return page_; }
  void join() noexcept { line_.join(); }

 private:
  LifeLine line_;
  EventPage* page_ = nullptr;
};

class NamedEvent final : public WaitSignal {
 public:
  explicit NamedEvent(MappedPage page) noexcept
      : WaitSignal(page.get()->word, page.get()->manual_reset != 0), page_(std::move(page)) {}

  void join() noexcept { page_.join(); }

 private:
  MappedPage page_;
};

// Session and name. The prefixes "Global\" and "Local\" are dropped, since both mean the user's session here.
DWORD make_key(std::u16string_view name, std::string& key) {
  if (name.size() > MAX_PATH) return ERROR_FILENAME_EXCED_RANGE;
  for (const std::u16string_view prefix :
       {std::u16string_view(u"Global\\"), std::u16string_view(u"Local\\")}) {
    if (!name.starts_with(prefix)) continue;
    name.remove_prefix(prefix.size());
    break;
  }
  if (name.empty() || name.find(u'\\') != std::u16string_view::npos) return ERROR_PATH_NOT_FOUND;
  key = fixed_session_name() + "\n" + to_utf8(name);
  return NO_ERROR;
}

// FNV-1a of the key with one final mixing step; two hashes with different starts make 128 bits.
uint64_t hash_key(std::string_view key, uint64_t start) noexcept {
  uint64_t hash = start;
  for (const char c : key) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  hash ^= hash >> 32;
  return hash * 0x9E3779B97F4A7C15u;
}

std::string file_name_of(std::string_view key) {
  std::array<char, 33> name;
  std::snprintf(name.data(), name.size(), "%016llx%016llx",
                static_cast<unsigned long long>(hash_key(key, 0xCBF29CE484222325u)),
                static_cast<unsigned long long>(hash_key(key, 0x6C62272E07BB0142u)));
  return name.data();
}

// Empties the file and reserves its blocks now: a full memory disk must fail here, not as a fault during a
// wait.
DWORD make_blank(int file) noexcept {
  if (ftruncate(file, 0) != 0) return error_from_errno(errno);
  const int error = posix_fallocate(file, 0, sizeof(EventPage));
  return error == 0 ? NO_ERROR : error_from_errno(error);
}

// A file in use must hold a page, since a read past its end would be a fault.
DWORD check_size(int file) noexcept {
  struct stat info;
  const bool whole = fstat(file, &info) == 0 && info.st_size >= static_cast<off_t>(sizeof(EventPage));
  return whole ? NO_ERROR : ERROR_INVALID_DATA;
}

void fill_page(EventPage& page, bool manual_reset, bool set, std::string_view key) noexcept {
  page.version = EventPage::kVersion;
  page.manual_reset = manual_reset ? 1 : 0;
  page.word.store(set ? WaitSignal::kSet : WaitSignal::kUnset, std::memory_order_relaxed);
  page.key_length = static_cast<uint32_t>(key.size());
  std::memcpy(page.key, key.data(), key.size());
  page.magic = EventPage::kMagic;
}

DWORD check_page(const EventPage& page, std::string_view key) noexcept {
  if (page.magic != EventPage::kMagic || page.version != EventPage::kVersion) return ERROR_INVALID_DATA;
  const bool same = page.key_length == key.size() && std::memcmp(page.key, key.data(), key.size()) == 0;
  return same ? NO_ERROR : ERROR_INVALID_HANDLE;
}

// The folder of the files. The first call in a process removes what killed processes left in it.
int event_folder() {
  static constinit std::atomic_flag cleaned;
  const int folder = runtime_folder(RuntimeFolder::kNamedEvents);
  if (folder >= 0 && !cleaned.test_and_set()) LifeLine::remove_stale_files(folder);
  return folder;
}

}  // namespace

DWORD open_named_event(LPCWSTR name, bool manual_reset, bool set, Ref<KernelObject>& event, bool& existed) {
  std::string key;
  if (const DWORD error = make_key(name, key); error != NO_ERROR) return error;
  const int folder = event_folder();
  if (folder < 0) return ERROR_ACCESS_DENIED;
  LifeLine line;
  if (const DWORD error = line.enter(folder, file_name_of(key)); error != NO_ERROR) return error;
  existed = !line.is_alone();
  const DWORD unusable = existed ? check_size(line.file()) : make_blank(line.file());
  if (unusable != NO_ERROR) return unusable;
  MappedPage page(std::move(line));
  if (page.get() == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  if (!existed) fill_page(*page.get(), manual_reset, set, key);
  if (const DWORD error = check_page(*page.get(), key); error != NO_ERROR) return error;
  Ref<NamedEvent> opened(new NamedEvent(std::move(page)));
  opened->join();
  event = Ref<KernelObject>(opened.detach());
  return NO_ERROR;
}

}  // namespace zdr::platform
