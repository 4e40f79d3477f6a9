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

TEST(Os, LetsNoCommandInheritWhatIsOpen) {
  const int socket = libc_os::socket(), file = libc_os::open("/proc/self/exe");
  std::FILE* pipe = libc_os::popen("exit 4");
  for (const int open : {socket, file, fileno(pipe)}) EXPECT_TRUE(fcntl(open, F_GETFD) & FD_CLOEXEC);
  EXPECT_EQ(libc_os::close(socket) + libc_os::close(file), 0);
  EXPECT_EQ(WEXITSTATUS(libc_os::pclose(pipe)), 4);
  EXPECT_EQ(WEXITSTATUS(libc_os::system("exit 3")), 3);
}

}  // namespace kd::test::os_port
