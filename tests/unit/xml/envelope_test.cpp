#include "xml/envelope.hpp"

#include "support/fixture.hpp"
#include "xml/reply.hpp"

namespace kd::test::envelope_ {

using Replies = DeviceTest;

TEST_F(Replies, CarryTheNamespaceOfTheRequest) {
  const std::tuple<Namespace, bool, const char*> rows[] = {{Namespace::core, false, kCore},
                                                           {Namespace::core, true, kCore},
                                                           {Namespace::extender, false, kExtenderA},
                                                           {Namespace::extender, true, kExtenderB}};
  ModuleState state;
  for (const auto& [asked, alternate, used] : rows) {
    hnap_request request{.module = state, .alternate_namespace = alternate};
    EXPECT_EQ(Reply(request, "Do", asked).error().view(), reply_of("Do", "ERROR", used));
    EXPECT_TRUE(request.hnap_error_flag);
    // The request was out of memory: so is the reply.
    EXPECT_EQ(Reply(request, "Do", asked).error("ERROR_OTHER").view(), kOutOfMemory);
  }
}

TEST_F(Replies, AreFixedForErrors) {
  EXPECT_EQ(make_error_page("NEW XML TREE ERROR").view(), error_page_of("NEW XML TREE ERROR"));
  EXPECT_EQ(make_error_page(std::string(1000, 'x').c_str()).view().size(), 511U);
  EXPECT_EQ(soap_fault(nullptr)[1], "");
}

}  // namespace kd::test::envelope_
