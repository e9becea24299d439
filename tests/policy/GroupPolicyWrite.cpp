#include "policy/GroupPolicyWrite.h"

#include <stdexcept>

namespace policy_tests {

namespace {

std::vector<BYTE> StringData(const std::wstring& text)
{
    const BYTE* bytes = reinterpret_cast<const BYTE*>(text.c_str());
    return std::vector<BYTE>(bytes, bytes + (text.size() + 1) * sizeof(wchar_t));  // with the terminator
}

std::vector<BYTE> DwordData(uint32_t number)
{
    const BYTE* bytes = reinterpret_cast<const BYTE*>(&number);
    return std::vector<BYTE>(bytes, bytes + sizeof(number));
}

RegistryWrite At(const std::wstring& key, const std::wstring& valueName)
{
    RegistryWrite write;
    write.key = key;
    write.valueName = valueName;
    return write;
}

RegistryWrite ValueWrite(const Policy& policy, const PolicyValue& value)
{
    RegistryWrite write = At(policy.key, policy.valueName);
    if (value.kind == PolicyValue::Kind::Decimal) {
        write.type = REG_DWORD;
        write.data = DwordData(value.decimal);
    } else {
        write.type = REG_SZ;
        write.data = StringData(value.text);
    }
    return write;
}

// Where an element writes: its own key if it names one, else the policy's.
RegistryWrite ElementWrite(const Policy& policy, const PolicyElement& element)
{
    return At(element.key.empty() ? policy.key : element.key, element.valueName);
}

}  // namespace

RegistryWrite EnabledWrite(const Policy& policy)
{
    if (!policy.enabledValue)
        throw std::out_of_range("the policy has no enabledValue");
    return ValueWrite(policy, *policy.enabledValue);
}

RegistryWrite DisabledWrite(const Policy& policy)
{
    if (!policy.disabledValue)
        throw std::out_of_range("the policy has no disabledValue");
    return ValueWrite(policy, *policy.disabledValue);
}

RegistryWrite ItemWrite(const Policy& policy, const PolicyElement& element, size_t item)
{
    if (element.kind != PolicyElement::Kind::Enum || item >= element.items.size())
        throw std::out_of_range("no such item");
    RegistryWrite write = ValueWrite(policy, element.items[item]);
    const RegistryWrite where = ElementWrite(policy, element);
    write.key = where.key;
    write.valueName = where.valueName;
    return write;
}

RegistryWrite NumberWrite(const Policy& policy, const PolicyElement& element, uint32_t number)
{
    if (element.kind != PolicyElement::Kind::Decimal || number < element.minValue || number > element.maxValue)
        throw std::out_of_range("a number the template does not offer");
    RegistryWrite write = ElementWrite(policy, element);
    write.type = element.storeAsText ? REG_SZ : REG_DWORD;
    write.data = element.storeAsText ? StringData(std::to_wstring(number)) : DwordData(number);
    return write;
}

RegistryWrite TextWrite(const Policy& policy, const PolicyElement& element, const std::wstring& text)
{
    if (element.kind != PolicyElement::Kind::Text || text.size() > element.maxLength)
        throw std::out_of_range("a text the template does not offer");
    RegistryWrite write = ElementWrite(policy, element);
    write.type = element.expandable ? REG_EXPAND_SZ : REG_SZ;
    write.data = StringData(text);
    return write;
}

void Apply(fakes::LoggingPolicy& policy, const RegistryWrite& write)
{
    if (write.key != fakes::LoggingPolicy::ProductKeyPath())
        throw std::runtime_error("a write outside the product key");
    policy.SetBytes(fakes::LoggingPolicy::Key::Product, write.valueName.c_str(), write.data.data(),
                    static_cast<DWORD>(write.data.size()), write.type);
}

}  // namespace policy_tests
