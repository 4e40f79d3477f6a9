// Files that the user names.
#pragma once

#include <string>

namespace hnap {

/// A whole file, "-" being standard input. Throws Failure (usage) when it cannot be read, is empty, or is
/// longer than `most` bytes.
std::string contents_of(const std::string& path, std::size_t most);

/// The first line, for a password or a key. Throws Failure (usage) when there is none, or one too long for
/// either.
std::string secret_from_file(const std::string& path);

}  // namespace hnap
