// Which kinds of upstream security the repeater can join.
#pragma once

#include <span>

namespace kd {

struct ClientSecurity {
  const char* type;
  const char* encryptions[2];  // the second one null when there is only one
};

// What is offered to clients, in that order. "WEP", which is also accepted, is not offered.
std::span<const ClientSecurity> offered_client_security();

// Checks a secured network.
//   key        null when there is none
//   with_band  the variant for one band, which does not log a wrong encryption
//   returns    null, or the text of the error reply
const char* check_client_security(const char* type, const char* encryption, const char* key, bool with_band);

// Whether a key has the right form: 1 or 0.
//   bits  64 (10 hexadecimal digits) or 128 (26)
int kd_hnap_verify_wep_key(const char* key, int bits);
// 8 to 63 characters of 7 bits, or 64 hexadecimal digits. An empty key passes on purpose: nobody asks for
// one.
int kd_hnap_verify_wpa_key(const char* key);

}  // namespace kd
