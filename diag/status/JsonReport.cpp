#include "status/JsonReport.h"

#include "platform/Format.h"
#include "platform/MbnApi.h"
#include "status/JsonWriter.h"
#include "status/Phrases.h"
#include "status/RegistryValues.h"

namespace diag {
namespace {

constexpr wchar_t kFirstClass[] = L"QXBIOS_BIOSEnumeration";
constexpr wchar_t kFallbackClass[] = L"QX_BIOSSetting";

void StringOrNull(JsonWriter& json, const std::wstring& text)
{
    if (text.empty())
        json.Null();
    else
        json.String(text);
}

std::wstring Hresult(HRESULT result) { return os::FormatString(L"0x%08X", static_cast<unsigned>(result)); }

void Service(JsonWriter& json, const ServiceReading& service)
{
    json.BeginObject();
    json.Key(L"name").String(service.name);
    json.Key(L"registered").Bool(service.registered);
    json.Key(L"running").Bool(service.Running());
    std::wstring state = L"unknown";
    if (service.registered && service.state != 0)
        state = ServiceStateName(service.state);
    else if (service.scmOpened && !service.registered && service.error == 0)
        state = L"not-installed";
    json.Key(L"state").String(state);
    json.Key(L"startType");
    if (service.registered && service.configRead)
        json.String(StartTypeName(service.startType));
    else
        json.Null();
    json.Key(L"path");
    StringOrNull(json, service.programPath);
    json.Key(L"version");
    StringOrNull(json, service.version);
    json.Key(L"error").Number(service.error);
    json.EndObject();
}

const wchar_t* SettingVerdictName(const NLMUtils::SwitchingDecision& decision)
{
    if (decision.setting == nullptr)
        return L"missing";
    switch (decision.verdict) {
    case NLMUtils::SettingVerdict::Allows: return L"allows";
    case NLMUtils::SettingVerdict::Empty: return L"empty";
    case NLMUtils::SettingVerdict::Starred: return L"starred";
    }
    return L"missing";
}

void Switching(JsonWriter& json, const NLMUtils::SwitchingDecision& decision)
{
    json.BeginObject();
    json.Key(L"allowed").Bool(decision.Allowed());
    json.Key(L"setting");
    if (decision.setting != nullptr)
        json.String(decision.setting);
    else
        json.Null();
    json.Key(L"verdict").String(SettingVerdictName(decision));
    json.EndObject();
}

void Firmware(JsonWriter& json, const FirmwareReading& firmware)
{
    const NLMUtils::AutoSwitchingRead& read = firmware.read;
    json.BeginObject();
    json.Key(L"class");
    if (read.settings.empty())
        json.Null();
    else
        json.String(read.fallbackRead ? kFallbackClass : kFirstClass);
    json.Key(L"firstClassResult").String(Hresult(read.firstResult));
    json.Key(L"fallbackClassResult");
    if (read.fallbackRead)
        json.String(Hresult(read.fallbackResult));
    else
        json.Null();
    json.Key(L"settings").BeginObject();
    for (const auto& [name, value] : read.settings)
        json.Key(name).String(value);
    json.EndObject();
    json.Key(L"wifiSwitching");
    Switching(json, firmware.decision.wlan);
    json.Key(L"mobileBroadbandSwitching");
    Switching(json, firmware.decision.wwan);
    json.Key(L"readMilliseconds").Number(static_cast<int64_t>(firmware.elapsedMilliseconds));
    json.Key(L"retryPauseMilliseconds").Number(read.pausedMilliseconds);
    json.EndObject();
}

void Choice(JsonWriter& json, const StoredChoice& choice)
{
    json.BeginObject();
    json.Key(L"value").String(choice.text);
    json.Key(L"missing").Bool(choice.wasEmpty);
    json.Key(L"on").Bool(choice.on);
    json.EndObject();
}

void Ethernet(JsonWriter& json, const EthernetReading& ethernet)
{
    json.BeginObject();
    json.Key(L"listRead").Bool(ethernet.listRead);
    json.Key(L"error").Number(ethernet.error);
    json.Key(L"up").Bool(ethernet.up);
    json.Key(L"addressPending").Bool(ethernet.addressPending);
    json.Key(L"decidingAdapter");
    if (const AdapterReading* deciding = ethernet.Deciding())
        json.String(Widen(deciding->description));
    else
        json.Null();
    json.Key(L"adapters").BeginArray();
    for (const AdapterReading& adapter : ethernet.adapters) {
        json.BeginObject();
        json.Key(L"name").String(Widen(adapter.name));
        json.Key(L"description").String(Widen(adapter.description));
        json.Key(L"type").Number(adapter.type);
        json.Key(L"typeName").String(adapter.typeName);
        json.Key(L"address").String(Widen(adapter.address));
        json.Key(L"link").String(LinkName(adapter.link));
        json.Key(L"verdict").String(VerdictName(adapter.verdict));
        json.Key(L"counts").Bool(adapter.verdict == NLMUtils::AdapterVerdict::Ethernet);
        json.Key(L"decides").Bool(adapter.decides);
        json.Key(L"reason").String(AdapterReason(adapter));
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

void Radios(JsonWriter& json, const StatusReport& report, const Reasoning& reasoning)
{
    json.BeginObject();
    json.Key(L"wifi").BeginObject();
    json.Key(L"state").String(StateName(reasoning.wifi.state));
    json.Key(L"interfaces").Number(report.wlan.interfaces);
    json.Key(L"interface");
    StringOrNull(json, report.wlan.description);
    json.Key(L"phys").BeginArray();
    for (const WlanPhyReading& phy : report.wlan.phys) {
        json.BeginObject();
        json.Key(L"index").Number(phy.index);
        json.Key(L"software").String(PhyStateName(phy.software));
        json.Key(L"hardware").String(PhyStateName(phy.hardware));
        json.EndObject();
    }
    json.EndArray();
    json.Key(L"error");
    StringOrNull(json, report.wlan.failure);
    json.EndObject();

    json.Key(L"mobileBroadband").BeginObject();
    json.Key(L"state").String(StateName(reasoning.mobileBroadband.state));
    json.Key(L"interface");
    StringOrNull(json, report.wwan.interfaceId);
    json.Key(L"software");
    if (report.wwan.read)
        json.String(report.wwan.software == MBN_RADIO_ON ? L"on" : L"off");
    else
        json.Null();
    json.Key(L"hardware");
    if (report.wwan.read)
        json.String(report.wwan.hardware == MBN_RADIO_ON ? L"on" : L"off");
    else
        json.Null();
    json.Key(L"error");
    StringOrNull(json, report.wwan.failure);
    json.EndObject();
    json.EndObject();
}

void Explanation(JsonWriter& json, const RadioExplanation& explanation)
{
    json.BeginObject();
    json.Key(L"state").String(StateName(explanation.state));
    json.Key(L"cause").String(CauseName(explanation.cause));
    json.Key(L"next").BeginObject();
    json.Key(L"when").String(EventName(explanation.nextEvent));
    json.Key(L"action").String(ActionName(explanation.nextAction));
    json.EndObject();
    json.Key(L"sentences").BeginArray();
    for (const std::wstring& sentence : explanation.sentences)
        json.String(sentence);
    json.EndArray();
    json.EndObject();
}

void ConnectionPolicy(JsonWriter& json, const ConnectionManagerPolicy& policy)
{
    json.BeginObject();
    json.Key(L"key").String(L"HKLM\\" + policy.key);
    json.Key(L"present").Bool(policy.keyFound);
    json.Key(L"values").BeginArray();
    for (const RegistryValue& value : policy.values) {
        json.BeginObject();
        json.Key(L"name").String(value.name);
        json.Key(L"type").String(RegistryTypeName(value.type));
        json.Key(L"data").String(value.data);
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

void DriverSettings(JsonWriter& json, const std::vector<DriverSetting>& settings)
{
    json.BeginArray();
    for (const DriverSetting& setting : settings) {
        json.BeginObject();
        json.Key(L"adapterKey").String(setting.adapterKey);
        json.Key(L"adapter").String(setting.adapter);
        json.Key(L"keyword").String(setting.keyword);
        json.Key(L"label").String(setting.label);
        json.Key(L"value").String(setting.value);
        json.Key(L"valueLabel");
        StringOrNull(json, setting.valueLabel);
        json.Key(L"active").Bool(setting.active);
        json.EndObject();
    }
    json.EndArray();
}

void Conflicts(JsonWriter& json, const std::vector<Conflict>& conflicts)
{
    json.BeginArray();
    for (const Conflict& conflict : conflicts) {
        json.BeginObject();
        json.Key(L"kind").String(conflict.kind);
        json.Key(L"source").String(conflict.source);
        json.Key(L"name").String(conflict.name);
        json.Key(L"value").String(conflict.value);
        json.Key(L"text").String(conflict.text);
        json.EndObject();
    }
    json.EndArray();
}

}  // namespace

std::wstring StatusJson(const StatusReport& report, const Reasoning& reasoning)
{
    JsonWriter json;
    json.BeginObject();
    json.Key(L"schema").String(L"tessarine-diag");
    json.Key(L"version").Number(kJsonSchemaVersion);
    json.Key(L"verb").String(L"status");
    json.Key(L"elapsedMilliseconds").Number(static_cast<int64_t>(report.elapsedMilliseconds));
    json.Key(L"service");
    Service(json, report.service);
    json.Key(L"firmware");
    Firmware(json, report.firmware);
    json.Key(L"storedChoices").BeginObject();
    json.Key(L"wifi");
    Choice(json, report.wlanChoice);
    json.Key(L"mobileBroadband");
    Choice(json, report.wwanChoice);
    json.EndObject();
    json.Key(L"airplaneMode").Bool(report.airplaneMode);
    json.Key(L"ethernet");
    Ethernet(json, report.ethernet);
    json.Key(L"radios");
    Radios(json, report, reasoning);
    json.Key(L"explanations").BeginObject();
    json.Key(L"wifi");
    Explanation(json, reasoning.wifi);
    json.Key(L"mobileBroadband");
    Explanation(json, reasoning.mobileBroadband);
    json.EndObject();
    json.Key(L"connectionManagerPolicy");
    ConnectionPolicy(json, report.connectionPolicy);
    json.Key(L"wifiDriverSettings");
    DriverSettings(json, report.driverSettings);
    json.Key(L"conflicts");
    Conflicts(json, reasoning.conflicts);
    json.EndObject();
    return json.Text();
}

}  // namespace diag
