// XmlElement: an XML file read once, with the platform's own parser (MSXML,
// which Wine provides), into plain values that tests walk without COM.
// Only what the policy templates need: elements by local name, their
// attributes and their text; comments and namespace declarations are left
// out (the schema check has seen the namespaces).
#pragma once

#include <map>
#include <string>
#include <vector>

namespace policy_tests {

struct XmlElement {
    std::wstring name;  // the local name, without a prefix
    std::map<std::wstring, std::wstring> attributes;
    std::wstring text;  // the element's own text nodes, joined, exactly as written
    std::vector<XmlElement> children;

    // The attribute's value, or `otherwise` where it is absent.
    std::wstring Attribute(const std::wstring& attribute, const std::wstring& otherwise = std::wstring()) const;
    bool HasAttribute(const std::wstring& attribute) const { return attributes.count(attribute) != 0; }
    // The children of that name, in document order.
    std::vector<const XmlElement*> Children(const std::wstring& childName) const;
    // The first child of that name, or null.
    const XmlElement* Child(const std::wstring& childName) const;
};

// The document element of the file at `path` (a Windows path). Throws
// std::runtime_error, with the parser's reason, when it cannot be read.
XmlElement ReadXmlFile(const std::wstring& path);

}  // namespace policy_tests
