// FirmwareWmi: the firmware's WMI provider of the simulated laptop, installed
// through the seam for the life of the object: CLSID_WbemLocator served
// through CoCreateInstance (ComClass; other classes go on to the
// CoCreateInstance installed before), and CoSetProxyBlanket.
//
// The firmware is a table of settings, one line each: (class, name, value),
// with optional odd "Name"/"Value" properties (any CIM type, any VARIANT
// type, a failing or throwing Get). The locator's ConnectServer serves
// "ROOT\qx\instrumentedbios"; the services' ExecQuery records what it was
// asked and answers with an enumerator over every setting of the queried
// class (the WHERE clause is not evaluated, so tests can show what the
// reader does with objects the query should have kept out). The enumerator
// plays a script of Next results per class, then hands out the rest of the
// class's settings in the batches asked for, ending with WBEM_S_FALSE.
//
// Every object counts in the model's ledger until released. The reader runs
// on one thread; the calls its objects make into the model, and the setting
// changes, are serialised by one lock anyway, so a model that serves a whole
// process (the simulation's COM server) stays consistent. The accessors that
// hand out references (Queries(), ...) are for a test once the calls are
// done. Objects must not outlive the model.
#pragma once

#include "models/ComClass.h"
#include "models/CountedCom.h"
#include "models/Journal.h"
#include "platform/Api.h"

#include <wbemcli.h>

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fakes {

// One property of a setting object as Get hands it out.
struct WmiValue {
    std::wstring text;           // VT_BSTR
    VARTYPE type = VT_BSTR;      // any VARIANT type; unknown ones are handed out as they are
    CIMTYPE cimType = CIM_STRING;
    LONG number = 0;             // VT_I4, VT_BOOL (non-zero = VARIANT_TRUE)
    HRESULT getResult = WBEM_S_NO_ERROR;
    bool throws = false;         // Get throws os::ComError(getResult)
};

WmiValue StringValue(std::wstring text);
WmiValue NumberValue(LONG number, CIMTYPE cimType = CIM_SINT32);
WmiValue NullValue(CIMTYPE cimType = CIM_STRING);
// A property the object does not have: WBEM_E_NOT_FOUND.
WmiValue MissingValue();
WmiValue ThrowingValue(HRESULT error);
// A VARIANT of `type` with no payload (VT_UNKNOWN with a null pointer, ...).
WmiValue RawValue(VARTYPE type, CIMTYPE cimType = CIM_STRING);

struct FirmwareSetting {
    FirmwareSetting(std::wstring className, std::wstring name, std::wstring value,
                    std::optional<WmiValue> nameProperty = std::nullopt,
                    std::optional<WmiValue> valueProperty = std::nullopt)
        : className(std::move(className)), name(std::move(name)), value(std::move(value)),
          nameProperty(std::move(nameProperty)), valueProperty(std::move(valueProperty))
    {
    }

    std::wstring className;
    std::wstring name;
    std::wstring value;
    // When set, Get hands these out instead of `name` and `value` as strings.
    std::optional<WmiValue> nameProperty;
    std::optional<WmiValue> valueProperty;
};

// One scripted answer of IEnumWbemClassObject::Next.
struct NextStep {
    enum class Kind { Objects, Result, Throw };
    Kind kind = Kind::Objects;
    ULONG count = 0;     // Objects: how many of the class's next settings (at most the asked)
    HRESULT result = S_OK;

    // `count` settings with `result` (S_OK, WBEM_S_FALSE, WBEM_S_TIMEDOUT...).
    static NextStep Batch(ULONG count, HRESULT result = WBEM_S_NO_ERROR);
    // No object, `result` (WBEM_S_TIMEDOUT, a failure...).
    static NextStep Returns(HRESULT result);
    static NextStep TimedOut() { return Returns(WBEM_S_TIMEDOUT); }
    // Next throws os::ComError(error).
    static NextStep Throws(HRESULT error);
};

class FirmwareWmi {
public:
    enum class Failure {
        None,
        CreateLocator,  // CoCreateInstance returns the result
        ConnectServer,  // ConnectServer returns the result, no services
        NoServices,     // ConnectServer returns the result (a success code) and no services
        ProxyBlanket,   // CoSetProxyBlanket returns the result
        ExecQuery,      // every ExecQuery returns the result, no enumerator
    };

    struct Query {
        std::wstring language;
        std::wstring text;
        LONG flags = 0;
        bool context = false;  // a context object was passed
    };

    struct Connection {
        std::wstring resource;
        bool credentials = false;  // user, password, locale or authority given
        LONG flags = 0;
        bool context = false;
    };

    struct ProxyBlanket {
        bool servicesOfModel = false;  // the proxy was the model's services
        DWORD authentication = 0;
        DWORD authorization = 0;
        bool principal = false;
        DWORD level = 0;
        DWORD impersonation = 0;
        bool identity = false;
        DWORD capabilities = 0;
    };

    explicit FirmwareWmi(std::vector<FirmwareSetting> settings = {}, Journal* journal = nullptr);
    ~FirmwareWmi();
    FirmwareWmi(const FirmwareWmi&) = delete;
    FirmwareWmi& operator=(const FirmwareWmi&) = delete;

    void AddSetting(FirmwareSetting setting);
    // The setting of that class and name takes `value` (added when missing).
    void SetValue(const std::wstring& className, const std::wstring& name, const std::wstring& value);
    void Fail(Failure point, HRESULT result = E_FAIL);
    // The query of `className` fails with `result` (WBEM_E_INVALID_CLASS, ...).
    void FailQuery(const std::wstring& className, HRESULT result);
    // Next answers for the enumerators of `className`, in order, shared by
    // all of them; the default answers follow once the script is played.
    void Script(const std::wstring& className, std::vector<NextStep> steps);
    // The next `times` references taken on an enumerator of `className`
    // after it was handed out (the walk's own reference) throw
    // os::ComError(error) instead; times 0: every one.
    void ThrowOnHandOver(const std::wstring& className, HRESULT error, int times = 0);

    int LocatorsCreated() const { return m_locatorsCreated; }
    const std::vector<Connection>& Connections() const { return m_connections; }
    const std::vector<ProxyBlanket>& ProxyBlankets() const { return m_proxyBlankets; }
    const std::vector<Query>& Queries() const { return m_queries; }
    // Each Next call: the time-out and the count asked.
    const std::vector<std::pair<LONG, ULONG>>& NextCalls() const { return m_nextCalls; }
    // Objects of this model not yet released.
    int LiveObjects() const { return m_ledger.Live(); }

    // For the model's objects.
    ComLedger& Ledger() { return m_ledger; }
    void Note(std::string call)
    {
        std::lock_guard<std::recursive_mutex> lock(m_lock);
        fakes::Note(m_journal, std::move(call));
    }
    HRESULT ConnectServer(const Connection& connection, IWbemServices** services);
    HRESULT ExecQuery(const Query& query, IEnumWbemClassObject** enumerator);
    bool IsModelServices(IUnknown* proxy) const;
    // The next answer for an enumerator of `className` that has handed out
    // `position` of `available` settings; `asked` objects wanted.
    NextStep NextAnswer(const std::wstring& className, ULONG asked, size_t position, size_t available);
    void NoteNext(LONG timeout, ULONG count)
    {
        std::lock_guard<std::recursive_mutex> lock(m_lock);
        m_nextCalls.emplace_back(timeout, count);
    }
    // The error to throw for a reference taken on an enumerator, if any.
    std::optional<HRESULT> HandOverError(const std::wstring& className);

private:
    HRESULT MakeLocator(IUnknown** created);
    static HRESULT WINAPI CoSetProxyBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization,
                                            OLECHAR* principal, DWORD level, DWORD impersonation,
                                            RPC_AUTH_IDENTITY_HANDLE identity, DWORD capabilities);
    HRESULT FailureOf(Failure point) const { return m_failure == point ? m_failureResult : S_OK; }

    struct HandOver {
        HRESULT error = S_OK;
        int left = 0;  // -1: always
    };

    static FirmwareWmi* s_current;
    mutable std::recursive_mutex m_lock;
    os::ScopedApiOverride m_seam;
    Journal* m_journal;
    std::vector<FirmwareSetting> m_settings;
    Failure m_failure = Failure::None;
    HRESULT m_failureResult = S_OK;
    std::map<std::wstring, HRESULT> m_failedQueries;
    std::map<std::wstring, std::vector<NextStep>> m_scripts;
    std::map<std::wstring, HandOver> m_handOvers;
    int m_locatorsCreated = 0;
    std::vector<Connection> m_connections;
    std::vector<ProxyBlanket> m_proxyBlankets;
    std::vector<Query> m_queries;
    std::vector<std::pair<LONG, ULONG>> m_nextCalls;
    std::vector<IUnknown*> m_services;  // handed out, for recognising the proxy (never dereferenced)
    ComLedger m_ledger;
    // Last: the class is served once the model is whole, and ends before
    // m_seam puts back the table it saved.
    ComClass m_class;
};

} // namespace fakes
