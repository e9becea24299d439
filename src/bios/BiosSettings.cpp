#include "bios/BiosSettings.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/ComError.h"
#include "platform/UniqueHandle.h"
#include "state/SwitchingState.h"

#include <cstdint>
#include <initializer_list>

using namespace QX::Shared;

namespace NLMUtils {
namespace {

constexpr wchar_t kNamespace[] = L"ROOT\\qx\\instrumentedbios";
constexpr wchar_t kFirstClass[] = L"QXBIOS_BIOSEnumeration";
constexpr wchar_t kFallbackClass[] = L"QX_BIOSSetting";
constexpr wchar_t kQueryLanguage[] = L"WQL";
constexpr wchar_t kNameProperty[] = L"Name";
constexpr wchar_t kValueProperty[] = L"Value";
constexpr wchar_t kWlanSetting[] = L"LAN / WLAN Auto Switching";
constexpr wchar_t kWlanOlderSetting[] = L"LAN/WLAN Switching";
constexpr wchar_t kWwanSetting[] = L"LAN / WWAN Auto Switching";

constexpr ULONG kObjectsPerNext = 10;
constexpr int kMaxTimeoutRetries = 5;    // so at most 6 walks in one pass
constexpr int kMaxExceptionRetries = 3;  // so at most 4 passes
constexpr DWORD kTimeoutPauseMs = 1000;
constexpr DWORD kFailedPassPauseMs = 3000;

// The low 32 bits of a pointer, for the "0x%x" entry records.
unsigned PointerBits(const void* pointer) { return static_cast<unsigned>(reinterpret_cast<uintptr_t>(pointer)); }

std::wstring BuildQuery(const std::wstring& className)
{
    return std::wstring(L"SELECT * FROM ") + className + L" WHERE " + L"Name='" + kWlanSetting + L"'" + L" OR " +
           L"Name='" + kWwanSetting + L"'" + L" OR " + L"Name='" + kWlanOlderSetting + L"'";
}

// Reads one property; false (after the log line) when the object does not
// carry it as a string.
bool GetStringProperty(IWbemClassObject* object, const wchar_t* property, const wchar_t* failureFormat,
                       os::Variant& value, HRESULT& result, const FunctionLog& log)
{
    CIMTYPE type = CIM_EMPTY;
    result = object->Get(property, 0, value.Put(), &type, nullptr);
    if (SUCCEEDED(result) && value.Type() != VT_NULL && type == CIM_STRING)
        return true;
    log.Log(LevelError, failureFormat, result, type);
    return false;
}

// The passes of one read over `enumerator`: time-outs are retried within a
// pass, and a pass is repeated only after a COM error.
HRESULT ReadWithRetries(const os::ComPtr<IEnumWbemClassObject>& enumerator, SettingMap& settings,
                        DWORD& pausedMilliseconds, const FunctionLog& log)
{
    HRESULT result = S_OK;
    int exceptionCount = 0;
    // Set by the first COM error and kept for the rest of the read, so one
    // exception keeps later passes going even when they merely time out.
    bool exceptionSeen = false;
    do {
        int timeoutCount = 0;
        try {
            do {
                result = ProcessEnum(enumerator, settings);
                log.Log(LevelVerbose, L"ProcessEnum Return  [hr:0x%08X]", result);
                if (result == WBEM_S_TIMEDOUT) {
                    log.Log(LevelWarning, L"WMI Read Timeout. [hr:0x%08X]", result);
                    ++timeoutCount;
                    os::api().Sleep(kTimeoutPauseMs);
                    pausedMilliseconds += kTimeoutPauseMs;
                }
                log.Log(LevelVerbose, L"Retry Count for Timeout =  %d", timeoutCount);
            } while (result == WBEM_S_TIMEDOUT && timeoutCount <= kMaxTimeoutRetries);
        } catch (const os::ComError& error) {
            result = error.Error();
            exceptionSeen = true;
            log.Log(LevelError, L"Exception while getting BIOS with error 0x%08X", result);
        }
        if (result == S_OK)
            break;
        // Also after the last pass: the pause is the provider's time to settle.
        os::api().Sleep(kFailedPassPauseMs);
        pausedMilliseconds += kFailedPassPauseMs;
        ++exceptionCount;
        log.Log(LevelVerbose, L"Retry Count for Exception =  %d", exceptionCount);
    } while (exceptionCount <= kMaxExceptionRetries && exceptionSeen);
    return result;
}

}  // namespace

void GetAutoSwitchingStatus()
{
    OperationLog op("NLMUtils::GetAutoSwitchingStatus");
    LanWlanSwitchingEnabled = false;
    LanWwanSwitchingEnabled = false;
    try {
        AutoSwitchingRead read;
        ReadAutoSwitchingSettings(read);

        op.Log(LevelVerbose, L"Displaying the WMI Read Data - Start");
        for (const auto& [name, value] : read.settings)
            op.Log(LevelVerbose, L"Setting = %s  ==>  Value = %s", name.c_str(), value.c_str());
        op.Log(LevelVerbose, L"Displaying the WMI Read Data - End");

        const AutoSwitchingDecision decision = DecideAutoSwitching(read.settings);
        if (decision.wlan.Allowed())
            LanWlanSwitchingEnabled = true;
        if (decision.wwan.Allowed())
            LanWwanSwitchingEnabled = true;
    } catch (...) {
        op.Log(LevelError, L"Exception in GetAutoSwitchingStatus()");
    }
    op.Exit(L"LanWlanSwitchingEnabled Value = %d, LanWwanSwitchingEnabled = %d",
            static_cast<int>(LanWlanSwitchingEnabled), static_cast<int>(LanWwanSwitchingEnabled));
}

SettingVerdict JudgeSettingValue(const std::wstring& value)
{
    // The whole rule, on the raw text: no keyword is compared, on purpose:
    // the firmware's own words vary.
    if (value.empty())
        return SettingVerdict::Empty;
    return value[0] == L'*' ? SettingVerdict::Starred : SettingVerdict::Allows;
}

AutoSwitchingDecision DecideAutoSwitching(const SettingMap& settings)
{
    const auto decide = [&settings](std::initializer_list<const wchar_t*> names) {
        SwitchingDecision decision;
        // The first name present decides, whatever its value.
        for (const wchar_t* name : names) {
            const auto found = settings.find(name);
            if (found != settings.end()) {
                decision.setting = name;
                decision.verdict = JudgeSettingValue(found->second);
                break;
            }
        }
        return decision;
    };
    return {decide({kWlanSetting, kWlanOlderSetting}), decide({kWwanSetting})};
}

void ReadAutoSwitchingSettings(AutoSwitchingRead& read)
{
    read.firstResult = ReadNetworkSwitchingStatus(kFirstClass, read.settings, &read.pausedMilliseconds);
    read.fallbackRead = read.settings.empty();
    if (read.fallbackRead)
        read.fallbackResult = ReadNetworkSwitchingStatus(kFallbackClass, read.settings, &read.pausedMilliseconds);
}

HRESULT ReadNetworkSwitchingStatus(const std::wstring& className, SettingMap& settings, DWORD* pausedMilliseconds)
{
    OperationLog op("NLMUtils::ReadNetworkSwitchingStatus", L"Fetch Location = %s", className.c_str());
    settings.clear();

    os::ComPtr<IWbemLocator> locator;
    os::ComPtr<IWbemServices> services;
    HRESULT result = InitWMIRead(locator, services);
    if (FAILED(result)) {
        // InitWMIRead has already undone what it could; COM is not ours to
        // uninitialise here.
        op.Log(LevelError, L"Failed to initialize WMI Read [hr:0x%08X]", result);
        return result;
    }

    os::ComPtr<IEnumWbemClassObject> enumerator;
    os::UniqueBstr query;
    DWORD paused = 0;
    if (services) {
        const std::wstring text = BuildQuery(className);
        op.Log(LevelVerbose, L"WMI Query =  %s", text.c_str());
        query.reset(os::api().SysAllocString(text.c_str()));
        if (!query) {
            op.Log(LevelError, L"Failed to initialize WMI Query. Error = 0x%08lx", GetLastError());
        } else {
            const os::UniqueBstr language = os::MakeBstr(kQueryLanguage);
            result =
                services->ExecQuery(language.get(), query.get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                                    nullptr, enumerator.Put());
            if (FAILED(result))
                op.Log(LevelError, L"Query for %ws from  %ws failed. [hr:0x%08X]", text.c_str(), className.c_str(),
                       result);
            else
                result = ReadWithRetries(enumerator, settings, paused, op);
        }
    }

    enumerator.Reset();
    query.reset();
    services.Reset();
    locator.Reset();
    os::api().CoUninitialize();
    if (pausedMilliseconds != nullptr)
        *pausedMilliseconds += paused;
    op.Exit(L"Return WMI Read Count = %d,Return Value = 0x%x", static_cast<int>(settings.size()), result);
    return result;
}

HRESULT InitWMIRead(os::ComPtr<IWbemLocator>& locator, os::ComPtr<IWbemServices>& services)
{
    OperationLog op("NLMUtils::InitWMIRead");
    locator.Reset();
    services.Reset();

    HRESULT result = os::api().CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(result)) {
        op.Log(LevelError, L"Failed to initialize COM library [hr:0x%08X]", result);
        return result;
    }
    result = os::api().CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                                        reinterpret_cast<void**>(locator.Put()));
    if (FAILED(result)) {
        // COM stays initialised on this path, unlike the failures below: the
        // service has always behaved so, and the asymmetry is kept.
        op.Log(LevelError, L"Failed to create IWbemLocator object. [hr:0x%08X]", result);
        return result;
    }

    const os::UniqueBstr resource = os::MakeBstr(kNamespace);
    result = locator->ConnectServer(resource.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, services.Put());
    if (FAILED(result)) {
        op.Log(LevelError, L"Could not connect to ROOT\\qx\\instrumentedbios. [hr:0x%08X]", result);
    } else if (services) {
        result = os::api().CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                             RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
        if (FAILED(result))
            op.Log(LevelError, L"Could not set proxy blanket . [hr:0x%08X]", result);
    }
    // A connection without services is handed back as it is, with the
    // connect code: the caller sees the null services and cleans up.

    if (FAILED(result)) {
        services.Reset();
        locator.Reset();
        os::api().CoUninitialize();
    }
    op.Exit(L"Return Value = 0x%x", result);
    return result;
}

HRESULT ProcessEnum(os::ComPtr<IEnumWbemClassObject> enumerator, SettingMap& settings)
{
    OperationLog op("NLMUtils::ProcessEnum", L"IEnumWbemClassObject = 0x%x", PointerBits(enumerator.Get()));
    settings.clear();
    if (!enumerator) {
        op.Log(LevelError, L"IEnumWbemClassObject is NULL");
        return E_POINTER;
    }

    HRESULT result = S_OK;
    try {
        do {
            IWbemClassObject* objects[kObjectsPerNext] = {};
            ULONG returned = 0;
            result = enumerator->Next(static_cast<LONG>(WBEM_INFINITE), kObjectsPerNext, objects, &returned);
            // Owned from here, so every object goes back whatever happens.
            os::ComPtr<IWbemClassObject> owned[kObjectsPerNext];
            for (ULONG i = 0; i < kObjectsPerNext; ++i)
                owned[i].Reset(objects[i]);
            op.Log(LevelVerbose, L"WMI Object Return Count =  %d", static_cast<int>(returned));
            if (FAILED(result)) {
                op.Log(LevelError, L"Failed to enumerate WMI Objects. [hr:0x%08X]", result);
                continue;  // to the loop test, which ends the walk
            }
            for (ULONG i = 0; i < returned && i < kObjectsPerNext; ++i) {
                result = ProcessObjects(owned[i].Get(), settings);
                // The arguments in this order have always filled the two
                // fields the other way round; the line is kept as it reads.
                if (FAILED(result))
                    op.Log(LevelError, L"ProcessObjects Failed for obj %d. [hr:0x%08X]", result, i);
                owned[i].Reset();
            }
        } while (result == S_OK);
        if (result == WBEM_S_FALSE)
            result = S_OK;
    } catch (const os::ComError& error) {
        result = error.Error();
        op.Log(LevelError, L"Exception while Processing BIOS Enumeration with error 0x%08X", result);
    }
    op.Exit(L"Return Value = 0x%x", result);
    return result;
}

HRESULT ProcessObjects(IWbemClassObject* object, SettingMap& settings)
{
    OperationLog op("NLMUtils::ProcessObjects", L"IWbemClassObject = 0x%x", PointerBits(object));
    if (object == nullptr) {
        op.Log(LevelError, L"IWbemClassObject is NULL");
        return E_POINTER;
    }

    HRESULT result = S_OK;
    try {
        os::Variant name;
        os::Variant value;
        // A wrong type alone may come with a succeeding code: the object is
        // then skipped and the walk goes on.
        if (!GetStringProperty(object, kNameProperty, L"Failed to Get WMI Objects (Name). [hr:0x%08X] [CIMTYPE = %d]",
                               name, result, op))
            return result;
        if (!GetStringProperty(object, kValueProperty, L"Failed to Get WMI Objects (Value). [hr:0x%08X] [CIMTYPE = %d]",
                               value, result, op))
            return result;

        const std::wstring nameText = name.Text();
        const std::wstring valueText = value.Text();
        // The first value read under a name stays.
        if (!settings.emplace(nameText, valueText).second)
            op.Log(LevelError, L"Already read and inserted %s with value %s", nameText.c_str(), valueText.c_str());
        name.Clear();
        value.Clear();
    } catch (const os::ComError& error) {
        result = error.Error();
        op.Log(LevelError, L"Exception while Processing BIOS Objects with error 0x%08X", result);
    }
    op.Exit(L"Return Value = 0x%x", result);
    return result;
}

}  // namespace NLMUtils
