#include "policy/PolicyTemplate.h"

#include "fakes/WindowsPath.h"
#include "policy/XmlTree.h"

#include <stdexcept>
#include <string>

namespace policy_tests {

namespace {

const XmlElement& Required(const XmlElement* element, const char* what)
{
    if (element == nullptr)
        throw std::runtime_error(std::string("the template has no ") + what);
    return *element;
}

uint32_t Number(const XmlElement& element, const wchar_t* attribute, uint32_t otherwise)
{
    return element.HasAttribute(attribute) ? static_cast<uint32_t>(std::stoul(element.Attribute(attribute)))
                                           : otherwise;
}

bool Flag(const XmlElement& element, const wchar_t* attribute)
{
    return element.Attribute(attribute, L"false") == L"true";
}

// The content of <enabledValue>, <disabledValue> or an item's <value>.
PolicyValue ValueOf(const XmlElement& holder)
{
    PolicyValue value;
    if (const XmlElement* decimal = holder.Child(L"decimal")) {
        value.kind = PolicyValue::Kind::Decimal;
        value.decimal = Number(*decimal, L"value", 0);
    } else if (const XmlElement* text = holder.Child(L"string")) {
        value.kind = PolicyValue::Kind::String;
        value.text = text->text;
    } else {
        throw std::runtime_error("a value that is neither a decimal nor a string");
    }
    return value;
}

PolicyElement ElementOf(const XmlElement& element)
{
    PolicyElement result;
    result.id = element.Attribute(L"id");
    result.key = element.Attribute(L"key");
    result.valueName = element.Attribute(L"valueName");
    if (element.name == L"decimal") {
        result.kind = PolicyElement::Kind::Decimal;
        result.minValue = Number(element, L"minValue", 0);
        result.maxValue = Number(element, L"maxValue", 9999);
        result.storeAsText = Flag(element, L"storeAsText");
    } else if (element.name == L"text") {
        result.kind = PolicyElement::Kind::Text;
        result.maxLength = Number(element, L"maxLength", 1023);
        result.expandable = Flag(element, L"expandable");
    } else if (element.name == L"enum") {
        result.kind = PolicyElement::Kind::Enum;
        for (const XmlElement* item : element.Children(L"item"))
            result.items.push_back(ValueOf(Required(item->Child(L"value"), "value of an item")));
    } else {
        throw std::runtime_error("an element kind the tests do not know");
    }
    return result;
}

// "$(string.X)" to the text of string X of the .adml.
std::wstring StringText(const std::map<std::wstring, std::wstring>& strings, const std::wstring& reference)
{
    const std::wstring prefix = L"$(string.";
    if (reference.compare(0, prefix.size(), prefix) != 0 || reference.back() != L')')
        throw std::runtime_error("not a string reference");
    const auto found = strings.find(reference.substr(prefix.size(), reference.size() - prefix.size() - 1));
    if (found == strings.end())
        throw std::runtime_error("a string reference without its text");
    return found->second;
}

}  // namespace

const PolicyElement& Policy::Element(const std::wstring& id) const
{
    for (const PolicyElement& element : elements) {
        if (element.id == id)
            return element;
    }
    throw std::out_of_range("no such element");
}

const Policy& PolicyTemplate::Find(const std::wstring& name) const
{
    for (const Policy& policy : policies) {
        if (policy.name == name)
            return policy;
    }
    throw std::out_of_range("no such policy");
}

namespace {

PolicyTemplate ReadInstalledTemplate()
{
    const std::wstring folder = fakes::WindowsPathOf(TESSARINE_POLICY_DEFINITIONS);
    const XmlElement admx = ReadXmlFile(folder + L"\\Tessarine.admx");
    const XmlElement adml = ReadXmlFile(folder + L"\\en-US\\Tessarine.adml");

    std::map<std::wstring, std::wstring> strings;
    const XmlElement& resources = Required(adml.Child(L"resources"), "resources in the .adml");
    for (const XmlElement* string : Required(resources.Child(L"stringTable"), "string table").Children(L"string"))
        strings[string->Attribute(L"id")] = string->text;

    PolicyTemplate result;
    for (const XmlElement* policy : Required(admx.Child(L"policies"), "policies").Children(L"policy")) {
        Policy& read = result.policies.emplace_back();
        read.name = policy->Attribute(L"name");
        read.key = policy->Attribute(L"key");
        read.valueName = policy->Attribute(L"valueName");
        read.explainText = StringText(strings, policy->Attribute(L"explainText"));
        if (const XmlElement* enabled = policy->Child(L"enabledValue"))
            read.enabledValue = ValueOf(*enabled);
        if (const XmlElement* disabled = policy->Child(L"disabledValue"))
            read.disabledValue = ValueOf(*disabled);
        if (const XmlElement* elements = policy->Child(L"elements")) {
            for (const XmlElement& element : elements->children)
                read.elements.push_back(ElementOf(element));
        }
    }
    return result;
}

}  // namespace

const PolicyTemplate& InstalledTemplate()
{
    static const PolicyTemplate read = ReadInstalledTemplate();
    return read;
}

}  // namespace policy_tests
