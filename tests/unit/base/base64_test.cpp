#include "base/base64.hpp"

#include "support/fixture.hpp"

namespace kd::test {
namespace {

using namespace std::string_view_literals;

TEST(Base64, SkipsWhatIsNotInTheAlphabet) {
  const struct {
    std::string_view name, encoded;
    std::size_t capacity;
    std::string_view decoded;
  } rows[] = {
      {"whole groups", "QUJD", 9, "ABC"},
      {"line breaks and blanks", "QU\r\nJ D\n", 9, "ABC"},
      {"padding", "QUI=", 9, "AB"},
      {"padding inside", "QUJD=RA", 9, "ABCD"},
      {"group of two", "QQ", 9, "A"},
      {"group of one", "Q", 9, ""},
      {"a NUL ends it", "QUJ\0D"sv, 9, "AB"},
      {"bytes above 127", "\xff\x80QUJD", 9, "ABC"},
      {"all bits", "+/+/", 9, "\xfb\xff\xbf"},
      {"less room", "QUJD", 2, "AB"},
      {"less room behind a line break", "QUJD\nQUJDQUJD", 5, "ABCAB"},
      {"line break inside a group", "QUJDQ\nUJDQUJD", 9, "ABCABCABC"},
      {"no room", "QUJD", 0, ""},
      {"empty", "", 9, ""},
  };
  for (const auto& row : rows) {
    unsigned char bytes[10];
    const std::size_t size = b64_decode(row.encoded, bytes, row.capacity);
    EXPECT_EQ(std::string_view(reinterpret_cast<char*>(bytes), size), row.decoded) << row.name;
  }
}

TEST(Base64, CredentialsMustBeClean) {
  const struct {
    std::string_view name, encoded;
    bool accepted;
    std::string_view decoded;
  } rows[] = {
      {"padded", "QUI=", true, "AB"},   {"not padded", "QUI", true, "AB"},
      {"empty", "", true, ""},          {"a blank", "QU JD", false, ""},
      {"a NUL", "QU\0JD"sv, false, ""}, {"a byte above 127", "QU\xc4JD", false, ""},
  };
  for (const auto& row : rows) {
    const DecodedText decoded = b64_decode_strict(row.encoded);
    EXPECT_EQ(decoded.text != nullptr, row.accepted) << row.name;
    EXPECT_EQ(std::string_view(decoded.text.get(), decoded.size), row.decoded) << row.name;
  }
}

}  // namespace
}  // namespace kd::test
