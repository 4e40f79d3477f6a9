#include "init/boot_files.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "common/failure.hpp"
#include "common/files.hpp"
#include "common/layout.hpp"
#include "common/scenario.hpp"
#include "programs/program_table.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

void write_or_fail(const std::string& path, const std::string& text) {
  if (!write_file(path, text)) throw Failure(path + ": " + std::strerror(errno));
}

void link_or_fail(const std::string& target, const std::string& path) {
  if (::symlink(target.c_str(), path.c_str()) != 0 && errno != EEXIST) {
    throw Failure(path + ": " + std::strerror(errno));
  }
}

// The programs in /bin: a shell and an awk of the host, everything else is this program.
void make_programs() {
  link_or_fail("/usr/bin/dash", "/bin/sh");
  for (const char* awk : {"/usr/bin/mawk", "/usr/bin/gawk", "/usr/bin/original-awk"}) {
    if (exists(awk)) {
      link_or_fail(awk, "/bin/awk");
      break;
    }
  }
  for (const Program& program : programs()) link_or_fail("extender", std::string("/bin/") + program.name);
}

// The server's own modules beside ours, since it looks in one directory only.
void link_server_modules(const std::string& from) {
  if (!fs::is_directory(from)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
    if (entry.path().extension() != ".so") continue;
    link_or_fail(entry.path(),
                 std::string(layout::kServerDirectory) + "/" + entry.path().filename().string());
  }
}

std::string server_configuration(const Record& arguments) {
  std::string text =
      "# The preload library puts the launcher's socket in the place of the one that is bound here.\n"
      "server.bind = \"127.0.0.1\"\n"
      "server.port = " +
      arguments.text("port", "80") +
      "\n"
      "server.document-root = \"" +
      layout::kWeb +
      "\"\n"
      "server.upload-dirs = ( \"/var/upload\" )\n"
      "server.max-request-size = 49152\n"
      "server.feature-flags += ( \"server.h2proto\" => \"disable\" )\n"
      "server.compat-module-load = \"disable\"\n"
      "index-file.names = ( \"index.html\" )\n"
      "mimetype.assign = ( \".html\" => \"text/html; charset=utf-8\", \".txt\" => \"text/plain; "
      "charset=utf-8\" )\n"
      "server.modules = ( \"mod_indexfile\", \"mod_staticfile\" )\n";
  // One more of the launcher's sockets each; these addresses are never seen.
  for (int i = 1; i < arguments.number("listeners"); ++i) {
    text += "$SERVER[\"socket\"] == \"127.0.0.1:" + std::to_string(i) + "\" {}\n";
  }
  if (arguments.flag("module", true)) text += "server.modules += ( \"mod_kd_hnap\" )\n";
  if (arguments.flag("pages", true)) {
    text += std::string("include \"") + layout::kPagesConfig + "\"\n";
  } else {
    text += "# Without regular expressions the pages go out as plain files.\n";
  }
  if (exists(layout::kMoreServerConfig)) {
    text += std::string("include \"") + layout::kMoreServerConfig + "\"\n";
  }
  return text;
}

}  // namespace

void make_boot_files(const Record& arguments) {
  for (const char* directory : {"/tmp", "/var/run", "/var/upload", "/var/virtual", layout::kServerDirectory})
    fs::create_directories(directory);
  ::chmod("/tmp", 01777);
  link_or_fail("/var/run", "/run");
  make_programs();
  link_server_modules(arguments.text("server_modules"));

  write_or_fail("/etc/passwd", "root:x:0:0:root:/:/bin/sh\n");
  write_or_fail("/etc/group", "root:x:0:\n");
  write_or_fail("/etc/hosts", "127.0.0.1 localhost\n");
  write_or_fail("/etc/lighttpd.conf", server_configuration(arguments));
  // Byte for byte: whether the board id ends with a line end decides which model the device is.
  write_or_fail(layout::kBoardId, read_file_or_empty(scenario_file("boardid")));
  write_or_fail(layout::kMtd, read_file_or_empty(scenario_file("mtd")));
  write_or_fail(layout::kKernelLog, "");
  if (::mkfifo(layout::kLinkEvents, 0600) != 0) throw Failure(std::string("mkfifo: ") + std::strerror(errno));
}

std::string firmware_line() {
  const Record image = parse_record(read_file_or_empty(std::string(layout::kFlash) + "/firmware"));
  if (image.empty()) return "booting the factory image";
  return "booting image " + format_record(image);
}

}  // namespace kd
