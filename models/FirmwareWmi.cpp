#include "models/FirmwareWmi.h"

#include "platform/ComError.h"

#include <algorithm>

namespace fakes {

WmiValue StringValue(std::wstring text)
{
    WmiValue value;
    value.text = std::move(text);
    return value;
}

WmiValue NumberValue(LONG number, CIMTYPE cimType)
{
    WmiValue value;
    value.type = VT_I4;
    value.cimType = cimType;
    value.number = number;
    return value;
}

WmiValue NullValue(CIMTYPE cimType)
{
    WmiValue value;
    value.type = VT_NULL;
    value.cimType = cimType;
    return value;
}

WmiValue MissingValue()
{
    WmiValue value;
    value.type = VT_EMPTY;
    value.cimType = CIM_EMPTY;
    value.getResult = WBEM_E_NOT_FOUND;
    return value;
}

WmiValue ThrowingValue(HRESULT error)
{
    WmiValue value;
    value.getResult = error;
    value.throws = true;
    return value;
}

WmiValue RawValue(VARTYPE type, CIMTYPE cimType)
{
    WmiValue value;
    value.type = type;
    value.cimType = cimType;
    return value;
}

NextStep NextStep::Batch(ULONG count, HRESULT result) { return {Kind::Objects, count, result}; }
NextStep NextStep::Returns(HRESULT result) { return {Kind::Result, 0, result}; }
NextStep NextStep::Throws(HRESULT error) { return {Kind::Throw, 0, error}; }

namespace {

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

// The class named after FROM in a query ("SELECT * FROM X WHERE ...").
std::wstring ClassOfQuery(const std::wstring& query)
{
    const std::wstring from = L" FROM ";
    const size_t start = query.find(from);
    if (start == std::wstring::npos)
        return {};
    const size_t begin = start + from.size();
    const size_t end = query.find(L' ', begin);
    return query.substr(begin, end == std::wstring::npos ? std::wstring::npos : end - begin);
}

class SettingObject : public CountedObject<IWbemClassObject> {
public:
    SettingObject(FirmwareWmi& model, const FirmwareSetting& setting)
        : CountedObject(model.Ledger()), m_model(model),
          m_name(setting.nameProperty ? *setting.nameProperty : StringValue(setting.name)),
          m_value(setting.valueProperty ? *setting.valueProperty : StringValue(setting.value)),
          m_label(Narrow(setting.name))
    {
    }

    HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) override
    {
        const std::wstring property = name ? name : L"";
        m_model.Note("Get " + Narrow(property) + " of " + m_label + (flags != 0 ? " flags" : ""));
        const WmiValue* source = property == L"Name" ? &m_name : property == L"Value" ? &m_value : nullptr;
        if (source == nullptr)
            return WBEM_E_NOT_FOUND;
        if (source->throws)
            throw os::ComError(source->getResult);
        if (flavor != nullptr)
            *flavor = WBEM_FLAVOR_ORIGIN_LOCAL;
        if (FAILED(source->getResult))
            return source->getResult;
        if (type != nullptr)
            *type = source->cimType;
        if (value != nullptr) {
            VariantInit(value);
            value->vt = source->type;
            if (source->type == VT_BSTR)
                value->bstrVal = SysAllocStringLen(source->text.c_str(), static_cast<UINT>(source->text.size()));
            else if (source->type == VT_I4)
                value->lVal = source->number;
            else if (source->type == VT_BOOL)
                value->boolVal = source->number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
        }
        return source->getResult;
    }

    HRESULT STDMETHODCALLTYPE GetQualifierSet(IWbemQualifierSet**) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE Put(LPCWSTR, LONG, VARIANT*, CIMTYPE) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE EndEnumeration() override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR, IWbemQualifierSet**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject**) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE GetObjectText(LONG, BSTR*) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG, IWbemClassObject**) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE SpawnInstance(LONG, IWbemClassObject**) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE CompareTo(LONG, IWbemClassObject*) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR, BSTR*) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR, LONG, IWbemClassObject**, IWbemClassObject**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE NextMethod(LONG, BSTR*, IWbemClassObject**, IWbemClassObject**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE EndMethodEnumeration() override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR, BSTR*) override { return WBEM_E_NOT_SUPPORTED; }

private:
    FirmwareWmi& m_model;
    WmiValue m_name;
    WmiValue m_value;
    std::string m_label;
};

class SettingEnumerator : public CountedObject<IEnumWbemClassObject> {
public:
    SettingEnumerator(FirmwareWmi& model, std::wstring className, std::vector<FirmwareSetting> settings)
        : CountedObject(model.Ledger()), m_model(model), m_className(std::move(className)),
          m_settings(std::move(settings))
    {
    }

    ULONG STDMETHODCALLTYPE AddRef() override
    {
        if (const auto error = m_model.HandOverError(m_className)) {
            m_model.Note("enumerator AddRef throws");
            throw os::ComError(*error);
        }
        return CountedObject::AddRef();
    }
    ULONG STDMETHODCALLTYPE Release() override
    {
        // The last Release deletes the object: the model is taken first.
        FirmwareWmi& model = m_model;
        const ULONG left = CountedObject::Release();
        if (left == 0)
            model.Note("enumerator released");
        return left;
    }

    HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects, ULONG* returned) override
    {
        m_model.NoteNext(timeout, count);
        m_model.Note("Next");
        *returned = 0;
        const NextStep step = m_model.NextAnswer(m_className, count, m_position, m_settings.size());
        if (step.kind == NextStep::Kind::Throw)
            throw os::ComError(step.result);
        if (step.kind == NextStep::Kind::Objects) {
            const size_t take = std::min<size_t>({step.count, count, m_settings.size() - m_position});
            for (size_t i = 0; i < take; ++i)
                objects[i] = new SettingObject(m_model, m_settings[m_position++]);
            *returned = static_cast<ULONG>(take);
        }
        return step.result;
    }

    HRESULT STDMETHODCALLTYPE Reset() override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE NextAsync(ULONG, IWbemObjectSink*) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE Clone(IEnumWbemClassObject**) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG) override { return WBEM_E_NOT_SUPPORTED; }

private:
    FirmwareWmi& m_model;
    std::wstring m_className;
    std::vector<FirmwareSetting> m_settings;
    size_t m_position = 0;
};

// Also the proxy's IClientSecurity, which the platform's own
// CoSetProxyBlanket asks for (when the model stands behind a COM server
// rather than the seam): the blanket is taken as set.
class Services : public CountedObject<IWbemServices>, public IClientSecurity {
public:
    explicit Services(FirmwareWmi& model) : CountedObject(model.Ledger()), m_model(model) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (iid == IID_IClientSecurity) {
            *object = static_cast<IClientSecurity*>(this);
            AddRef();
            return S_OK;
        }
        return CountedObject::QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return CountedObject::AddRef(); }
    HRESULT STDMETHODCALLTYPE QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**,
                                           DWORD*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetBlanket(IUnknown*, DWORD, DWORD, OLECHAR*, DWORD, DWORD, void*, DWORD) override
    {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE CopyProxy(IUnknown*, IUnknown**) override { return E_NOTIMPL; }

    ULONG STDMETHODCALLTYPE Release() override
    {
        // The last Release deletes the object: the model is taken first.
        FirmwareWmi& model = m_model;
        const ULONG left = CountedObject::Release();
        if (left == 0)
            model.Note("services released");
        return left;
    }

    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                        IEnumWbemClassObject** enumerator) override
    {
        FirmwareWmi::Query asked;
        asked.language = language ? std::wstring(language, SysStringLen(language)) : L"";
        asked.text = query ? std::wstring(query, SysStringLen(query)) : L"";
        asked.flags = flags;
        asked.context = context != nullptr;
        return m_model.ExecQuery(asked, enumerator);
    }

    HRESULT STDMETHODCALLTYPE OpenNamespace(const BSTR, LONG, IWbemContext*, IWbemServices**,
                                            IWbemCallResult**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE CancelAsyncCall(IWbemObjectSink*) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE QueryObjectSink(LONG, IWbemObjectSink**) override { return WBEM_E_NOT_SUPPORTED; }
    HRESULT STDMETHODCALLTYPE GetObject(const BSTR, LONG, IWbemContext*, IWbemClassObject**,
                                        IWbemCallResult**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE PutClass(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE PutClassAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE DeleteClass(const BSTR, LONG, IWbemContext*, IWbemCallResult**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE DeleteClassAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE CreateClassEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE CreateClassEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR, LONG, IWbemContext*, IWbemCallResult**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE ExecQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE ExecNotificationQuery(const BSTR, const BSTR, LONG, IWbemContext*,
                                                    IEnumWbemClassObject**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                                         IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
                                         IWbemClassObject**, IWbemCallResult**) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
                                              IWbemObjectSink*) override
    {
        return WBEM_E_NOT_SUPPORTED;
    }

private:
    FirmwareWmi& m_model;
};

class Locator : public CountedObject<IWbemLocator> {
public:
    explicit Locator(FirmwareWmi& model) : CountedObject(model.Ledger()), m_model(model) {}

    ULONG STDMETHODCALLTYPE Release() override
    {
        // The last Release deletes the object: the model is taken first.
        FirmwareWmi& model = m_model;
        const ULONG left = CountedObject::Release();
        if (left == 0)
            model.Note("locator released");
        return left;
    }

    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR resource, const BSTR user, const BSTR password,
                                            const BSTR locale, LONG flags, const BSTR authority,
                                            IWbemContext* context, IWbemServices** services) override
    {
        FirmwareWmi::Connection connection;
        connection.resource = resource ? std::wstring(resource, SysStringLen(resource)) : L"";
        connection.credentials = user != nullptr || password != nullptr || locale != nullptr || authority != nullptr;
        connection.flags = flags;
        connection.context = context != nullptr;
        return m_model.ConnectServer(connection, services);
    }

private:
    FirmwareWmi& m_model;
};

} // namespace

FirmwareWmi* FirmwareWmi::s_current = nullptr;

FirmwareWmi::FirmwareWmi(std::vector<FirmwareSetting> settings, Journal* journal)
    : m_journal(journal),
      m_settings(std::move(settings)),
      m_class(CLSID_WbemLocator, [this](IUnknown** created) { return MakeLocator(created); })
{
    s_current = this;
    m_seam->CoSetProxyBlanket = &FirmwareWmi::CoSetProxyBlanket;
}

FirmwareWmi::~FirmwareWmi() { s_current = nullptr; }

void FirmwareWmi::AddSetting(FirmwareSetting setting)
{
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    m_settings.push_back(std::move(setting));
}

void FirmwareWmi::SetValue(const std::wstring& className, const std::wstring& name, const std::wstring& value)
{
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    for (FirmwareSetting& setting : m_settings) {
        if (setting.className == className && setting.name == name) {
            setting.value = value;
            return;
        }
    }
    m_settings.emplace_back(className, name, value);
}

void FirmwareWmi::Fail(Failure point, HRESULT result)
{
    m_failure = point;
    m_failureResult = result;
}

void FirmwareWmi::FailQuery(const std::wstring& className, HRESULT result) { m_failedQueries[className] = result; }

void FirmwareWmi::Script(const std::wstring& className, std::vector<NextStep> steps)
{
    m_scripts[className] = std::move(steps);
}

void FirmwareWmi::ThrowOnHandOver(const std::wstring& className, HRESULT error, int times)
{
    m_handOvers[className] = HandOver{error, times == 0 ? -1 : times};
}

HRESULT FirmwareWmi::ConnectServer(const Connection& connection, IWbemServices** services)
{
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    m_connections.push_back(connection);
    Note("ConnectServer " + Narrow(connection.resource));
    *services = nullptr;
    if (m_failure == Failure::ConnectServer || m_failure == Failure::NoServices)
        return m_failureResult;
    if (connection.resource != L"ROOT\\qx\\instrumentedbios")
        return WBEM_E_INVALID_NAMESPACE;
    auto* created = new Services(*this);
    m_services.push_back(static_cast<IWbemServices*>(created));
    *services = created;
    return WBEM_S_NO_ERROR;
}

HRESULT FirmwareWmi::ExecQuery(const Query& query, IEnumWbemClassObject** enumerator)
{
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    m_queries.push_back(query);
    const std::wstring className = ClassOfQuery(query.text);
    Note("ExecQuery " + Narrow(className));
    *enumerator = nullptr;
    if (const HRESULT failure = FailureOf(Failure::ExecQuery); FAILED(failure))
        return failure;
    if (const auto failed = m_failedQueries.find(className); failed != m_failedQueries.end())
        return failed->second;
    if (query.language != L"WQL")
        return WBEM_E_INVALID_QUERY_TYPE;
    std::vector<FirmwareSetting> ofClass;
    for (const FirmwareSetting& setting : m_settings)
        if (setting.className == className)
            ofClass.push_back(setting);
    *enumerator = new SettingEnumerator(*this, className, std::move(ofClass));
    return WBEM_S_NO_ERROR;
}

bool FirmwareWmi::IsModelServices(IUnknown* proxy) const
{
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    return std::find(m_services.begin(), m_services.end(), proxy) != m_services.end();
}

NextStep FirmwareWmi::NextAnswer(const std::wstring& className, ULONG asked, size_t position, size_t available)
{
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    auto script = m_scripts.find(className);
    if (script != m_scripts.end() && !script->second.empty()) {
        NextStep step = script->second.front();
        script->second.erase(script->second.begin());
        return step;
    }
    // As WMI does: a full batch with S_OK, a short (or empty) one with S_FALSE.
    const size_t left = available - position;
    return left >= asked ? NextStep::Batch(asked) : NextStep::Batch(static_cast<ULONG>(left), WBEM_S_FALSE);
}

std::optional<HRESULT> FirmwareWmi::HandOverError(const std::wstring& className)
{
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    auto handOver = m_handOvers.find(className);
    if (handOver == m_handOvers.end() || handOver->second.left == 0)
        return std::nullopt;
    if (handOver->second.left > 0)
        --handOver->second.left;
    return handOver->second.error;
}

HRESULT FirmwareWmi::MakeLocator(IUnknown** created)
{
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    Note("CoCreateInstance WbemLocator");
    if (const HRESULT failure = FailureOf(Failure::CreateLocator); FAILED(failure))
        return failure;
    ++m_locatorsCreated;
    *created = static_cast<IWbemLocator*>(new Locator(*this));
    return S_OK;
}

HRESULT WINAPI FirmwareWmi::CoSetProxyBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization,
                                              OLECHAR* principal, DWORD level, DWORD impersonation,
                                              RPC_AUTH_IDENTITY_HANDLE identity, DWORD capabilities)
{
    FirmwareWmi& self = *s_current;
    std::lock_guard<std::recursive_mutex> lock(self.m_lock);
    ProxyBlanket call;
    call.servicesOfModel = self.IsModelServices(proxy);
    call.authentication = authentication;
    call.authorization = authorization;
    call.principal = principal != nullptr;
    call.level = level;
    call.impersonation = impersonation;
    call.identity = identity != nullptr;
    call.capabilities = capabilities;
    self.m_proxyBlankets.push_back(call);
    self.Note("CoSetProxyBlanket");
    return self.FailureOf(Failure::ProxyBlanket);
}

} // namespace fakes
