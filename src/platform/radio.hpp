// Requests to the radio driver.
#pragma once

#include <cstdint>

namespace kd {

// One 16-bit word of the radio's EEPROM, read on "ra0".
//   offset   the word's byte offset as hexadecimal digits ("01D3")
//   returns  the word; 0 when the driver refused or its answer makes no sense; -1 without a socket
//   source   private wireless request 0x8BE7, text in, text out ("\n[0x01D3]:0x0041 ")
int getEEPROM(const char* offset);

// The same on any interface, reporting its failures on the debug log.
int kd_get_eeprom(const char* offset, const char* ifname);

// Link state of a repeater-client interface as the driver reports it now.
//   ifname   network interface, at most 15 characters ("apcli0")
//   returns  the driver's 32-bit state; 0 when not connected, or when the socket or the request failed
//   source   private wireless request 0x8BE1, sub-command 0x060B, 4-byte result
std::uint32_t RP_getRPStatus(const char* ifname);

// Whether the repeater client is connected: 1 or 0. A device that is no repeater never is.
int getAPClientStatus();

}  // namespace kd
