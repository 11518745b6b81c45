#include "support/SettingsDocument.h"

#include <vector>

#include "automation/Error.h"

namespace vtdl::settings {
namespace {

using automation::Bstr;
using automation::check;
using automation::ComPtr;
using Node = ComPtr<IXMLDOMNode>;

constexpr CLSID freeThreadedDocument = {
    0xF6D90F12, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}};
// IXMLDOMDocument2; the compiler's header does not tie the identifier to the interface.
constexpr IID documentInterface = {
    0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

std::wstring rawText(IXMLDOMNode* node) {
    VARIANT value;
    VariantInit(&value);
    check(node->get_nodeValue(&value));
    const std::wstring text(automation::viewOf(value.vt == VT_BSTR ? value.bstrVal : nullptr));
    VariantClear(&value);
    return text;
}

DOMNodeType typeOf(IXMLDOMNode* node) {
    DOMNodeType type = NODE_INVALID;
    check(node->get_nodeType(&type));
    return type;
}

bool isText(IXMLDOMNode* node) {
    const DOMNodeType type = typeOf(node);
    return type == NODE_TEXT || type == NODE_CDATA_SECTION;
}

template <class Visit>
void forEachChild(IXMLDOMNode* parent, Visit&& visit) {
    Node child;
    check(parent->get_firstChild(child.put()));
    while (child) {
        visit(child.get());
        Node next;
        check(child->get_nextSibling(next.put()));
        child = next;
    }
}

// Text between line breaks was indented by the pretty-printer or by hand.
std::wstring withoutIndentation(const std::wstring& text) {
    constexpr wchar_t indentation[] = L"\r\n\t";
    const std::size_t first = text.find_first_not_of(indentation);
    if (first == std::wstring::npos) return {};
    const std::size_t last = text.find_last_not_of(indentation);
    const bool isIndented = text.find_first_of(L"\r\n") < first &&
                            text.find_first_of(L"\r\n", last + 1) != std::wstring::npos;
    return isIndented ? text.substr(first, last - first + 1) : text;
}

ComPtr<IXMLDOMNode> firstAttribute(IXMLDOMNode* element) {
    ComPtr<IXMLDOMNamedNodeMap> attributes;
    Node first;
    check(element->get_attributes(attributes.put()));
    long count = 0;
    if (attributes) check(attributes->get_length(&count));
    if (count > 0) check(attributes->get_item(0, first.put()));
    return first;
}

std::wstring nodeName(IXMLDOMNode* node) {
    Bstr name;
    check(node->get_nodeName(name.put()));
    return std::wstring(name.view());
}

void print(IXMLDOMNode* node, std::size_t depth, std::wstring& out) {
    const std::wstring indentation(depth, L'\t');
    if (isText(node)) {
        out += indentation + withoutIndentation(rawText(node)) + L"\r\n";
        return;
    }
    if (typeOf(node) != NODE_ELEMENT) return;  // comments would read as values

    const std::wstring name = nodeName(node);
    out += indentation + L"<" + name;
    const Node attribute = firstAttribute(node);
    if (attribute && nodeName(attribute.get()) == L"name")
        out += L" name=\"" + rawText(attribute.get()) + L"\"";
    out += L">\r\n";
    bool isEmpty = true;
    forEachChild(node, [&](IXMLDOMNode* child) {
        print(child, depth + 1, out);
        isEmpty = false;
    });
    if (isEmpty) out += indentation + L"\r\n";
    out += indentation + L"</" + name + L">\r\n";
}

}  // namespace

ComPtr<IXMLDOMDocument2> newDocument() {
    ComPtr<IXMLDOMDocument2> document;
    check(CoCreateInstance(freeThreadedDocument, nullptr, CLSCTX_INPROC_SERVER,
                           documentInterface, reinterpret_cast<void**>(document.put())));
    // A settings file needs neither a DTD nor anything from elsewhere.
    check(document->put_async(VARIANT_FALSE));
    check(document->put_validateOnParse(VARIANT_FALSE));
    check(document->put_resolveExternals(VARIANT_FALSE));
    return document;
}

bool isSettingsFile(IXMLDOMDocument2* document) {
    ComPtr<IXMLDOMElement> root;
    check(document->get_documentElement(root.put()));
    if (!root || nodeName(root.get()) != L"sections") return false;
    const Node attribute = firstAttribute(root.get());
    return attribute && lowerCase(rawText(attribute.get())) == L"xml settings file";
}

std::wstring valueOf(IXMLDOMNode* key) {
    std::wstring value;
    forEachChild(key, [&](IXMLDOMNode* child) {
        if (isText(child)) value += rawText(child);
    });
    return withoutIndentation(value);
}

void setValue(IXMLDOMNode* key, const std::wstring& value) {
    check(key->put_text(Bstr(value).get()));
}

std::wstring nameOf(IXMLDOMNode* node) {
    ComPtr<IXMLDOMNamedNodeMap> attributes;
    Node name;
    check(node->get_attributes(attributes.put()));
    if (attributes) check(attributes->getNamedItem(Bstr(L"name").get(), name.put()));
    return name ? rawText(name.get()) : std::wstring();
}

std::wstring prettyPrinted(IXMLDOMDocument2* document) {
    std::wstring text = L"<?xml version=\"1.0\"?>";
    ComPtr<IXMLDOMElement> root;
    check(document->get_documentElement(root.put()));
    if (root) print(root.get(), 0, text);
    return text;
}

std::wstring lowerCase(std::wstring_view text) {
    std::wstring lower(text);
    CharLowerBuffW(lower.data(), static_cast<DWORD>(lower.size()));
    return lower;
}

}  // namespace vtdl::settings
