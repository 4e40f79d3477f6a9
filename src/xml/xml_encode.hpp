#pragma once

#include "base/memory.hpp"

namespace kd {

// The text with < > & ' and the double quote escaped; every other byte is unchanged.
//   returns  a new heap text for the caller to free; the argument itself when it is null or empty; null when
//            memory is short
char* xml_encode(const char* text);

// A text fit for a reply: the escaped copy where one was needed, else the raw text, which must outlive it.
// When memory is short the raw text is used.
class EncodedText {
 public:
  explicit EncodedText(const char* raw);
  const char* get() const { return text_; }

 private:
  HeapText copy_;
  const char* text_;
};

}  // namespace kd
