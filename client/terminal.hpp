// The terminal: its width, questions on it, and how it is left when a signal ends the program.
#pragma once

#include <string>

namespace hnap {

/// How a stream of ours may look.
struct Style {
  int width = 0;         // columns; 0: no terminal, lines may be of any length
  bool escapes = false;  // the terminal moves its cursor when told
  bool colour = false;   // only on a terminal, and not with NO_COLOR
  bool utf8 = false;     // the locale can show more than ASCII
};

/// The style of an open descriptor. set_locale() must have run.
Style style_of(int descriptor);

/// Takes the user's character set; texts are UTF-8 inside whatever it is.
void set_locale();

/// From now on SIGINT, SIGTERM and SIGHUP leave a clean terminal: echo on, no half progress line.
void restore_terminal_on_signals();

/// Asks on the terminal, not on standard input; without echo when the answer is secret. The answer has no
/// line end. Throws Failure (usage) with `otherwise` when there is no terminal or the input ends.
std::string ask(const std::string& question, bool secret, const std::string& otherwise);

/// Asks a question that is answered with y or n (the default).
bool confirmed(const std::string& question, const std::string& otherwise);

/// True where ask() would find a terminal.
bool can_ask();

/// A line on standard error that changes; nothing where that is no terminal. Goes with the object.
class Progress {
 public:
  Progress();
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows a text in place of what was there; a visible text, cut to the terminal.
  void show(const std::string& text);

  /// Shows a bar from 0 to `total` and what it counts.
  void bar(const std::string& label, double done, double total);

  void clear();

 private:
  Style style_;
  std::string shown_;
};

}  // namespace hnap
