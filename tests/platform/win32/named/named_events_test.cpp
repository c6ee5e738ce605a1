// Named events between processes: names, lifetimes, signals, killed holders, privacy, sessions.
#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <set>

#include "tests/platform/win32/child_process.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

namespace fs = std::filesystem;

ScopedHandle event(LPCWSTR name) {
  return CreateEventW(nullptr, FALSE, FALSE, name);
}

constexpr const char* kCreated = "0";
constexpr const char* kServed = "0";
constexpr const char* kTimedOut = "258";
constexpr const char* kAlreadyExists = "183";

// Sends a wait and returns once the child sleeps in it.
void send_into_wait(ChildProcess& child, const std::string& key) {
  child.send("wait " + key);
  ASSERT_EQ(child.receive(), "!");
  await_sleep_in_wait(child.pid());
}

class NamedEvents : public Win32Test {
 protected:
  static std::set<fs::path> event_files() {
    event(u"FolderMaker");  // the first event makes the folder
    const auto folder = fs::path(std::getenv("XDG_RUNTIME_DIR")) / "zdr" / "obj";
    return {fs::directory_iterator(folder), fs::directory_iterator()};
  }
  // The file of the only event.
  fs::path new_file() const {
    for (const fs::path& file : event_files()) {
      if (!files_before.contains(file)) return file;
    }
    return {};
  }

  const std::set<fs::path> files_before = event_files();
};

TEST_F(NamedEvents, NamesAreCaseSensitiveAndMayHaveAPrefix) {
  const ScopedHandle plain = event(u"Name");
  const std::pair<std::u16string, DWORD> rows[] = {{u"Global\\Name", ERROR_ALREADY_EXISTS},
                                                   {u"name", NO_ERROR},
                                                   {u"", NO_ERROR},
                                                   {u"Global\\a\\b", ERROR_PATH_NOT_FOUND},
                                                   {u"Global\\", ERROR_PATH_NOT_FOUND},
                                                   {std::u16string(260, u'x'), NO_ERROR},
                                                   {std::u16string(261, u'x'), ERROR_FILENAME_EXCED_RANGE}};
  for (const auto& [name, error] : rows) {
    const ScopedHandle handle = event(name.c_str());
    EXPECT_EQ(GetLastError(), error);
    EXPECT_EQ(handle != nullptr, error == NO_ERROR || error == ERROR_ALREADY_EXISTS);
  }
}

TEST_F(NamedEvents, EndWithTheirLastHandleInAnyProcess) {
  ScopedHandle mine = CreateEventW(nullptr, FALSE, TRUE, u"Life");
  EXPECT_EQ(GetLastError(), NO_ERROR);
  ChildProcess child;
  ASSERT_EQ(child.call("event e Life 1"), kAlreadyExists);
  ScopedHandle again = event(u"Life");
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  mine.close();
  again.close();
  EXPECT_EQ(child.call("poll e"), kServed) << "as it was created: set";
  EXPECT_EQ(child.call("poll e"), kTimedOut) << "as it was created: an auto-reset event";
  EXPECT_EQ(child.call("set e"), "1");
  EXPECT_EQ(child.call("close e"), "1");
  EXPECT_EQ(event_files(), files_before);
  mine = event(u"Life");
  EXPECT_EQ(GetLastError(), NO_ERROR);
  EXPECT_EQ(poll(mine), WAIT_TIMEOUT);
}

TEST_F(NamedEvents, ASignalReleasesOneLiveSleeper) {
  const ScopedHandle signal = event(u"Sleepers");
  ChildProcess children[3];
  for (ChildProcess& child : children) {
    ASSERT_EQ(child.call("event e Sleepers"), kAlreadyExists);
    send_into_wait(child, "e");
  }
  children[2].kill_hard();
  for (int answers = 1; answers <= 2; ++answers) {
    SetEvent(signal);
    const auto answered = [&] { return children[0].has_replied() + children[1].has_replied(); };
    while (answered() < answers) std::this_thread::yield();
    EXPECT_EQ(WaitForSingleObject(signal, 5), WAIT_TIMEOUT) << "spent on the sleeper";
    EXPECT_EQ(answered(), answers);
  }
  SetEvent(signal);
  EXPECT_EQ(poll(signal), WAIT_OBJECT_0) << "not spent on a sleeper that has left";
}

// A waiting process holds no lock, so a stopped one has nothing that others need.
TEST_F(NamedEvents, AStoppedSleeperHoldsUpNeitherLocalNorSharedWaits) {
  const ScopedHandle either[2] = {CreateEventW(nullptr, FALSE, FALSE, nullptr), event(u"Stopped")};
  const HANDLE both[] = {either[0], either[1]};
  ChildProcess child;
  ASSERT_EQ(child.call("event e Stopped"), kAlreadyExists);
  send_into_wait(child, "e");
  kill(child.pid(), SIGSTOP);
  waitpid(child.pid(), nullptr, WUNTRACED);
  for (const DWORD later : {0u, 1u}) {
    std::thread setter([&, waiter = gettid()] {
      await_sleep_in_wait(waiter);
      SetEvent(both[later]);
    });
    EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 60'000), WAIT_OBJECT_0 + later);
    setter.join();
  }
  EXPECT_FALSE(child.has_replied());
  kill(child.pid(), SIGCONT);
  SetEvent(both[1]);
  EXPECT_EQ(child.receive(), kServed);
}

// As if the process that was woken had been killed before it took the signal: the word is set, and nobody is
// woken.
TEST_F(NamedEvents, ALostWakeUpIsNoticed) {
  const ScopedHandle signal = event(u"LostWakeUp");
  ChildProcess child;
  ASSERT_EQ(child.call("event e LostWakeUp"), kAlreadyExists);
  send_into_wait(child, "e");
  std::fstream file(new_file(), std::ios::in | std::ios::out | std::ios::binary);
  constexpr int kOffsetOfTheWord = 12;
  file.seekp(kOffsetOfTheWord).write("\1", 1).flush();
  EXPECT_EQ(child.receive(), kServed);
}

TEST_F(NamedEvents, AKilledHolderLeavesNothingForALaterProcess) {
  for (const bool same_name : {true, false}) {
    ChildProcess child;
    ASSERT_EQ(child.call("event e Crash"), kCreated);
    ASSERT_EQ(child.call("set e"), "1");
    child.kill_hard();
    EXPECT_EQ(event_files().size(), files_before.size() + 1) << "the stale file";
    ChildProcess next;
    EXPECT_EQ(next.call(same_name ? "event e Crash" : "event e Other"), kCreated);
    EXPECT_EQ(next.call("poll e"), kTimedOut);
    EXPECT_EQ(next.call("close e"), "1");
    EXPECT_EQ(event_files(), files_before) << "collected by the next process";
  }
}

TEST_F(NamedEvents, ADamagedFileIsRefusedWhileInUseAndReplacedAfterwards) {
  for (const bool truncated : {false, true}) {
    ScopedHandle holder = event(u"Damaged");
    const fs::path file = new_file();
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    if (truncated) {
      fs::resize_file(file, 100);
    } else {
      std::fstream(file, std::ios::in | std::ios::out | std::ios::binary).write("\0\0\0\0", 4);
    }
    ChildProcess child;
    EXPECT_EQ(child.call("event e Damaged"), std::to_string(ERROR_INVALID_DATA));
    holder.close();
    EXPECT_EQ(child.call("event e Damaged"), kCreated);
    EXPECT_EQ(child.call("close e"), "1");
  }
}

// A process that can write into the folder could forge events.
TEST_F(NamedEvents, ARuntimeFolderThatIsALinkOrOpenToOthersIsNotUsed) {
  fs::create_directory(path("linked"));
  fs::create_directory(path("target"));
  fs::create_directory_symlink(path("target"), path("linked/zdr"));
  fs::create_directories(path("open/zdr"));
  fs::permissions(path("open/zdr"), fs::perms::owner_all | fs::perms::group_exec);
  for (const char* base : {"linked", "open"}) {
    ChildProcess child({"XDG_RUNTIME_DIR=" + path(base)});
    ASSERT_EQ(child.call("private-session"), "1");
    EXPECT_EQ(child.call("event e Refused"), kCreated);
    EXPECT_EQ(child.call("close e"), "1");
    EXPECT_TRUE(fs::is_empty(path(base) + "/zdr")) << base;
  }
}

// A process that waits for the gate of a file that is then removed must create a new file.
TEST_F(NamedEvents, AFileThatIsRemovedWhileAProcessWaitsForItIsCreatedAgain) {
  ScopedHandle mine = event(u"Removed");
  const fs::path file = new_file();
  const int gate = open(file.c_str(), O_RDWR | O_CLOEXEC);
  struct flock range {};
  range.l_type = F_WRLCK;
  range.l_len = 1;
  ASSERT_EQ(fcntl(gate, F_OFD_SETLK, &range), 0);
  ChildProcess child;
  child.send("event e Removed");
#ifdef SYS_fcntl64
  constexpr long kFcntl = SYS_fcntl64;
#else
  constexpr long kFcntl = SYS_fcntl;
#endif
  const auto is_waiting = [&] {
    return read_file("/proc/" + std::to_string(child.pid()) + "/syscall")
        .starts_with(std::to_string(kFcntl) + " ");
  };
  while (!is_waiting()) std::this_thread::yield();
  fs::remove(file);
  close(gate);
  EXPECT_EQ(child.receive(), kCreated);
  EXPECT_TRUE(fs::exists(file));
  EXPECT_EQ(child.call("close e"), "1");
}

// Each process closes its handle and at once creates the event again, so that creations coincide with last
// closes. Afterwards all must have the same event.
TEST_F(NamedEvents, CreationAndLastCloseMayRace) {
  ChildProcess children[3];
  for (ChildProcess& child : children) ASSERT_NE(child.call("event e Race"), "");
  for (int round = 0; round < 200; ++round) {
    for (ChildProcess& child : children) child.send("close e\nevent e Race");
    for (ChildProcess& child : children) {
      ASSERT_EQ(child.receive(), "1");
      const std::string created = child.receive();
      ASSERT_TRUE(created == kCreated || created == kAlreadyExists) << created;
    }
    ASSERT_EQ(children[round % 3].call("set e"), "1");
    ASSERT_EQ(children[(round + 1) % 3].call("poll e"), kServed) << round;
  }
  for (ChildProcess& child : children) ASSERT_EQ(child.call("close e"), "1");
  EXPECT_EQ(event_files(), files_before);
}

// In children, because a process can choose its session only before its first named event.
TEST(Sessions, AreChosenBeforeTheFirstNamedEventAndShareNoEvents) {
  ChildProcess mine, shared, private_too, elsewhere({"ZDR_SESSION=elsewhere"});
  EXPECT_EQ(mine.call("session"), "0") << "an empty name";
  EXPECT_EQ(mine.call("session " + std::string(201, 'x')), "0") << "too long";
  EXPECT_EQ(mine.call("session " + std::string(200, 'x')), "1");
  EXPECT_EQ(mine.call("session elsewhere"), "1") << "may still change";
  EXPECT_EQ(mine.call("private-session"), "1");
  EXPECT_EQ(private_too.call("private-session"), "1");
  for (ChildProcess* child : {&mine, &shared, &private_too, &elsewhere}) {
    EXPECT_EQ(child->call("event e SessionEvent"), kCreated);
  }
  EXPECT_EQ(mine.call("session default"), "0") << "fixed by the first named event";
  EXPECT_EQ(mine.call("private-session"), "0");
  EXPECT_EQ(elsewhere.call("session elsewhere"), "1") << "where it is already";
  ChildProcess elsewhere_too;
  EXPECT_EQ(elsewhere_too.call("session elsewhere"), "1");
  EXPECT_EQ(elsewhere_too.call("event e SessionEvent"), kAlreadyExists);
}

}  // namespace

}  // namespace zdr::test
