// Wrong usage in words.
#pragma once

#include <string>
#include <vector>

namespace kd {

// The complaint of the option parser (CLI11) as a sentence: the text and the name of its error, and the words
// that it did not know.
std::string usage_sentence(std::string text, const std::string& error,
                           const std::vector<std::string>& unknown);

}  // namespace kd
