// Commands, the process list, and the os port as the device has it.
#include "platform/shell.hpp"

#include <fcntl.h>
#include <sys/wait.h>

#include <cwchar>

#include "base/memory.hpp"
#include "support/fixture.hpp"

// Everywhere else in this program a double stands in the port's place, so it gets another name here.
#define os libc_os
#include "platform/os.cpp"

namespace kd::test::shell {

using Shell = DeviceTest;

__attribute__((format(printf, 2, 3))) std::string print(int limit, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char unset = 0;
  char* result = &unset;
  const int length = fmtValloc(&result, limit, format, arguments);
  va_end(arguments);
  const HeapText text{result};
  return std::to_string(length) + (result ? std::string{" "} + result : "");
}

TEST_F(Shell, FormatsUpToTheLimit) {
  expect_each([](int limit) { return print(limit, "%s%dc", "ab", 7); }, -1, "0", 0, "0", 1, "4 ", 2, "4 a", 4,
              "4 ab7", 5, "4 ab7c");
  EXPECT_EQ(print(9, "%s", ""), "0 ") << "an empty text is one";
  heap.fail({1});
  EXPECT_EQ(print(9, "%s", "ab"), "0") << "no memory";
  heap.fail({});
  EXPECT_EQ(print(9, "%lc", wint_t{0xD800}), "0") << "no such character";
}

TEST_F(Shell, RunsAnOverlongCommandAsFarAsItFits) {
  const std::string longest(4095, 'x');
  device.statuses["echo x"] = 256;
  EXPECT_EQ(doSystem("echo %c", 'x'), 256);
  doSystem("%s", longest.c_str());
  const Effects run = {"console " + longest + "\n", "run " + longest};
  EXPECT_EQ(effects(), lines("console echo x\n", "run echo x") + run);
  doSystem("%sy", longest.c_str());
  EXPECT_EQ(effects(), lines("console doSystem: lost data, buffer overflow\n") + run);
  heap.fail({1});
  EXPECT_EQ(doSystem("%s", "rm /tmp/x"), 0);
  EXPECT_EQ(effects(), Effects{});
}

std::string line(int pid, const std::string& user, const std::string& command) {
  return std::to_string(pid) + " " + user + " 900 S " + command + "\n";
}

TEST_F(Shell, FindsTheFirstProcessWithThePartInItsCommand) {
  const std::string header = "  PID USER       VSZ STAT COMMAND\n", long_word(400, 'u'),
                    wscd = line(7, "root", "wscd");
  const auto check = [&](const char* name, const std::string& list, int pid) {
    device.outputs["ps"] = list;
    EXPECT_EQ(kd_get_process_pid("wscd"), pid) << name;
    EXPECT_FALSE(device.files.contains("/var/psInfo")) << name;
  };
  check("first of two", header + line(5, "root", "/usr/sbin/wscd2") + wscd, 5);
  check("only the first word counts", header + line(5, "root", "sh -c wscd") + wscd, 7);
  check("line longer than its buffer", header + line(5, long_word, "wscd") + wscd, 7);
  check("what is cut off is no line", header + "5 " + std::string(253, 'u') + wscd, 0);
  check("name behind 63 characters", header + line(7, "root", std::string(60, '/') + "wscd"), 0);
  check("NUL bytes", header + std::string("7 \0 root", 8) + "\n" + line(8, "root", "wscd"), 8);
  effects();
  EXPECT_EQ(kd_get_process_pid(nullptr) + kd_get_process_pid(""), 0);
  device.broken.insert("/var/psInfo");
  EXPECT_EQ(kd_get_process_pid("wscd"), -1) << "an unreadable list is not no process";
  EXPECT_EQ(effects(), (Effects{"run ps > /var/psInfo 2>/dev/null", "open /var/psInfo r"}));
}

TEST(Os, LetsNoCommandInheritWhatIsOpen) {
  const int socket = libc_os::socket(), file = libc_os::open("/proc/self/exe");
  std::FILE* pipe = libc_os::popen("exit 4");
  for (const int open : {socket, file, fileno(pipe)}) EXPECT_TRUE(fcntl(open, F_GETFD) & FD_CLOEXEC);
  EXPECT_EQ(libc_os::close(socket) + libc_os::close(file), 0);
  EXPECT_EQ(WEXITSTATUS(libc_os::pclose(pipe)), 4);
  EXPECT_EQ(WEXITSTATUS(libc_os::system("exit 3")), 3);
}

}  // namespace kd::test::shell
