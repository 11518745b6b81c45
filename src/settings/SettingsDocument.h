#pragma once
// The settings file's XML: what its nodes mean, apart from the store's rules.

#include <msxml2.h>

#include <string>

#include "automation/Bstr.h"
#include "automation/ComPtr.h"

namespace vtdl::settings {

/// The text of a new, empty settings file.
inline constexpr char emptyFile[] =
    "<?xml version=\"1.0\"?>\r\n<sections name=\"XML settings file\">\r\n</sections>\r\n";

/// In bytes; half a minute of parsing would hang the host.
inline constexpr std::size_t largestDocument = 16 << 20;

automation::ComPtr<IXMLDOMDocument2> NewDocument();

/// True for a root named "sections" whose first attribute, whatever its name, has the expected
/// value.
bool IsSettingsFile(IXMLDOMDocument2* document);

/// The value of a key: its text, without the line breaks and tabs that the pretty-printer put
/// around; those of the value itself stay.
std::wstring ValueOf(IXMLDOMNode* key);
void SetValue(IXMLDOMNode* key, const std::wstring& value);

std::wstring NameOf(IXMLDOMNode* node);

/// True when the bytes are a document, which it is then; else it is empty.
bool Load(IXMLDOMDocument2* document, std::string_view bytes);

/// What the document's own save operation writes.
std::string Saved(IXMLDOMDocument2* document);

/// The document as indented text. Markup characters stand as they are, on purpose.
std::wstring PrettyPrinted(IXMLDOMDocument2* document);

std::wstring LowerCase(std::wstring_view text);

}  // namespace vtdl::settings
