#include "xml/soap_parser.hpp"

#include "base/text.hpp"
#include "support/fixture.hpp"

namespace kd::test::soap_parser {

constexpr std::size_t kPass = 20479;
constexpr const char* kStatusError = "XML PARSE STATUS NOT OK ERROR";

struct Parsed {
  ModuleState state;
  hnap_request request{state};
  SoapDocument document{request};
  Parsed() { EXPECT_EQ(open_document(document), nullptr); }
  bool feed(std::string_view part) {
    return XML_Parse(document.parser.get(), part.data(), static_cast<int>(part.size()), 0) == XML_STATUS_OK;
  }
  std::string tree() const {
    Text text;
    generate_xml(document.tree.get(), text);
    return std::string{text.view()};
  }
};

using Parser = DeviceTest;

// However expat cuts it, a document gives one tree.
TEST_F(Parser, JoinsWhatComesInPieces) {
  const std::string text =
      "\xef\xbb\xbf<a x='1' y='&lt;'>t&#65;<![CDATA[<raw>]]>u<b/>v<!-- c --><c>\xc3\xa4</c></a>";
  for (const std::size_t piece : {text.size(), std::size_t{7}, std::size_t{1}}) {
    Parsed parsed;
    for (std::size_t at = 0; at < text.size(); at += piece) EXPECT_TRUE(parsed.feed(text.substr(at, piece)));
    EXPECT_EQ(parsed.tree(), "<a x=1 y=<>tA<raw>uv\n<b></b>\n<c>\xc3\xa4</c>\n</a>\n") << piece;
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
    std::string_view text = head(body, std::min(left, kPass));
    left -= text.size();
    const std::size_t markup = text.find('<');
    if (!seen_markup) text = tail(text, markup);
    seen_markup |= markup != std::string_view::npos;
    text = head(text, text.find('\0'));
    if (stands_alone(text, "Envelope") || stands_alone(text, "envelope")) return kStatusError;
    if (seen_markup && !parsed.feed(text)) return kStatusError;
  }
  return parsed.tree();
}

std::string parsed_at_once(const std::string& body) {
  Parsed parsed;
  parsed.request.content.reset(reinterpret_cast<unsigned char*>(copy_of(body).release()));
  parsed.request.content_len = static_cast<std::uint32_t>(body.size());
  const char* error = parse_document(parsed.document, static_cast<std::int32_t>(body.size()));
  return error ? error : parsed.tree();
}

// A body that keeps a token open is not parsed once for each pass, and comes out as if it were.
TEST_F(Parser, KeepsTokensOpenOverManyPasses) {
  const auto check = [](const std::string& start, const std::string& rest) {
    std::string text = start;
    while (text.size() < 3 * kPass + 10) text += rest;
    for (std::size_t passes = 1; passes <= 3; ++passes) {
      for (const std::size_t more : {0U, 1U, 2U, 3U, 4U, 5U, 12U, 18U}) {
        const std::string body = text.substr(0, passes * kPass + more - 3);
        ASSERT_EQ(parsed_at_once(body), fed_pass_by_pass(body)) << start << "|" << rest << " " << body.size();
      }
    }
  };
  for (const char* start :
       {"<?x ", "<!-- ", "<a><![CDATA[", "<!DOCTYPE a [<!ENTITY x \"", "<!DOCTYPE ", "<a b='", "<", "<a>",
        "<a/>", "<a>&", "  \n\t<?x ", "text <a>", "<?x Envelope", "<?x Envelope envelope envelope "}) {
    for (const char* rest : {"y", " ", "-", "\xe2\x82\xac", "\xc3\xa4"}) check(start, rest);
  }
  const std::string nul(1, '\0'), blanks(kPass - 2, ' ');
  check("<?x " + nul, "y");
  check("<?x y" + nul + "?>", "<");
  check("<a>" + nul, "<");
  check("<!-- -->", "<!-- -->");
  check("<?x?>", "<?x y?>");
  check("<a>", "<a>");
  check("<a><b>", "t</b><b>");
  check(blanks + "<?x ", "y");
  check(blanks + "  <?x ", "y");
  check("", "x");
  check("<a>]", "]]>");
}

}  // namespace kd::test::soap_parser
