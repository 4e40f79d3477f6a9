// What ends a command early: one line for the user and the exit status.
#pragma once

#include <stdexcept>
#include <string>

namespace hnap {

enum class Exit { done = 0, refused = 1, usage = 2, unreachable = 3, credentials = 4 };

class Failure : public std::runtime_error {
 public:
  Failure(Exit status, const std::string& line) : std::runtime_error(line), status_(status) {}
  Exit status() const { return status_; }

 private:
  Exit status_;
};

}  // namespace hnap
