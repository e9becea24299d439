#include "policy/XmlTree.h"

#include "platform/ComPtr.h"
#include "platform/UniqueHandle.h"

#include <windows.h>

#include <msxml.h>

#include <stdexcept>

namespace policy_tests {

namespace {

// COM for the reading thread, for as long as one file is read.
class ComForThisThread {
public:
    ComForThisThread() : m_initialized(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
    ~ComForThisThread()
    {
        if (m_initialized)
            CoUninitialize();
    }
    ComForThisThread(const ComForThisThread&) = delete;
    ComForThisThread& operator=(const ComForThisThread&) = delete;

private:
    bool m_initialized;
};

std::wstring Text(BSTR text) { return text != nullptr ? std::wstring(text, SysStringLen(text)) : std::wstring(); }

void Check(HRESULT result, const char* what)
{
    if (FAILED(result))
        throw std::runtime_error(what);
}

std::wstring NodeName(IXMLDOMNode& node)
{
    os::UniqueBstr name;
    Check(node.get_baseName(name.put()), "get_baseName failed");
    return Text(name.get());
}

// The value of an attribute node or a text node, exactly as written.
std::wstring NodeValue(IXMLDOMNode& node)
{
    VARIANT value;
    VariantInit(&value);
    Check(node.get_nodeValue(&value), "get_nodeValue failed");
    std::wstring text = value.vt == VT_BSTR ? Text(value.bstrVal) : std::wstring();
    VariantClear(&value);
    return text;
}

XmlElement Convert(IXMLDOMNode& node)
{
    XmlElement element;
    element.name = NodeName(node);

    // Selected rather than taken from the node's attribute map: Wine's map
    // counts the namespace declarations but cannot hand them out, while
    // "@*" holds the attributes alone.
    os::UniqueBstr allAttributes(SysAllocString(L"@*"));
    os::ComPtr<IXMLDOMNodeList> attributes;
    Check(node.selectNodes(allAttributes.get(), attributes.Put()), "selectNodes failed");
    long count = 0;
    Check(attributes->get_length(&count), "attributes' get_length failed");
    for (long i = 0; i < count; ++i) {
        os::ComPtr<IXMLDOMNode> attribute;
        Check(attributes->get_item(i, attribute.Put()), "attributes' get_item failed");
        element.attributes[NodeName(*attribute.Get())] = NodeValue(*attribute.Get());
    }

    os::ComPtr<IXMLDOMNodeList> children;
    Check(node.get_childNodes(children.Put()), "get_childNodes failed");
    Check(children->get_length(&count), "children's get_length failed");
    for (long i = 0; i < count; ++i) {
        os::ComPtr<IXMLDOMNode> child;
        Check(children->get_item(i, child.Put()), "children's get_item failed");
        DOMNodeType type = NODE_INVALID;
        Check(child->get_nodeType(&type), "get_nodeType failed");
        if (type == NODE_ELEMENT)
            element.children.push_back(Convert(*child.Get()));
        else if (type == NODE_TEXT || type == NODE_CDATA_SECTION)
            element.text += NodeValue(*child.Get());
    }
    return element;
}

}  // namespace

std::wstring XmlElement::Attribute(const std::wstring& attribute, const std::wstring& otherwise) const
{
    const auto found = attributes.find(attribute);
    return found != attributes.end() ? found->second : otherwise;
}

std::vector<const XmlElement*> XmlElement::Children(const std::wstring& childName) const
{
    std::vector<const XmlElement*> found;
    for (const XmlElement& child : children) {
        if (child.name == childName)
            found.push_back(&child);
    }
    return found;
}

const XmlElement* XmlElement::Child(const std::wstring& childName) const
{
    for (const XmlElement& child : children) {
        if (child.name == childName)
            return &child;
    }
    return nullptr;
}

XmlElement ReadXmlFile(const std::wstring& path)
{
    const ComForThisThread com;
    os::ComPtr<IXMLDOMDocument> document;
    Check(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                           reinterpret_cast<void**>(document.Put())),
          "the XML parser is not available");
    document->put_async(VARIANT_FALSE);
    document->put_resolveExternals(VARIANT_FALSE);
    document->put_validateOnParse(VARIANT_FALSE);
    // Text exactly as written, white space included, as Group Policy reads it.
    document->put_preserveWhiteSpace(VARIANT_TRUE);

    os::UniqueBstr source(SysAllocString(path.c_str()));
    VARIANT location;
    VariantInit(&location);
    location.vt = VT_BSTR;
    location.bstrVal = source.get();  // still owned by `source`
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (FAILED(document->load(location, &loaded)) || loaded != VARIANT_TRUE) {
        std::wstring reason = L"cannot be read";
        os::ComPtr<IXMLDOMParseError> error;
        os::UniqueBstr text;
        if (SUCCEEDED(document->get_parseError(error.Put())) && error && SUCCEEDED(error->get_reason(text.put())))
            reason = Text(text.get());
        throw std::runtime_error("XML file " + std::string(path.begin(), path.end()) + ": " +
                                 std::string(reason.begin(), reason.end()));
    }

    os::ComPtr<IXMLDOMElement> root;
    Check(document->get_documentElement(root.Put()), "get_documentElement failed");
    if (!root)
        throw std::runtime_error("the XML file has no document element");
    return Convert(*root.Get());
}

}  // namespace policy_tests
