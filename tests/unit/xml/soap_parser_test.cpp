#include "xml/soap_parser.hpp"

#include <chrono>

#include "base/text.hpp"
#include "support/fixture.hpp"

namespace kd::test {
namespace {

using Parser = DeviceTest;

constexpr std::size_t kPass = 20479;
constexpr const char* kStatusError = "XML PARSE STATUS NOT OK ERROR";

std::string serialized(const xml_tree* tree) {
  Text text;
  generate_xml(tree, text);
  return std::string{text.view()};
}

struct Parsed {
  ModuleState state;
  hnap_request request{state};
  SoapDocument document{request};
  Parsed() { EXPECT_EQ(open_document(document), nullptr); }
  std::string outcome(const char* error) const { return error ? error : serialized(document.tree.get()); }
};

// However expat cuts it, a document gives one tree.
TEST_F(Parser, JoinsWhatComesInPieces) {
  const std::string text =
      "\xef\xbb\xbf<a x='1' y='&lt;'>t&#65;<![CDATA[<raw>]]>u<b/>v<!-- c --><c>\xc3\xa4</c></a>";
  for (const std::size_t piece : {text.size(), std::size_t{7}, std::size_t{1}}) {
    Parsed parsed;
    for (std::size_t at = 0; at < text.size(); at += piece) {
      const std::string_view part = std::string_view{text}.substr(at, piece);
      EXPECT_EQ(XML_Parse(parsed.document.parser.get(), part.data(), static_cast<int>(part.size()), 0),
                XML_STATUS_OK);
    }
    EXPECT_EQ(parsed.outcome(nullptr), "<a x=1 y=<>tA<raw>uv\n<b></b>\n<c>\xc3\xa4</c>\n</a>\n") << piece;
  }
}

bool stands_alone(std::string_view text, std::string_view word) {
  const std::size_t at = text.find(word);
  const std::string_view rest = tail(text, at + word.size());
  return at != std::string_view::npos && !contains(rest, "Envelope") && !contains(rest, "envelope");
}

// Every pass, without a short cut: each begins at the start of the body again, and a NUL ends it.
std::string fed_pass_by_pass(const std::string& body) {
  Parsed parsed;
  bool seen_markup = false;
  for (std::size_t left = body.size(); left > 0;) {
    std::string_view text = std::string_view{body}.substr(0, std::min(left, kPass));
    left -= text.size();
    const std::size_t markup = text.find('<');
    if (!seen_markup) text = tail(text, markup);
    seen_markup |= markup != std::string_view::npos;
    text = head(text, text.find('\0'));
    if (stands_alone(text, "Envelope") || stands_alone(text, "envelope")) return kStatusError;
    if (!seen_markup) continue;
    if (XML_Parse(parsed.document.parser.get(), text.data(), static_cast<int>(text.size()), 0) !=
        XML_STATUS_OK) {
      return kStatusError;
    }
  }
  return parsed.outcome(nullptr);
}

std::string parsed_at_once(const std::string& body) {
  Parsed parsed;
  parsed.request.content.reset(reinterpret_cast<unsigned char*>(copy_of(body).release()));
  parsed.request.content_len = static_cast<std::uint32_t>(body.size());
  return parsed.outcome(parse_document(parsed.document, static_cast<std::int32_t>(body.size())));
}

// A body that keeps a token open is not parsed once for each pass, and comes out as if it were.
TEST_F(Parser, KeepsTokensOpenOverManyPasses) {
  const std::string nul(1, '\0');
  const std::pair<std::string, std::string> rows[] = {
      // how it begins, and how it goes on
      {"<?x ", "y"},
      {"<!-- ", "y"},
      {"<!-- ", "-"},
      {"<a><![CDATA[", "y"},
      {"<!DOCTYPE a [<!ENTITY x \"", "y"},
      {"<!DOCTYPE ", "y"},
      {"<a b='", "y"},
      {"<a b='", " "},
      {"<", "y"},
      {"<a>", "y"},
      {"<a>", " "},
      {"<a/>", " "},
      {"<a/>", "y"},
      {"<a>&", "y"},
      {"<a>", "\xe2\x82\xac"},
      {"<?x ", "\xe2\x82\xac"},
      {"<!-- ", "\xc3\xa4"},
      {"<?x " + nul, "y"},
      {"<?x y" + nul + "?>", "<"},
      {"<a>" + nul, "<"},
      {"<!-- -->", "<!-- -->"},
      {"<a>", "<a>"},
      {"<?x?>", "<?x y?>"},
      {"<a><b>", "t</b><b>"},
      {"  \n\t<?x ", "y"},
      {" <a>", " "},
      {"text <a>", "y"},
      {std::string(kPass - 2, ' ') + "<?x ", "y"},
      {std::string(kPass, ' ') + "<?x ", "y"},
      {"<!-- Envelope envelope ", "-"},
      {"<?x Envelope", "y"},
      {"", "x"},
      {"]]>", "]]>"},
      {"<a>]", "]"},
  };
  for (const auto& [start, rest] : rows) {
    std::string text = start;
    while (text.size() < 3 * kPass + 10) text += rest;
    for (std::size_t passes = 1; passes <= 3; ++passes) {
      for (const std::size_t more : {-3, -2, -1, 0, 1, 2, 3, 5, 9}) {
        const std::string body = text.substr(0, passes * kPass + more);
        ASSERT_EQ(parsed_at_once(body), fed_pass_by_pass(body))
            << start << "|" << rest << " " << passes << " " << more;
      }
    }
  }
  std::string huge = "<?x ";
  huge.resize(48U << 20, 'y');
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(parsed_at_once(huge), "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{1});
}

}  // namespace
}  // namespace kd::test
