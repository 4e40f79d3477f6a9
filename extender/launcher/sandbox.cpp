#include "launcher/sandbox.hpp"

#include <fcntl.h>
#include <grp.h>
#include <linux/mount.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/boot_protocol.hpp"
#include "common/files.hpp"
#include "common/layout.hpp"

namespace kd {
namespace {

constexpr int kNamespaces =
    CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWUTS;
constexpr rlim_t kMostProcesses = 512;
constexpr uid_t kNobody = 65534;

[[noreturn]] void refuse(const std::string& step) {
  throw Refusal{step, errno};
}

void require(bool done, const std::string& step) {
  if (!done) refuse(step);
}

// Whether this process's user namespace knows a user id at all (an inner one may not know nobody).
bool is_mapped(uid_t uid) {
  std::FILE* map = std::fopen("/proc/self/uid_map", "re");
  if (map == nullptr) return true;
  bool found = false;
  unsigned long inside = 0;
  unsigned long outside = 0;
  unsigned long count = 0;
  while (!found && std::fscanf(map, "%lu %lu %lu", &inside, &outside, &count) == 3) {
    found = uid >= inside && uid - inside < count;
  }
  std::fclose(map);
  return found;
}

unsigned id_from_environment(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? 0 : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

void write_map(pid_t child, const char* file, unsigned outside) {
  const std::string path = "/proc/" + std::to_string(child) + "/" + file;
  const Fd map(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
  require(map && write_all(map.get(), "0 " + std::to_string(outside) + " 1\n"), std::string("write ") + file);
}

void write_maps(pid_t child, const Identity& identity) {
  if (::geteuid() != 0) {
    // Without this an ordinary user may not write gid_map.
    const std::string path = "/proc/" + std::to_string(child) + "/setgroups";
    require(write_file(path, "deny"), "write setgroups");
  }
  write_map(child, "uid_map", identity.uid);
  write_map(child, "gid_map", identity.gid);
}

// A detached copy of a host path, read-only unless writable, without set-user-id programs.
Fd copy_tree(const Source& source) {
  Fd tree(static_cast<int>(::syscall(SYS_open_tree, AT_FDCWD, source.host.c_str(),
                                     OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_RECURSIVE)));
  require(static_cast<bool>(tree), "open_tree " + source.host);
  struct mount_attr attributes {};
  attributes.attr_set = MOUNT_ATTR_NOSUID | (source.writable ? MOUNT_ATTR_NODEV : MOUNT_ATTR_RDONLY);
  require(::syscall(SYS_mount_setattr, tree.get(), "", AT_EMPTY_PATH | AT_RECURSIVE, &attributes,
                    sizeof attributes) == 0,
          "mount_setattr " + source.host);
  return tree;
}

void make_directories(const std::string& path) {
  for (std::size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
    const std::string part = path.substr(0, at);
    require(::mkdir(part.c_str(), 0755) == 0 || errno == EEXIST, "mkdir " + part);
    if (at == std::string::npos) return;
  }
}

// Puts a copied tree at `target`, below the new root that is the working directory.
void place(const Source& source, const Fd& tree) {
  const std::string target = "." + source.inside;
  struct stat status {};
  require(::fstat(tree.get(), &status) == 0, "stat " + source.host);
  if (S_ISDIR(status.st_mode)) {
    make_directories(target);
  } else {
    make_directories(target.substr(0, target.rfind('/')));
    const Fd file(::open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    require(static_cast<bool>(file), "create " + source.inside);
  }
  require(::syscall(SYS_move_mount, tree.get(), "", AT_FDCWD, target.c_str(), MOVE_MOUNT_F_EMPTY_PATH) == 0,
          "move_mount " + source.inside);
}

void become_root_inside(bool was_root) {
  // An ordinary user keeps its groups: the kernel lets it write gid_map only without setgroups. So does the
  // root of an inner user namespace, which is no root outside.
  if (was_root) require(::setgroups(0, nullptr) == 0 || errno == EPERM, "setgroups");
  require(::setresgid(0, 0, 0) == 0, "setresgid");
  require(::setresuid(0, 0, 0) == 0, "setresuid");
}

void make_root(const Boot& boot, const std::vector<Fd>& trees) {
  require(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mount / private");
  require(::mount("device", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "size=160m,mode=0755") == 0,
          "mount tmpfs");
  require(::chdir("/tmp") == 0, "chdir to the new root");
  for (std::size_t i = 0; i < trees.size(); ++i) place(boot.sources[i], trees[i]);

  for (const char* name : {"lib", "lib64", "sbin"}) {
    require(::symlink((std::string("usr/") + name).c_str(), name) == 0, "link to /usr");
  }
  require(::symlink("extender", "bin/init") == 0, "link init");
  make_directories("./proc");
  // While the host's /proc is still in sight: the kernel allows a new one only then.
  require(::mount("proc", "./proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0, "mount proc");
  require(::syscall(SYS_pivot_root, ".", ".") == 0, "pivot_root");
  require(::umount2(".", MNT_DETACH) == 0, "unmount the old root");
  require(::chdir("/") == 0, "chdir /");
}

void set_limits() {
  const struct rlimit processes = {kMostProcesses, kMostProcesses};
  require(::setrlimit(RLIMIT_NPROC, &processes) == 0, "setrlimit");
  const struct rlimit cores = {0, 0};
  require(::setrlimit(RLIMIT_CORE, &cores) == 0, "setrlimit");
}

// Moves init's descriptors to their fixed numbers and leaves no other open.
void arrange_descriptors(const Boot& boot) {
  std::vector<int> parked;  // out of the way of the fixed numbers
  for (const int fd : boot.descriptors) {
    parked.push_back(::fcntl(fd, F_DUPFD_CLOEXEC, 64));
    require(parked.back() >= 0, "duplicate a descriptor");
  }
  int number = kConsoleLogFd;
  for (const int fd : parked) require(::dup2(fd, number++) >= 0, "duplicate a descriptor");
  require(::syscall(SYS_close_range, number, ~0U, 0) == 0, "close descriptors");
  const Fd null(::open("/dev/null", O_RDWR | O_CLOEXEC));
  require(static_cast<bool>(null), "open /dev/null");
  for (int fd = 0; fd < 3; ++fd) require(::dup2(null.get(), fd) >= 0, "duplicate a descriptor");
}

// A clean environment from the first moment: clearenv() would leave the caller's one in /proc/1/environ.
[[noreturn]] void exec_init(const Boot& boot) {
  std::vector<char*> arguments;
  std::string name = "init";
  arguments.push_back(name.data());
  std::vector<std::string> copies = boot.init_arguments;
  for (std::string& argument : copies) arguments.push_back(argument.data());
  arguments.push_back(nullptr);

  std::string path = std::string("PATH=") + layout::kPath;
  std::string store = std::string("NVRAM_DIR=") + layout::kFlash;
  std::string home = "HOME=/";
  char* environment[] = {path.data(), store.data(), home.data(), nullptr};

  ::execve("/bin/init", arguments.data(), environment);
  refuse("start init");
}

[[noreturn]] void report_and_exit(int status_fd, const Refusal& refusal) {
  Report report{Report::Kind::sandbox_refused, refusal.error, {}};
  std::strncpy(report.step, refusal.step.c_str(), sizeof report.step - 1);
  write_all(status_fd, {reinterpret_cast<const char*>(&report), sizeof report});
  ::_exit(1);
}

[[noreturn]] void first_process(const Boot& boot, int maps_written, bool was_root) {
  int status_fd = boot.descriptors[kStatusFd - kConsoleLogFd];
  try {
    char go = 0;
    if (::read(maps_written, &go, 1) != 1) ::_exit(1);  // the launcher failed and says so itself
    // As the caller, so that sources behind directories that only the caller may enter are found.
    std::vector<Fd> trees;
    for (const Source& source : boot.sources) trees.push_back(copy_tree(source));
    become_root_inside(was_root);
    require(::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0, "prctl");  // setresuid would have cleared it
    require(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "prctl");
    set_limits();
    make_root(boot, trees);
    arrange_descriptors(boot);
    status_fd = kStatusFd;
    exec_init(boot);
  } catch (const Refusal& refusal) {
    report_and_exit(status_fd, refusal);
  }
}

}  // namespace

Identity device_identity() {
  if (::geteuid() != 0) return {::geteuid(), ::getegid()};
  const unsigned uid = id_from_environment("SUDO_UID");
  const unsigned gid = id_from_environment("SUDO_GID");
  if (uid != 0 && gid != 0 && is_mapped(uid)) return {uid, gid};
  if (is_mapped(kNobody)) return {kNobody, kNobody};
  return {0, 0};  // root of an inner user namespace, which is no root outside
}

pid_t start_boot(const Boot& boot) {
  int pipe_ends[2];
  require(::pipe2(pipe_ends, O_CLOEXEC) == 0, "pipe");
  Fd maps_read(pipe_ends[0]);
  Fd maps_write(pipe_ends[1]);

  const bool was_root = ::geteuid() == 0;  // inside, the caller's own id has another number
#ifdef __s390__                            // the stack comes first
  const long child = ::syscall(SYS_clone, nullptr, kNamespaces | SIGCHLD, nullptr, nullptr, nullptr);
#else
  const long child = ::syscall(SYS_clone, kNamespaces | SIGCHLD, nullptr, nullptr, nullptr, nullptr);
#endif
  require(child >= 0, "clone");
  if (child == 0) {
    maps_write.reset();
    first_process(boot, maps_read.get(), was_root);
  }
  const pid_t pid = static_cast<pid_t>(child);
  try {
    write_maps(pid, boot.identity);
    require(write_all(maps_write.get(), "g"), "pipe");
  } catch (const Refusal&) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    throw;
  }
  return pid;
}

}  // namespace kd
