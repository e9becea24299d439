// PolicyTemplate: the installed Group Policy templates (Tessarine.admx and
// en-US/Tessarine.adml of the build tree) as the tests need them: each
// policy's key and value names, its elements with their bounds, and the
// explanation texts. Read with the defaults the policy-definition format
// gives to attributes left out.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace policy_tests {

// What a policy or an enum item stores: <decimal value="N"/> or <string>.
struct PolicyValue {
    enum class Kind { Decimal, String };
    Kind kind = Kind::Decimal;
    uint32_t decimal = 0;
    std::wstring text;
};

// One element of a policy: the value it writes when the policy is enabled.
struct PolicyElement {
    enum class Kind { Enum, Decimal, Text };
    Kind kind = Kind::Text;
    std::wstring id;
    std::wstring key;  // empty: the policy's key
    std::wstring valueName;
    // Decimal
    uint32_t minValue = 0;
    uint32_t maxValue = 9999;
    bool storeAsText = false;
    // Text
    uint32_t maxLength = 1023;
    bool expandable = false;
    // Enum: the items' values, in order
    std::vector<PolicyValue> items;
};

struct Policy {
    std::wstring name;
    std::wstring key;
    std::wstring valueName;    // empty when only the elements write
    std::wstring explainText;  // the text itself, from the .adml
    std::optional<PolicyValue> enabledValue;
    std::optional<PolicyValue> disabledValue;
    std::vector<PolicyElement> elements;

    // The element with that id; throws std::out_of_range when there is none.
    const PolicyElement& Element(const std::wstring& id) const;
};

struct PolicyTemplate {
    std::vector<Policy> policies;

    // The policy of that name; throws std::out_of_range when there is none.
    const Policy& Find(const std::wstring& name) const;
};

// The templates the build installed (TESSARINE_POLICY_DEFINITIONS), read at
// the first call. Throws std::runtime_error when either file cannot be read
// or a reference of the .admx has no text in the .adml.
const PolicyTemplate& InstalledTemplate();

}  // namespace policy_tests
