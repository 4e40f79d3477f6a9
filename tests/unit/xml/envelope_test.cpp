#include "xml/envelope.hpp"

#include "support/fixture.hpp"
#include "xml/reply.hpp"

namespace kd::test {
namespace {

using Replies = DeviceTest;

TEST_F(Replies, CarriesTheNamespaceOfTheRequest) {
  const struct {
    Namespace asked;
    bool alternate;
    const char* used;
  } rows[] = {{Namespace::core, false, kCore},
              {Namespace::core, true, kCore},
              {Namespace::extender, false, kExtenderA},
              {Namespace::extender, true, kExtenderB}};
  for (const auto& row : rows) {
    ModuleState state;
    hnap_request request{.module = state, .alternate_namespace = row.alternate};
    Reply reply{request, "Do", row.asked};
    EXPECT_EQ(reply.error().view(), reply_of("Do", "ERROR", row.used));
    EXPECT_TRUE(request.hnap_error_flag);
  }
}

TEST_F(Replies, StaysOutOfMemoryWhenTheRequestWas) {
  ModuleState state;
  hnap_request request{.module = state, .hnap_error_flag = true};
  Reply reply{request, "Do", Namespace::core};
  EXPECT_FALSE(reply);
  EXPECT_EQ(reply.error("ERROR_OTHER").view(), kOutOfMemory);
}

TEST_F(Replies, ErrorPagesAre511BytesLong) {
  EXPECT_EQ(make_error_page("NEW XML TREE ERROR").view(), error_page_of("NEW XML TREE ERROR"));
  EXPECT_EQ(make_error_page(std::string(1000, 'x').c_str()).view().size(), 511U);
  EXPECT_EQ(soap_fault(nullptr)[1], "");
}

}  // namespace
}  // namespace kd::test
