// Named objects between processes: creation, hand-over, abandonment, killed holders, privacy.
#include <filesystem>
#include <set>

#include "tests/platform/win32/child_process.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

namespace fs = std::filesystem;
using NamedObjectsTest = Win32Test;

DWORD poll(HANDLE handle) {
  return WaitForSingleObject(handle, 0);
}
ScopedHandle event(LPCWSTR name) {
  return CreateEventW(nullptr, FALSE, FALSE, name);
}

constexpr const char* kServed = "0";
constexpr const char* kTimedOut = "258";
constexpr const char* kAlreadyExists = "183";

// Sends a wait without limit and returns once the child sleeps in it.
void send_into_wait(ChildProcess& child, const std::string& key) {
  child.send("wait " + key + " 4294967295");
  ASSERT_EQ(child.receive(), "!");
  await_sleep_in_wait(child.pid());
}

// Made with the first object; made here for a test that comes first.
fs::path object_folder() {
  event(u"FolderMaker");
  return fs::path(std::getenv("XDG_RUNTIME_DIR")) / "zdr" / "obj";
}

size_t object_files() {
  return static_cast<size_t>(std::distance(fs::directory_iterator(object_folder()), {}));
}

TEST_F(NamedObjectsTest, NamesFollowTheirRules) {
  const ScopedHandle plain = event(u"Name");
  const struct {
    std::u16string name;
    DWORD error;
  } rows[] = {{u"Global\\Name", ERROR_ALREADY_EXISTS},
              {u"Local\\Name", ERROR_ALREADY_EXISTS},
              {u"name", NO_ERROR},
              {u"", NO_ERROR},
              {u"Other\\Name", ERROR_PATH_NOT_FOUND},
              {u"Global\\a\\b", ERROR_PATH_NOT_FOUND},
              {std::u16string(260, u'x'), NO_ERROR},
              {std::u16string(261, u'x'), ERROR_FILENAME_EXCED_RANGE}};
  for (const auto& row : rows) {
    const bool opens = row.error == NO_ERROR || row.error == ERROR_ALREADY_EXISTS;
    const ScopedHandle handle = event(row.name.c_str());
    EXPECT_EQ(GetLastError(), row.error);
    EXPECT_EQ(handle != nullptr, opens);
  }
  const ScopedHandle again = event(u"");
  EXPECT_EQ(GetLastError(), NO_ERROR) << "an empty name is no name";
}

TEST_F(NamedObjectsTest, AnotherKindUnderTheNameIs6) {
  const ScopedHandle here = event(u"KindHere");
  ChildProcess child("worker");
  ASSERT_EQ(child.ask("mutex m KindThere"), "0");
  for (const LPCWSTR name : {u"KindHere", u"KindThere"}) {
    EXPECT_EQ(failure(CreateSemaphoreW(nullptr, 0, 1, name)), ERROR_INVALID_HANDLE);
  }
  EXPECT_EQ(failure(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, u"KindHere")), ERROR_INVALID_HANDLE);
}

TEST_F(NamedObjectsTest, TheObjectEndsWithItsLastHandleInAnyProcess) {
  const size_t files_before = object_files();
  ScopedHandle mine = event(u"Life");
  EXPECT_EQ(GetLastError(), NO_ERROR);
  ChildProcess child("worker");
  ASSERT_EQ(child.ask("event e Life 1"), kAlreadyExists);
  SetLastError(kUntouched);
  ScopedHandle opened = OpenEventW(EVENT_ALL_ACCESS, FALSE, u"Life");
  EXPECT_EQ(GetLastError(), kUntouched);
  SetEvent(opened);
  mine.close();
  opened.close();
  ASSERT_EQ(child.ask("wait e 0"), kServed) << "lives on in the child";
  ASSERT_EQ(child.ask("wait e 0"), kTimedOut) << "still an auto-reset event";
  ASSERT_EQ(child.ask("set e"), "1");
  ASSERT_EQ(child.ask("close e"), "1");
  EXPECT_EQ(object_files(), files_before);
  const ScopedHandle fresh = event(u"Life");
  EXPECT_EQ(GetLastError(), NO_ERROR);
  EXPECT_EQ(poll(fresh), WAIT_TIMEOUT);
}

TEST_F(NamedObjectsTest, ASignalReleasesOneSleeperInTheOrderOfArrivalAndNoDeadOne) {
  const ScopedHandle signal = event(u"Order");
  ChildProcess dead("worker");
  ChildProcess first("worker");
  ChildProcess second("worker");
  for (ChildProcess* child : {&dead, &first, &second}) {
    ASSERT_EQ(child->ask("event e Order"), kAlreadyExists);
    send_into_wait(*child, "e");
  }
  dead.kill_hard();
  SetEvent(signal);
  EXPECT_EQ(first.receive(), kServed);
  await_sleep_in_wait(second.pid());
  EXPECT_EQ(poll(signal), WAIT_TIMEOUT);
  SetEvent(signal);
  EXPECT_EQ(second.receive(), kServed);
  EXPECT_EQ(WaitForSingleObject(signal, 5), WAIT_TIMEOUT);
  SetEvent(signal);
  EXPECT_EQ(poll(signal), WAIT_OBJECT_0) << "not spent on a waiter that has left";
}

TEST_F(NamedObjectsTest, AKilledHolderLeavesNothingBehind) {
  const size_t files_before = object_files();
  {
    ChildProcess child("worker");
    ASSERT_EQ(child.ask("event e Crash"), "0");
    ASSERT_EQ(child.ask("set e"), "1");
    child.kill_hard();
    EXPECT_EQ(object_files(), files_before + 2) << "the stale files";
    EXPECT_EQ(failure(OpenEventW(EVENT_ALL_ACCESS, FALSE, u"Crash")), ERROR_FILE_NOT_FOUND);
    const ScopedHandle fresh = event(u"Crash");
    EXPECT_EQ(GetLastError(), NO_ERROR) << "created, not opened";
    EXPECT_EQ(poll(fresh), WAIT_TIMEOUT) << "not signalled";
  }
  EXPECT_EQ(object_files(), files_before);
}

TEST_F(NamedObjectsTest, MutexesAreAbandonedByThreadsAndByKilledProcesses) {
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, u"Abandon");
  ChildProcess child("worker");
  ASSERT_EQ(child.ask("mutex m Abandon 1"), kAlreadyExists);
  EXPECT_EQ(poll(mutex), WAIT_OBJECT_0) << "only the first creation makes an owner";
  EXPECT_TRUE(ReleaseMutex(mutex));
  ASSERT_EQ(child.ask("wait-on-thread m"), kServed);
  EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED) << "the child's thread ended";
  EXPECT_EQ(poll(mutex), WAIT_OBJECT_0) << "recursive";
  EXPECT_EQ(child.ask("wait m 0"), kTimedOut);
  EXPECT_EQ(child.ask("release m"), std::to_string(ERROR_NOT_OWNER));
  EXPECT_TRUE(ReleaseMutex(mutex) && ReleaseMutex(mutex));
  EXPECT_FALSE(ReleaseMutex(mutex));
  ASSERT_EQ(child.ask("wait m 0"), kServed);
  EXPECT_EQ(WaitForSingleObject(mutex, 5), WAIT_TIMEOUT);
  child.kill_hard();
  EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED) << "the child was killed";
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(poll(mutex), WAIT_OBJECT_0) << "ordinary again";
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST_F(NamedObjectsTest, AMutexIsReleasedThroughAnyHandleAndOwnedFromItsCreation) {
  const ScopedHandle first = CreateMutexW(nullptr, TRUE, u"Handles");
  const ScopedHandle second = CreateMutexW(nullptr, TRUE, u"Handles");
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  ChildProcess child("worker");
  ASSERT_EQ(child.ask("mutex m Handles"), kAlreadyExists);
  EXPECT_EQ(child.ask("wait m 0"), kTimedOut);
  EXPECT_TRUE(ReleaseMutex(second)) << "owned once: the second creation did not count";
  EXPECT_EQ(child.ask("wait m 0"), kServed);
  EXPECT_FALSE(ReleaseMutex(first));
}

TEST_F(NamedObjectsTest, AnOwnedMutexSurvivesItsHandles) {
  ChildProcess child("worker");
  std::thread([&] {
    ScopedHandle first = CreateMutexW(nullptr, TRUE, u"Survivor");
    ASSERT_EQ(child.ask("mutex m Survivor"), kAlreadyExists);
    first.close();
    EXPECT_EQ(child.ask("wait m 0"), kTimedOut) << "still owned by this thread";
  }).join();
  EXPECT_EQ(child.ask("wait m 0"), "128") << "abandoned by the thread's end";
}

TEST_F(NamedObjectsTest, SemaphoresCountAcrossProcesses) {
  const ScopedHandle semaphore = CreateSemaphoreW(nullptr, 1, 2, u"Count");
  ChildProcess child("worker");
  ASSERT_EQ(child.ask("semaphore s Count"), kAlreadyExists);
  ASSERT_EQ(child.ask("post s"), "0");
  ASSERT_EQ(child.ask("post s"), std::to_string(ERROR_TOO_MANY_POSTS));
  EXPECT_EQ(poll(semaphore), WAIT_OBJECT_0);
  EXPECT_EQ(child.ask("wait s 0"), kServed);
  EXPECT_EQ(child.ask("wait s 0"), kTimedOut);
}

TEST_F(NamedObjectsTest, WaitsMixNamedAndUnnamedObjects) {
  const ScopedHandle local = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const ScopedHandle named = event(u"Mixed");
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, u"MixedMutex");
  ChildProcess child("worker");
  ASSERT_EQ(child.ask("event e Mixed"), kAlreadyExists);
  ASSERT_EQ(child.ask("mutex m MixedMutex"), kAlreadyExists);
  const HANDLE all[] = {local, named, mutex};
  EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, 0), WAIT_OBJECT_0 + 2);
  EXPECT_TRUE(ReleaseMutex(mutex));
  ASSERT_EQ(child.ask("wait m 0"), kServed);
  EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, 5), WAIT_TIMEOUT);
  child.send("set e");
  EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(child.receive(), "1");
  std::thread setter([&] { SetEvent(local); });
  EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, INFINITE), WAIT_OBJECT_0);
  setter.join();
  // All three: the mutex is abandoned by a kill, which sends no signal of its own.
  SetEvent(local);
  SetEvent(named);
  EXPECT_EQ(WaitForMultipleObjects(3, all, TRUE, 5), WAIT_TIMEOUT);
  EXPECT_EQ(poll(named), WAIT_OBJECT_0) << "nothing was consumed";
  SetEvent(named);
  child.kill_hard();
  EXPECT_EQ(WaitForMultipleObjects(3, all, TRUE, INFINITE), WAIT_ABANDONED_0);
  EXPECT_EQ(poll(local), WAIT_TIMEOUT);
  EXPECT_EQ(poll(named), WAIT_TIMEOUT);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST_F(NamedObjectsTest, AWaitForAllSleepsAndLeavesFreeMutexesToOthers) {
  const ScopedHandle free_mutex = CreateMutexW(nullptr, FALSE, u"FreeMutex");
  const ScopedHandle owned = CreateMutexW(nullptr, TRUE, u"OwnedMutex");
  const ScopedHandle unset = event(u"NeverSet");
  std::thread([&] {
    EXPECT_LT(busy_percent_of_wait({free_mutex, unset}), kIdlePercent);
    EXPECT_LT(busy_percent_of_wait({free_mutex, owned}), kIdlePercent) << "gives back what it took";
  }).join();
  std::atomic<bool> done{false};
  std::thread waiter([&] {
    busy_percent_of_wait({free_mutex, unset});
    done = true;
  });
  int refused = 0;
  while (!done) refused += poll(free_mutex) != WAIT_OBJECT_0 || !ReleaseMutex(free_mutex);
  EXPECT_EQ(refused, 0) << "nobody owned it";
  waiter.join();
  ReleaseMutex(owned);
}

// Old kernels and some containers know no sleep on several words: then the wait polls, at ease.
TEST_F(NamedObjectsTest, WaitsSleepAlsoWhereSeveralWordsCannotBeWatched) {
  for (const char* error : {"38", "1"}) {  // ENOSYS, EPERM
    ChildProcess child("worker");
    EXPECT_LT(std::stoi(child.ask(std::string("wait-without-waitv ") + error)), kIdlePercent) << error;
  }
}

TEST_F(NamedObjectsTest, AFailedWaitForAllKeepsTheAbandonedMark) {
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, u"KeptMark");
  const ScopedHandle local = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::thread([&] { poll(mutex); }).join();
  const HANDLE both[] = {mutex, local};
  EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 0), WAIT_TIMEOUT);
  EXPECT_EQ(poll(mutex), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

// More sleepers than the shared page has places.
TEST_F(NamedObjectsTest, AHundredSleepersAreAllReleased) {
  const ScopedHandle signal = event(u"Crowd");
  std::atomic<int> released{0};
  std::vector<std::thread> sleepers;
  for (int i = 0; i < 100; ++i) {
    sleepers.emplace_back([&] {
      EXPECT_EQ(WaitForSingleObject(signal, INFINITE), WAIT_OBJECT_0);
      ++released;
      SetEvent(signal);
    });
  }
  SetEvent(signal);
  for (std::thread& sleeper : sleepers) sleeper.join();
  EXPECT_EQ(released, 100);
  EXPECT_EQ(poll(signal), WAIT_OBJECT_0) << "the last one's signal";
}

TEST_F(NamedObjectsTest, ADamagedStateFileIsRefusedWhileInUseAndReplacedAfterwards) {
  std::set<fs::path> others;
  for (const auto& entry : fs::directory_iterator(object_folder())) others.insert(entry.path());
  ScopedHandle holder = event(u"Damaged");
  for (const auto& entry : fs::directory_iterator(object_folder())) {
    EXPECT_EQ(entry.status().permissions(), fs::perms::owner_read | fs::perms::owner_write);
    if (entry.path().extension() != ".shm" || others.count(entry.path()) != 0) continue;
    std::fstream file(entry.path(), std::ios::in | std::ios::out | std::ios::binary);
    file.write("\0\0\0\0", 4);
  }
  ChildProcess child("worker");
  EXPECT_EQ(child.ask("event e Damaged"), std::to_string(ERROR_INVALID_DATA));
  holder.close();
  EXPECT_EQ(child.ask("event e Damaged"), "0");
  EXPECT_EQ(child.ask("close e"), "1");
}

// Whoever can write into the folder could forge objects: such a folder is passed over for the other place.
TEST_F(NamedObjectsTest, ARuntimeFolderThatIsALinkOrOpenToOthersIsRefused) {
  fs::create_directory(path("linked"));
  fs::create_directory(path("target"));
  fs::create_directory_symlink(path("target"), path("linked/zdr"));
  fs::create_directories(path("open/zdr"));
  fs::permissions(path("open/zdr"), fs::perms::owner_all | fs::perms::group_exec);
  for (const char* base : {"linked", "open"}) {
    ChildProcess child("worker", {"XDG_RUNTIME_DIR=" + path(base)});
    ASSERT_EQ(child.ask("private-session"), "1");
    EXPECT_EQ(child.ask("event e Refused"), "0");
    EXPECT_EQ(child.ask("close e"), "1");
    EXPECT_TRUE(fs::is_empty(path(base) + "/zdr")) << base;
  }
}

// Each process closes and creates anew at once, so that creations meet last closes: afterwards all must have
// the same object.
TEST_F(NamedObjectsTest, CreationAndLastCloseMayRace) {
  const size_t files_before = object_files();
  ChildProcess children[] = {ChildProcess("worker"), ChildProcess("worker"), ChildProcess("worker")};
  for (ChildProcess& child : children) ASSERT_NE(child.ask("event e Race"), "");
  for (int round = 0; round < 200; ++round) {
    for (ChildProcess& child : children) child.send("close e\nevent e Race");
    for (ChildProcess& child : children) {
      ASSERT_EQ(child.receive(), "1");
      const std::string created = child.receive();
      ASSERT_TRUE(created == "0" || created == kAlreadyExists) << created;
    }
    ASSERT_EQ(children[round % 3].ask("set e"), "1");
    ASSERT_EQ(children[(round + 1) % 3].ask("wait e 0"), kServed) << round;
  }
  for (ChildProcess& child : children) ASSERT_EQ(child.ask("close e"), "1");
  EXPECT_EQ(object_files(), files_before);
}

// In children: a process can choose its session only once.
TEST(SessionTest, AFunctionChoosesItBeforeTheFirstNamedObject) {
  ChildProcess mine("worker");
  EXPECT_EQ(mine.ask("session null"), "0");
  EXPECT_EQ(mine.ask("session " + std::string(201, 'x')), "0") << "too long";
  EXPECT_EQ(mine.ask("private-session"), "1");
  EXPECT_EQ(mine.ask("session elsewhere"), "1") << "may still change";
  ChildProcess other("worker", {"ZDR_SESSION=elsewhere"});
  ASSERT_EQ(other.ask("event e SessionEvent"), "0");
  EXPECT_EQ(mine.ask("event e SessionEvent"), "183");
  EXPECT_EQ(mine.ask("session default"), "0") << "fixed by the first named object";
  EXPECT_EQ(mine.ask("private-session"), "0");
  EXPECT_EQ(mine.ask("session elsewhere"), "1");
}

TEST(SessionTest, PrivateSessionsMeetNobody) {
  ChildProcess first("worker");
  ChildProcess second("worker");
  ChildProcess shared("worker");
  ChildProcess other("worker", {"ZDR_SESSION=elsewhere"});
  ChildProcess other_too("worker", {"ZDR_SESSION=elsewhere"});
  for (ChildProcess* child : {&first, &second}) ASSERT_EQ(child->ask("private-session"), "1");
  for (ChildProcess* child : {&first, &second, &shared, &other}) {
    EXPECT_EQ(child->ask("event e SessionEvent"), "0");
  }
  EXPECT_EQ(other_too.ask("event e SessionEvent"), "183");
  EXPECT_EQ(other.ask("set e"), "1");
  EXPECT_EQ(shared.ask("wait e 0"), "258");
  EXPECT_EQ(other_too.ask("wait e 0"), "0");
}

}  // namespace

}  // namespace zdr::platform::test
