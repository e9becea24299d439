// What Group Policy writes to the registry for a policy of the template, in
// the type and data the template defines: the policy's value when it is
// enabled or disabled, or an element's value for the choice made in its
// control. A choice the template does not offer (a number outside the
// element's bounds, text longer than its maxLength) cannot be made: the
// functions throw std::out_of_range, as the editor would refuse it.
#pragma once

#include "fakes/LoggingPolicy.h"
#include "policy/PolicyTemplate.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace policy_tests {

struct RegistryWrite {
    std::wstring key;
    std::wstring valueName;
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

RegistryWrite EnabledWrite(const Policy& policy);
RegistryWrite DisabledWrite(const Policy& policy);
// The enum element's item number `item` (0 is the first).
RegistryWrite ItemWrite(const Policy& policy, const PolicyElement& element, size_t item);
RegistryWrite NumberWrite(const Policy& policy, const PolicyElement& element, uint32_t number);
RegistryWrite TextWrite(const Policy& policy, const PolicyElement& element, const std::wstring& text);

// Stores the write in the product key that `policy` removes when it ends.
// Throws std::runtime_error when the write is for another key, so a test
// never leaves a value behind.
void Apply(fakes::LoggingPolicy& policy, const RegistryWrite& write);

}  // namespace policy_tests
