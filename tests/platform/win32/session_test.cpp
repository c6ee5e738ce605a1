// Session namespaces: named objects meet only inside one.
#include "platform/win32/session.h"
#include "child_process.h"
#include "win32_test_support.h"

namespace zdr::platform::test {

namespace {

// All in children: a process can choose its session only once.
TEST(SessionTest, TheEnvironmentNamesASession) {
  ChildProcess mine("worker");
  ChildProcess same("worker");
  ChildProcess other("worker", {"ZDR_SESSION=elsewhere"});
  ChildProcess other_too("worker", {"ZDR_SESSION=elsewhere"});
  EXPECT_EQ(mine.ask("event e SessionEvent"), "0");
  EXPECT_EQ(same.ask("event e SessionEvent"), "183");
  EXPECT_EQ(other.ask("event e SessionEvent"), "0");
  EXPECT_EQ(other_too.ask("event e SessionEvent"), "183");
  EXPECT_EQ(other.ask("set e"), "1");
  EXPECT_EQ(mine.ask("wait e 0"), "258");
  EXPECT_EQ(other_too.ask("wait e 0"), "0");
}

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
  for (ChildProcess* child : {&first, &second}) ASSERT_EQ(child->ask("private-session"), "1");
  for (ChildProcess* child : {&first, &second, &shared}) EXPECT_EQ(child->ask("event e SessionEvent"), "0");
}

}  // namespace

}  // namespace zdr::platform::test
