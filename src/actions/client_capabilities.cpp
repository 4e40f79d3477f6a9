// GetWirelessClientCapabilities: the same answer always.
#include "actions/client_security.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "xml/reply.hpp"

namespace kd {

ReplyText get_wireless_client_capabilities(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetWirelessClientCapabilities", namespace_of(request)};
  reply.result("OK");
  reply.open("SupportedNetworkType");
  reply.leaf("string", "INFRASTRUCTURE");
  reply.close();
  reply.open("SupportedSecurity");
  for (const ClientSecurity& security : offered_client_security()) {
    reply.open("SecurityInfo");
    reply.leaf("SecurityType", security.type);
    reply.open("Encryptions");
    for (const char* encryption : security.encryptions) {
      if (encryption) reply.leaf("string", encryption);
    }
    reply.close();
    reply.close();
  }
  reply.close();
  return reply.finish();
}

}  // namespace kd
