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

#define os libc_os
#include "platform/os.cpp"

namespace kd::test::os_port {

bool closes_on_exec(int descriptor) {
  return fcntl(descriptor, F_GETFD) & FD_CLOEXEC;
}

TEST(Os, LetsNoCommandInheritWhatIsOpen) {
  const int socket = libc_os::socket(), file = libc_os::open("/proc/self/exe");
  std::FILE* pipe = libc_os::popen("exit 4");
  EXPECT_TRUE(closes_on_exec(socket) && closes_on_exec(file) && closes_on_exec(fileno(pipe)));
  EXPECT_EQ(libc_os::close(socket) + libc_os::close(file), 0);
  EXPECT_EQ(WEXITSTATUS(libc_os::pclose(pipe)), 4);
  EXPECT_EQ(WEXITSTATUS(libc_os::system("exit 3")), 3);
}

TEST(Os, MeasuresAFileAtItsStart) {
  char path[] = "/tmp/kd_os_test_XXXXXX";
  close(mkstemp(path));
  std::FILE* file = libc_os::fopen(path, "w+");
  EXPECT_EQ(libc_os::fwrite("12345", 5, file), 5U);
  libc_os::rewind(file);
  EXPECT_EQ(libc_os::size(file), 5);
  EXPECT_EQ(libc_os::getc(file), '1');
  EXPECT_EQ(libc_os::fclose(file), 0);
  EXPECT_TRUE(libc_os::exists(path));
  unlink(path);
  EXPECT_FALSE(libc_os::exists(path));
}

}  // namespace kd::test::os_port
