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

}  // namespace kd::test::envelope_
