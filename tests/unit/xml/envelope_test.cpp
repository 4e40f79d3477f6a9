#include "xml/envelope.hpp"

#include "base/flags.hpp"
#include "support/cases.hpp"
#include "xml/reply.hpp"
#include "xml/soap_parser.hpp"

namespace kd::test {
namespace {

using Replies = DeviceTest;

TEST_F(Replies, CarryTheNamespaceOfTheRequest) {
  const struct {
    const char* name;
    Namespace asked;
    bool alternate;
    const char* used;
  } rows[] = {{"core", Namespace::core, false, "http://purenetworks.com/HNAP1/"},
              {"core, alternate", Namespace::core, true, "http://purenetworks.com/HNAP1/"},
              {"extender", Namespace::extender, false, "http://kelda.example/HNAPExt/Extender/"},
              {"alternate", Namespace::extender, true, "http://corvane.example/HNAPExt/Extender/"}};
  for (const auto& row : rows) {
    flags.alternate_namespace = row.alternate;
    Reply reply{"Do", row.asked};
    EXPECT_EQ(reply.error().view(), whole_reply("Do", "<DoResult>ERROR</DoResult>\n", row.used)) << row.name;
    EXPECT_TRUE(flags.hnap_error_flag) << row.name;
    flags = {};
  }
}

TEST_F(Replies, StayOutOfMemoryWhenTheRequestWas) {
  flags.hnap_error_flag = true;
  Reply reply{"Do", Namespace::core};
  EXPECT_FALSE(reply);
  EXPECT_EQ(reply.error("ERROR_OTHER").view(), kOutOfMemory);
}

TEST_F(Replies, FaultsShowThreeBytesOfTheAction) {
  const struct {
    const char *action, *shown;
  } rows[] = {{"X/FooBar", "X/F"}, {"abc", "abc"}, {"<&", "<&"}, {"", ""}, {nullptr, ""}};
  for (const auto& row : rows) {
    const reply_text fault = soap_fault(row.action);
    EXPECT_EQ(fault.view(), fault_of(row.shown));
    EXPECT_EQ(fault.view().size(), 337 + view_of(row.shown).size() + 73);
  }
  heap.fail({1});
  EXPECT_EQ(soap_fault("abc").view(), kOutOfMemory);
}

TEST_F(Replies, ErrorPagesAre511BytesLong) {
  EXPECT_EQ(make_error_page("NEW XML TREE ERROR").view(), error_page_of("NEW XML TREE ERROR"));
  EXPECT_EQ(make_error_page(std::string(1000, 'x').c_str()).view().size(), 511U);
}

using Parser = DeviceTest;

// However expat cuts it, a document gives one tree.
TEST_F(Parser, JoinsWhatComesInPieces) {
  const std::string document =
      "\xef\xbb\xbf<a x='1' y='&lt;'>t&#65;<![CDATA[<raw>]]>u<b/>v<!-- c --><c>\xc3\xa4</c></a>";
  for (const std::size_t piece : {document.size(), std::size_t{7}, std::size_t{1}}) {
    soap_document parsed;
    ASSERT_EQ(open_document(parsed, {}), nullptr);
    for (std::size_t at = 0; at < document.size(); at += piece) {
      const std::string_view part = std::string_view{document}.substr(at, piece);
      EXPECT_EQ(XML_Parse(parsed.parser.get(), part.data(), static_cast<int>(part.size()), 0), XML_STATUS_OK);
    }
    Text text;
    generate_xml(parsed.tree.get(), text);
    EXPECT_EQ(text.view(), "<a x=1 y=<>tA<raw>uv\n<b></b>\n<c>\xc3\xa4</c>\n</a>\n") << piece;
  }
}

}  // namespace
}  // namespace kd::test
