#include "settings/SettingsDocument.h"

#include <vector>

#include "automation/Error.h"
#include "automation/Variant.h"

namespace vtdl::settings {
namespace {

using automation::Bstr;
using automation::Check;
using automation::ComPtr;
using Node = ComPtr<IXMLDOMNode>;

constexpr CLSID freeThreadedDocument = {
    0xF6D90F12, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}};
// IXMLDOMDocument2; the compiler's header does not tie the identifier to the interface.
constexpr IID documentInterface = {
    0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

std::wstring RawText(IXMLDOMNode* node) {
    automation::Variant value;
    Check(node->get_nodeValue(value.put()));
    const bool isText = value.get().vt == VT_BSTR;
    return std::wstring(automation::ViewOf(isText ? value.get().bstrVal : nullptr));
}

DOMNodeType TypeOf(IXMLDOMNode* node) {
    DOMNodeType type = NODE_INVALID;
    Check(node->get_nodeType(&type));
    return type;
}

bool IsText(IXMLDOMNode* node) {
    const DOMNodeType type = TypeOf(node);
    return type == NODE_TEXT || type == NODE_CDATA_SECTION;
}

template <class Visit>
void ForEachChild(IXMLDOMNode* parent, Visit&& visit) {
    Node child;
    Check(parent->get_firstChild(child.put()));
    while (child) {
        visit(child.get());
        Node next;
        Check(child->get_nextSibling(next.put()));
        child = next;
    }
}

// A key's text without what the pretty-printer put around it: the line break and the tabs of a line
// of its own, and those of the closing tag. All else is value. The parser has made line breaks
// uniform.
std::wstring WithoutIndentation(const std::wstring& text, std::size_t depth) {
    const std::wstring behind = L"\n" + std::wstring(depth, L'\t'), before = behind + L"\t";
    if (text == behind + behind) return {};
    const std::size_t around = before.size() + behind.size();
    const bool isPrinted =
        text.size() >= around && text.starts_with(before) && text.ends_with(behind);
    return isPrinted ? text.substr(before.size(), text.size() - around) : text;
}

std::wstring TextOf(IXMLDOMNode* element) {
    std::wstring text;
    ForEachChild(element, [&](IXMLDOMNode* child) {
        if (IsText(child)) text += RawText(child);
    });
    return text;
}

bool IsBlank(const std::wstring& text) {
    return text.find_first_not_of(L" \r\n\t") == std::wstring::npos;
}

ComPtr<IXMLDOMNode> FirstAttribute(IXMLDOMNode* element) {
    ComPtr<IXMLDOMNamedNodeMap> attributes;
    Node first;
    Check(element->get_attributes(attributes.put()));
    long count = 0;
    if (attributes) Check(attributes->get_length(&count));
    if (count > 0) Check(attributes->get_item(0, first.put()));
    return first;
}

std::wstring NodeName(IXMLDOMNode* node) {
    Bstr name;
    Check(node->get_nodeName(name.put()));
    return std::wstring(name.view());
}

void Print(IXMLDOMNode* node, std::size_t depth, std::wstring& out) {
    const std::wstring indentation(depth, L'\t');
    if (TypeOf(node) != NODE_ELEMENT) return;  // comments would read as values
    const std::wstring name = NodeName(node);
    out += indentation + L"<" + name;
    const Node attribute = FirstAttribute(node);
    if (attribute && NodeName(attribute.get()) == L"name")
        out += L" name=\"" + RawText(attribute.get()) + L"\"";
    out += L">\r\n";
    const std::size_t start = out.size();
    // Blanks are a value in a key; between elements they are indentation.
    const std::wstring text = TextOf(node);
    const std::wstring value = name == L"key"  ? WithoutIndentation(text, depth)
                               : IsBlank(text) ? std::wstring()
                                               : text;
    if (!value.empty()) out += indentation + L"\t" + value + L"\r\n";
    ForEachChild(node, [&](IXMLDOMNode* child) { Print(child, depth + 1, out); });
    if (out.size() == start) out += indentation + L"\r\n";
    out += indentation + L"</" + name + L">\r\n";
}

}  // namespace

ComPtr<IXMLDOMDocument2> NewDocument() {
    ComPtr<IXMLDOMDocument2> document;
    Check(CoCreateInstance(freeThreadedDocument, nullptr, CLSCTX_INPROC_SERVER, documentInterface,
                           reinterpret_cast<void**>(document.put())));
    // A settings file needs neither a DTD nor anything from elsewhere.
    Check(document->put_async(VARIANT_FALSE));
    Check(document->put_validateOnParse(VARIANT_FALSE));
    Check(document->put_resolveExternals(VARIANT_FALSE));
    // Not every parser knows that a DTD can be refused.
    const automation::Variant prohibited = automation::Variant::Bool(true);
    document->setProperty(Bstr(L"ProhibitDTD").get(), prohibited.get());
    // Nor depth, which the oldest parser does not limit, and whoever walks a document recurses.
    const automation::Variant depth = automation::Variant::Long(256);
    document->setProperty(Bstr(L"MaxElementDepth").get(), depth.get());
    // Values may be blank; and Wine drops the blank start of a text that has letters of others.
    Check(document->put_preserveWhiteSpace(VARIANT_TRUE));
    // Wine 8 crashes on a faulty query in the older language, which is the default.
    const automation::Variant language{std::wstring_view(L"XPath")};
    Check(document->setProperty(Bstr(L"SelectionLanguage").get(), language.get()));
    return document;
}

bool IsSettingsFile(IXMLDOMDocument2* document) {
    ComPtr<IXMLDOMElement> root;
    Check(document->get_documentElement(root.put()));
    if (!root || NodeName(root.get()) != L"sections") return false;
    const Node attribute = FirstAttribute(root.get());
    return attribute && LowerCase(RawText(attribute.get())) == L"xml settings file";
}

std::wstring ValueOf(IXMLDOMNode* key) {
    constexpr std::size_t depth = 2;  // below a section below the root
    return WithoutIndentation(TextOf(key), depth);
}

void SetValue(IXMLDOMNode* key, const std::wstring& value) {
    Check(key->put_text(Bstr(value).get()));
}

std::wstring NameOf(IXMLDOMNode* node) {
    ComPtr<IXMLDOMNamedNodeMap> attributes;
    Node name;
    Check(node->get_attributes(attributes.put()));
    if (attributes) Check(attributes->getNamedItem(Bstr(L"name").get(), name.put()));
    return name ? RawText(name.get()) : std::wstring();
}

std::wstring PrettyPrinted(IXMLDOMDocument2* document) {
    std::wstring text = L"<?xml version=\"1.0\"?>";
    ComPtr<IXMLDOMElement> root;
    Check(document->get_documentElement(root.put()));
    if (root) Print(root.get(), 0, text);
    return text;
}

bool Load(IXMLDOMDocument2* document, std::string_view bytes) {
    ComPtr<IStream> stream;
    Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.put()));
    Check(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr));
    Check(stream->Seek({}, STREAM_SEEK_SET, nullptr));
    VARIANT source;
    source.vt = VT_UNKNOWN;
    source.punkVal = stream.get();
    VARIANT_BOOL isLoaded = VARIANT_FALSE;
    return SUCCEEDED(document->load(source, &isLoaded)) && isLoaded;
}

std::string Saved(IXMLDOMDocument2* document) {
    ComPtr<IStream> stream;
    Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.put()));
    VARIANT target;
    target.vt = VT_UNKNOWN;
    target.punkVal = stream.get();
    Check(document->save(target));
    STATSTG state{};
    Check(stream->Stat(&state, STATFLAG_NONAME));
    Check(stream->Seek({}, STREAM_SEEK_SET, nullptr));
    std::string bytes(static_cast<std::size_t>(state.cbSize.QuadPart), '\0');
    ULONG count = 0;
    Check(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &count));
    bytes.resize(count);
    return bytes;
}

std::wstring LowerCase(std::wstring_view text) {
    std::wstring lower(text);
    CharLowerBuffW(lower.data(), static_cast<DWORD>(lower.size()));
    return lower;
}

}  // namespace vtdl::settings
