// The device as the module sees it, held in memory: it stands behind the os port (kd::os) and the store's C
// interface instead of the real ones, so that no test reaches the machine it runs on. Whatever the module
// does is one line of the journal; whatever it reads was scripted before. Needs no test framework.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kd::test {

using Effects = std::vector<std::string>;

// Lets one effect go wrong: the module's opens, reads (one for each line), writes, pipes, commands, file
// look-ups, driver requests and store writes, counted from 1.
struct Fault {
  unsigned at = 0;   // 0: none
  bool cut = false;  // short data instead of none, where there is data
};

// One request to the radio driver. The driver answers in the request's own buffer.
struct DriverRequest {
  unsigned long number;
  std::string_view ifname;
  void* data;             // the wireless request's buffer
  std::uint16_t& length;  // its length
  unsigned flags;
  void* argument;  // the whole record, for requests that are not wireless ones
};

class Device {
 public:
  using Step = std::function<void(Device&)>;
  using Texts = std::map<std::string, std::string, std::less<>>;
  using Names = std::set<std::string, std::less<>>;

  Device();
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  Texts files;    // by absolute path
  Texts store;    // section 0 as stored: `set` reaches the module's own copy, `library`, too
  Texts outputs;  // what a command prints, by the command without its redirection
  Texts eeprom;   // the driver's whole answer, by offset ("01D3"); another offset is refused
  std::map<std::string, Step, std::less<>> steps;                 // what a command does besides
  std::map<std::string, int, std::less<>> statuses;               // how it ends, when that is not 0
  std::function<void(Device&, const std::string& path)> at_open;  // before a file is opened
  Names broken;         // what cannot be opened: a path, a piped command, "socket", "store" (section 0)
  Names full;           // paths that open, but take no bytes
  Names full_at_close;  // and those where only closing shows it
  std::function<bool(DriverRequest&)> driver;
  bool absent_is_empty = false;  // what the store's library answers for a key that is not there

  // A stored value that the module's library has already read.
  void set(std::string_view key, std::string_view value);
  // Runs once when the clock, which only the module's sleeping moves, has reached that time.
  void at(unsigned seconds, Step step);
  void sleep(std::uint64_t microseconds);
  unsigned seconds() const { return static_cast<unsigned>(now_ / 1000000); }

  // Every effect in order: "run CMD", "pipe CMD", "open PATH MODE", "write PATH TEXT" (when closed),
  // "console TEXT", "access PATH", "ioctl 0x8be7 ra0", "kill PID NAME", "sleep S", "usleep US", "print TEXT",
  // "nvram init|close|commit SECTION", "nvram set KEY=VALUE".
  Effects journal;
  // The journal, from one of its lines on, without the lines that only read.
  Effects changes(std::size_t from = 0) const;

  // Counts the effects from here on.
  void fail(Fault fault);
  bool fault_met() const { return fault_.at != 0 && effects_ >= fault_.at; }
  // What was closed wrongly or is still open; empty when all is well.
  std::string misuse() const;

  // For the doubled functions: they note each effect, and ask whether it is the one to go wrong.
  struct Stream {
    std::string path, data;
    bool pipe = false, writes = false, ended = false;
    std::size_t at = 0;
  };
  void note(std::string line) { journal.push_back(std::move(line)); }
  bool goes_wrong() { return ++effects_ == fault_.at; }
  bool cuts() const { return fault_.cut; }
  Stream& stream(void* handle);
  void close_stream(Stream& stream, bool pipe);
  int open_number(std::string path);
  void run(std::string_view command, bool cut);
  std::string output_of(std::string_view command);
  std::list<Stream> streams;
  std::map<int, std::string> numbers;  // open descriptors
  Texts library;                       // what the module's library has read of the store
  Texts pending;                       // and what was set since the last commit
  std::string wrongly_closed;

 private:
  std::uint64_t now_ = 0;
  Fault fault_;
  unsigned effects_ = 0;
  std::multimap<std::uint64_t, Step> later_;
};

// The device of the test that runs; there is one at a time.
Device& device();

}  // namespace kd::test
