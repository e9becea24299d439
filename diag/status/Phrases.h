// The pieces the radios' sentences are made of, each stating one fact of
// the report the way the service's decisions see it.
#pragma once

#include "status/StatusReport.h"

#include <string>

namespace diag {

// "the wired adapter eth0 has an address" (the adapter that decides).
std::wstring WirePhrase(const EthernetReading& ethernet);
// "no wired adapter counts as Ethernet (eth0 has its link up but no address
// yet; TAP-Win1 is described as a VPN or virtual adapter)".
std::wstring NoWirePhrase(const EthernetReading& ethernet);
// " has its link up but no address yet", " has no address and its link is
// down", or " has no address" when the link is not known.
std::wstring NoAddressPhrase(const AdapterReading& adapter);
// "up", "down", "unknown".
const wchar_t* LinkName(AdapterReading::Link link);
// "the firmware allows LAN/WLAN switching", "the firmware forbids ... (...)",
// and what the service makes of a missing, empty or unread setting.
std::wstring FirmwarePhrase(const NLMUtils::SwitchingDecision& decision, const FirmwareReading& firmware,
                            const wchar_t* switching);
// "the stored choice is True" (with what a missing value or another text
// counts as).
std::wstring StoredPhrase(const StoredChoice& choice);
// "not installed", "stopped", "running", ...
std::wstring ServiceStatePhrase(const ServiceReading& service);
// An adapter's verdict: "ethernet", "no-address", "vpn-description",
// "not-ethernet-type"; and why, in words ("counts as Ethernet", ...).
const wchar_t* VerdictName(NLMUtils::AdapterVerdict verdict);
std::wstring AdapterReason(const AdapterReading& adapter);
// "automatic", "manual", ... for a SERVICE_..._START type.
const wchar_t* StartTypeName(DWORD startType);
// "on", "off", "unknown" for a PHY's dot11 radio state.
const wchar_t* PhyStateName(DWORD state);
// "running", "stopped", ... for a SERVICE_... state.
const wchar_t* ServiceStateName(DWORD state);

}  // namespace diag
