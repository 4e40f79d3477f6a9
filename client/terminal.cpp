#include "terminal.hpp"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "failure.hpp"
#include "text.hpp"

namespace hnap {
namespace {

bool locale_is_utf8 = false;

// What the signal handler puts right.
volatile std::sig_atomic_t progress_shown = 0;
volatile std::sig_atomic_t silent_terminal = -1;
termios terminal_before{};

constexpr std::string_view kClearLine = "\r\x1b[K";

void write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void on_signal(int number) {
  const int terminal = silent_terminal;
  if (terminal >= 0) {
    tcsetattr(terminal, TCSANOW, &terminal_before);
    write_all(terminal, "\n");
  }
  if (progress_shown) write_all(STDERR_FILENO, kClearLine);
  std::signal(number, SIG_DFL);
  std::raise(number);
}

// The user's terminal, whatever standard input is.
class Terminal {
 public:
  Terminal() : descriptor_(open("/dev/tty", O_RDWR | O_CLOEXEC)) {}
  ~Terminal() {
    echo_on();
    if (descriptor_ >= 0) close(descriptor_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  bool there() const { return descriptor_ >= 0; }

  void echo_off() {
    if (tcgetattr(descriptor_, &terminal_before) != 0) return;
    termios silent = terminal_before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    silent_terminal = descriptor_;
    tcsetattr(descriptor_, TCSAFLUSH, &silent);
  }

  void echo_on() {
    if (silent_terminal < 0) return;
    tcsetattr(descriptor_, TCSAFLUSH, &terminal_before);
    silent_terminal = -1;
    say("\n");
  }

  void say(std::string_view text) const { write_all(descriptor_, text); }

  // A line without its end; false when the input is over.
  bool read_line(std::string& line) const {
    line.clear();
    char character = 0;
    for (;;) {
      const ssize_t count = read(descriptor_, &character, 1);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return !line.empty();
      if (character == '\n') return true;
      if (line.size() < 4096) line += character;
    }
  }

 private:
  int descriptor_;
};

}  // namespace

void set_locale() {
  std::setlocale(LC_CTYPE, "");
  locale_is_utf8 = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
  if (locale_is_utf8) return;
  if (isatty(STDOUT_FILENO) || isatty(STDERR_FILENO)) show_ascii_only();
  std::setlocale(LC_CTYPE, "C.UTF-8");  // widths are asked for in any case
}

Style style_of(int descriptor) {
  Style style;
  style.utf8 = locale_is_utf8;
  if (!isatty(descriptor)) return style;
  winsize size{};
  const bool known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  style.width = known ? size.ws_col : 80;
  const char* const no_colour = std::getenv("NO_COLOR");
  const char* const kind = std::getenv("TERM");
  style.escapes = kind && *kind && std::strcmp(kind, "dumb") != 0;
  style.colour = style.escapes && (!no_colour || !*no_colour);
  return style;
}

void restore_terminal_on_signals() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction now {};
    sigaction(number, nullptr, &now);
    if (now.sa_handler == SIG_IGN) continue;
    now.sa_handler = on_signal;
    sigaction(number, &now, nullptr);
  }
}

bool can_ask() {
  return Terminal().there();
}

std::string ask(const std::string& question, bool secret, const std::string& otherwise) {
  Terminal terminal;
  if (!terminal.there()) throw Failure(Exit::usage, otherwise);
  if (secret) terminal.echo_off();
  terminal.say(question);
  std::string answer;
  if (!terminal.read_line(answer)) {
    if (!secret) terminal.say("\n");
    throw Failure(Exit::usage, otherwise);
  }
  return answer;
}

bool confirmed(const std::string& question, const std::string& otherwise) {
  const std::string answer = ask(question + " [y/N] ", false, otherwise);
  return answer == "y" || answer == "Y" || answer == "yes";
}

Progress::Progress() : style_(style_of(STDERR_FILENO)) {}

Progress::~Progress() {
  clear();
}

void Progress::show(const std::string& text) {
  if (!style_.escapes) return;
  std::string line = cut_to(text, style_.width - 1, style_.utf8);
  if (line == shown_) return;
  progress_shown = 1;
  write_all(STDERR_FILENO, std::string(kClearLine) + line);
  shown_ = std::move(line);
}

void Progress::bar(const std::string& label, double done, double total) {
  if (!style_.escapes || total <= 0) return;
  const double part = std::clamp(done / total, 0.0, 1.0);
  std::array<char, 48> numbers{};
  std::snprintf(numbers.data(), numbers.size(), " %3.0f %% of %.1f MB", part * 100, total / 1e6);
  const int room = style_.width - 1 - columns_of(label) - 3 - static_cast<int>(std::strlen(numbers.data()));
  const int cells = std::clamp(room, 0, 40);
  std::string line = label;
  if (cells >= 4) {
    line += " [";
    const int full = static_cast<int>(part * cells);
    for (int cell = 0; cell < cells; ++cell) line += cell < full ? '#' : '.';
    line += ']';
  }
  show(line + numbers.data());
}

void Progress::clear() {
  if (!progress_shown) return;
  write_all(STDERR_FILENO, kClearLine);
  progress_shown = 0;
  shown_.clear();
}

}  // namespace hnap
