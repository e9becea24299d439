// What `TessarineDiag status` read from the machine, as plain data: the
// service's registration, the firmware settings, the stored radio choices,
// airplane mode, the adapters with the Ethernet rule's verdicts, the radios,
// and what else on the machine may switch radios or mislead the service.
// Filled by the readings (StatusReading.h), read by the reasoning
// (Reasoning.h) and the two renderings (TextReport.h, JsonReport.h), so
// that the reasoning and the renderings are tested over fixed inputs.
#pragma once

#include "bios/BiosSettings.h"
#include "network/AdapterWalks.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace diag {

struct ServiceReading {
    std::wstring name;
    bool scmOpened = false;
    DWORD error = 0;  // of the SCM's or the service's open, or of a query
    bool registered = false;
    DWORD state = 0;      // SERVICE_RUNNING, ...; 0 when unread
    DWORD startType = 0;  // SERVICE_AUTO_START, ...
    bool configRead = false;
    std::wstring registeredPath;  // as registered (the service's command line)
    std::wstring programPath;     // the program's file, without quotes
    bool versionFound = false;
    std::wstring version;  // "a.b.c.d" of the file on disk

    bool Running() const { return registered && state == SERVICE_RUNNING; }
};

struct FirmwareReading {
    NLMUtils::AutoSwitchingRead read;
    NLMUtils::AutoSwitchingDecision decision;
    uint64_t elapsedMilliseconds = 0;
    bool failed = false;  // an exception ended the read: both directions disallowed
};

// A radio's "PowerOnOff" as the service reads it (missing or empty: "True").
struct StoredChoice {
    std::wstring text;
    bool wasEmpty = false;
    bool on = false;
};

struct AdapterReading {
    std::string name;  // AdapterName: the adapter's GUID text
    std::string description;
    UINT type = 0;
    std::wstring typeName;
    std::string address;  // the first IPv4 address, as listed
    NLMUtils::AdapterVerdict verdict = NLMUtils::AdapterVerdict::NotEthernetType;
    std::string vpnWord;   // for VpnDescription: the word of the description that made it so
    bool decides = false;  // the adapter that ends the service's walk
    // The link as the address list has it (not part of the rule): a wire
    // without an address whose link is up may still be waiting for DHCP.
    enum class Link { Unknown, Up, Down } link = Link::Unknown;
};

struct EthernetReading {
    bool listRead = false;
    DWORD error = 0;  // GetAdaptersInfo's code when the list was not read
    std::vector<AdapterReading> adapters;
    bool up = false;              // the service's test: a wired Ethernet adapter counts
    bool addressPending = false;  // an Ethernet adapter without an address was seen

    const AdapterReading* Deciding() const;
    // The first Ethernet-type adapter without an address whose link is not
    // known to be down: one that may still get its address.
    const AdapterReading* Pending() const;
};

struct WlanPhyReading {
    DWORD index = 0;
    DWORD software = 0;  // dot11_radio_state_on (1), _off (2), _unknown (0)
    DWORD hardware = 0;
};

struct WlanReading {
    bool read = false;
    std::wstring failure;  // why the radio was not read (the call and its code)
    bool listed = false;   // the interfaces were listed (none listed: no Wi-Fi adapter)
    DWORD interfaces = 0;
    std::wstring description;  // of the first interface, the one the service switches
    std::vector<WlanPhyReading> phys;
    bool on = false;  // every PHY on, as the service counts it
};

struct WwanReading {
    bool managerCreated = false;
    bool deviceFound = false;
    bool read = false;
    std::wstring failure;
    std::wstring interfaceId;
    int software = 0;  // MBN_RADIO_ON (1) or MBN_RADIO_OFF (0)
    int hardware = 0;
    bool on = false;
};

// One value under a policy or driver key, as text.
struct RegistryValue {
    std::wstring name;
    DWORD type = REG_NONE;
    std::wstring data;
    bool isNumber = false;
    DWORD number = 0;
};

struct ConnectionManagerPolicy {
    std::wstring key;
    bool keyFound = false;
    std::vector<RegistryValue> values;
};

// A setting of a Wi-Fi adapter's driver that speaks of a wired connection.
struct DriverSetting {
    std::wstring adapterKey;  // the class key's subkey ("0007")
    std::wstring adapter;     // its DriverDesc
    std::wstring keyword;     // the setting's name under Ndi\Params
    std::wstring label;       // its ParamDesc
    std::wstring value;       // in force: the adapter's own value, else the default
    std::wstring valueLabel;  // the value's name in the setting's enum, where it has one
    bool active = false;      // a value other than 0: the driver acts on a wired link
};

// A logging policy value that the service reads otherwise than it looks.
struct LoggingFinding {
    std::wstring value;  // "MinLogLevel", ...
    std::wstring key;    // the registry key it was read from
    std::wstring data;
    std::wstring problem;  // what the service makes of it
};

// IP Helper's ANSI texts, widened by the system's code page.
std::wstring Widen(const std::string& text);

struct StatusReport {
    ServiceReading service;
    FirmwareReading firmware;
    StoredChoice wlanChoice;
    StoredChoice wwanChoice;
    bool airplaneMode = false;
    EthernetReading ethernet;
    WlanReading wlan;
    WwanReading wwan;
    ConnectionManagerPolicy connectionPolicy;
    std::vector<DriverSetting> driverSettings;
    std::vector<LoggingFinding> loggingFindings;
    uint64_t elapsedMilliseconds = 0;
};

}  // namespace diag
