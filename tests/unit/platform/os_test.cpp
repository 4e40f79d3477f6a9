// The os port as the device has it. Everywhere else in this program a double stands in its place, so it gets
// another name here.
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <string>

#define os libc_os
#include "platform/os.cpp"

namespace kd::test {
namespace {

namespace os = kd::libc_os;

bool closes_on_exec(int descriptor) {
  return fcntl(descriptor, F_GETFD) & FD_CLOEXEC;
}

TEST(Os, RunsCommandsAndTellsHowTheyEnded) {
  EXPECT_EQ(WEXITSTATUS(os::system("exit 3")), 3);
  std::FILE* pipe = os::popen("echo out; exit 4");
  ASSERT_NE(pipe, nullptr);
  EXPECT_TRUE(closes_on_exec(fileno(pipe)));
  EXPECT_EQ(os::getc(pipe), 'o');
  EXPECT_EQ(os::ungetc('0', pipe), '0');
  char text[9] = "";
  EXPECT_EQ(os::fread(text, 8, pipe), 4U);
  EXPECT_STREQ(text, "0ut\n");
  EXPECT_EQ(WEXITSTATUS(os::pclose(pipe)), 4);
}

TEST(Os, ReadsAndWritesFiles) {
  char path[] = "/tmp/kd_os_test_XXXXXX";
  close(mkstemp(path));
  EXPECT_TRUE(os::exists(path));
  std::FILE* file = os::fopen(path, "w+");
  EXPECT_EQ(os::fwrite("12345", 5, file), 5U);
  os::rewind(file);
  EXPECT_EQ(os::size(file), 5);
  EXPECT_EQ(os::getc(file), '1') << "at its start again";
  EXPECT_EQ(os::fclose(file), 0);
  const int descriptor = os::open(path);
  EXPECT_TRUE(closes_on_exec(descriptor));
  char text[9] = "";
  EXPECT_EQ(os::pread(descriptor, text, 2, 3), 2);
  EXPECT_STREQ(text, "45");
  EXPECT_EQ(os::close(descriptor), 0);
  unlink(path);
  EXPECT_FALSE(os::exists(path));
  EXPECT_EQ(os::fopen(path, "r"), nullptr);
}

TEST(Os, ReachesDriversProcessesAndOutputs) {
  const int socket = os::socket();
  EXPECT_TRUE(closes_on_exec(socket));
  int waiting = -1;
  EXPECT_EQ(os::ioctl(socket, FIONREAD, &waiting), 0);
  EXPECT_EQ(waiting, 0);
  EXPECT_EQ(os::close(socket), 0);
  EXPECT_EQ(os::kill(getpid(), 0), 0);
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  os::print("out");
  os::print_error("err");
  EXPECT_EQ(::testing::internal::GetCapturedStdout() + ::testing::internal::GetCapturedStderr(), "outerr");
}

}  // namespace
}  // namespace kd::test
