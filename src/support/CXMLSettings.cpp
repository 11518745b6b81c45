#include "support/CXMLSettings.h"

#include "automation/Error.h"
#include "automation/SafeArray.h"
#include "automation/UniqueHandle.h"
#include "support/SettingsDocument.h"

namespace vtdl {
namespace {

using namespace automation;
using settings::lowerCase;

constexpr wchar_t ownSource[] = L"VTDL33.CXMLSettings";
// SaveSetting's source stands for the two enumerations as well, on purpose.
constexpr wchar_t savingSource[] = L"CXMLSettings.SaveSetting";

Error settingsError(EErrXMLSettings number, const wchar_t* source = ownSource) {
    const wchar_t* text = L"CXMLSettings component failure";
    switch (number) {
        case eErrXMLSettings_NotInitialized: text = L"Object not properly initialized"; break;
        case eErrXMLSettings_InvalidFileName: text = L"Invalid file name"; break;
        case eErrXMLSettings_InvalidFileFormat: text = L"Invalid file format"; break;
        case eErrXMLSettings_ParserError: text = L"XML parser error"; break;
        case eErrXMLSettings_UnableToSaveFile: text = L"Unable to save the file"; break;
        case eErrXMLSettings_ComponentFailure: break;
    }
    return Error(static_cast<HRESULT>(number), source, text);
}

std::wstring textOf(BSTR* text) { return std::wstring(text ? viewOf(*text) : std::wstring_view()); }

bool isBlank(const std::wstring& text) { return text.find_first_not_of(L' ') == std::wstring::npos; }

// The size of a file, or nothing when there is none.
std::optional<std::uint64_t> sizeOfFile(const std::wstring& fileName) {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(fileName.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return std::nullopt;
    if (!FindClose(search)) throw settingsError(eErrXMLSettings_ComponentFailure);
    return (static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
}

void writeEmptyFile(const std::wstring& fileName) {
    const FileHandle file(CreateFileW(fileName.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!file || !WriteFile(file.get(), settings::emptyFile, sizeof settings::emptyFile - 1, &written,
                            nullptr))
        throw settingsError(eErrXMLSettings_UnableToSaveFile);
}

}  // namespace

CXMLSettings::CXMLSettings() : m_document(settings::newDocument()) {}

CXMLSettings::~CXMLSettings() {
    try {
        saveIfDirty();
    } catch (...) {
        return;  // nobody is left to be told; the file keeps what it had
    }
}

STDMETHODIMP CXMLSettings::put_FileName(BSTR value) noexcept {
    return raising([&] {
        if (viewOf(value).empty()) throw settingsError(eErrXMLSettings_InvalidFileName);
        m_fileName = viewOf(value);
    });
}

STDMETHODIMP CXMLSettings::get_FileName(BSTR* result) noexcept {
    if (!result) return E_POINTER;
    return raising([&] { *result = Bstr(m_fileName).release(); });
}

STDMETHODIMP CXMLSettings::put_XMLString(BSTR value) noexcept {
    return raising([&] {
        m_isLoaded = m_isDirty = m_isRecognised = false;
        VARIANT_BOOL parsed = VARIANT_FALSE;
        if (FAILED(m_document->loadXML(Bstr(viewOf(value)).get(), &parsed)) || !parsed)
            throw settingsError(eErrXMLSettings_ParserError);
        m_isLoaded = m_isRecognised = true;  // given by the host, not checked further
    });
}

STDMETHODIMP CXMLSettings::get_XMLString(BSTR* result) noexcept {
    if (!result) return E_POINTER;
    *result = nullptr;
    return raising([&] { *result = Bstr(settings::prettyPrinted(m_document.get())).release(); });
}

STDMETHODIMP CXMLSettings::DeleteKey(BSTR section, BSTR key) noexcept {
    return raising([&] {
        const std::wstring sectionName = lowerCase(viewOf(section)), keyName = lowerCase(viewOf(key));
        const Node parent = findSection(sectionName);
        const Node found = parent && !keyName.empty() ? findSection(sectionName, keyName) : Node();
        if (!found) return;
        check(parent->removeChild(found.get(), nullptr));
        m_isDirty = true;
    });
}

STDMETHODIMP CXMLSettings::DeleteSection(BSTR* section) noexcept {
    return raising([&] {
        const Node found = findSection(lowerCase(textOf(section)));
        if (!found) return;
        Node parent;
        check(found->get_parentNode(parent.put()));
        check(parent->removeChild(found.get(), nullptr));
        m_isDirty = true;
    });
}

STDMETHODIMP CXMLSettings::EnumerateAllKeys(BSTR* section, SAFEARRAY** keys, long* result) noexcept {
    if (!keys || !result) return E_POINTER;
    *result = 0;
    return raising([&] {
        const std::vector<std::wstring> names = keysOf(section);
        if (names.empty()) return;
        SafeArrayDestroy(*keys);
        *keys = textArray(names).release().parray;
        *result = static_cast<long>(names.size());
    });
}

STDMETHODIMP CXMLSettings::EnumerateAllSections(SAFEARRAY** names, long* result) noexcept {
    if (!names || !result) return E_POINTER;
    *result = 0;
    return raising([&] {
        const std::vector<std::wstring> found = sections();
        if (found.empty()) return;
        SafeArrayDestroy(*names);
        *names = textArray(found).release().parray;
        *result = static_cast<long>(found.size());
    });
}

STDMETHODIMP CXMLSettings::GetSetting(BSTR* section, BSTR* key, BSTR* defaultValue,
                                      BSTR* result) noexcept {
    if (!section || !key || !result) return E_POINTER;
    *result = nullptr;
    return raising([&] {
        requireLoaded(L"CXMLSettings.GetSetting");
        // The caller's variables are left lower-cased.
        for (BSTR* name : {section, key}) {
            Bstr lower(lowerCase(viewOf(*name)));
            std::swap(*name, *lower.put());
        }
        const Node found = viewOf(*key).empty() ? Node() : findSection(viewOf(*section), viewOf(*key));
        const std::wstring value = found ? settings::valueOf(found.get()) : std::wstring();
        *result = Bstr(value.empty() ? textOf(defaultValue) : value).release();
    });
}

STDMETHODIMP CXMLSettings::LoadFile() noexcept {
    return raising([&] { load(); });
}

STDMETHODIMP CXMLSettings::SaveFile(BSTR* fileName) noexcept {
    return raising([&] {
        const std::wstring name = textOf(fileName);
        if (isBlank(name))
            saveIfDirty();
        else
            save(name);
    });
}

STDMETHODIMP CXMLSettings::SaveSetting(BSTR section, BSTR key, BSTR value) noexcept {
    return raising([&] {
        requireLoaded(savingSource);
        saveSetting(lowerCase(viewOf(section)), lowerCase(viewOf(key)), std::wstring(viewOf(value)));
    });
}

// Script variables are variants: an array of variants is what a script can index.
std::optional<HRESULT> CXMLSettings::invokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters,
                                               VARIANT* result) {
    constexpr DISPID enumerateAllKeys = 5, enumerateAllSections = 6;
    const bool isKeys = member == enumerateAllKeys && parameters.cArgs == 2;
    const bool isSections = member == enumerateAllSections && parameters.cArgs == 1;
    if (!(flags & DISPATCH_METHOD) || !(isKeys || isSections)) return {};
    const VARIANT& target = parameters.rgvarg[0];  // arguments stand in reverse order
    if (target.vt != (VT_BYREF | VT_VARIANT)) return {};

    return raising([&] {
        Bstr section = isKeys ? toText(parameters.rgvarg[1]) : Bstr();
        const std::vector<std::wstring> names = isKeys ? keysOf(section.put()) : sections();
        if (!names.empty()) {
            Variant filled = variantArray(names);
            check(VariantClear(target.pvarVal));
            *target.pvarVal = filled.release();
        }
        if (!result) return;
        result->vt = VT_I4;
        result->lVal = static_cast<long>(names.size());
    });
}

void CXMLSettings::requireLoaded(const wchar_t* source) const {
    if (!m_isLoaded) throw settingsError(eErrXMLSettings_NotInitialized, source);
}

void CXMLSettings::load() {
    if (m_fileName.empty()) throw settingsError(eErrXMLSettings_NotInitialized);
    if (sizeOfFile(m_fileName).value_or(0) == 0) writeEmptyFile(m_fileName);

    VARIANT_BOOL parsed = VARIANT_FALSE;
    const Variant name{std::wstring_view(m_fileName)};
    check(m_document->put_async(VARIANT_FALSE));
    if (FAILED(m_document->load(name.get(), &parsed)) || !parsed) {
        // The parser has emptied the document: nothing is left that could be saved.
        m_isLoaded = m_isDirty = m_isRecognised = false;
        throw settingsError(eErrXMLSettings_ParserError);
    }
    m_isLoaded = true;
    m_isRecognised = settings::isSettingsFile(m_document.get());
    if (!m_isRecognised) throw settingsError(eErrXMLSettings_InvalidFileFormat);
}

// Writes beside the file and then replaces it in one step: whoever ends the process meanwhile leaves
// the old file or the new one.
void CXMLSettings::save(const std::wstring& fileName) {
    const std::wstring temporary = fileName + L"." + std::to_wstring(GetCurrentProcessId()) + L".tmp";
    const Variant name{std::wstring_view(temporary)};
    const bool replaced =
        SUCCEEDED(m_document->save(name.get())) &&
        MoveFileExW(temporary.c_str(), fileName.c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    if (replaced) return;
    DeleteFileW(temporary.c_str());
    throw settingsError(eErrXMLSettings_UnableToSaveFile);
}

void CXMLSettings::saveIfDirty() {
    if (!m_isDirty || !m_isLoaded) return;
    if (isBlank(m_fileName)) throw settingsError(eErrXMLSettings_InvalidFileName);
    if (!m_isRecognised) throw settingsError(eErrXMLSettings_InvalidFileFormat);
    save(m_fileName);
    m_isDirty = false;
}

// An empty value never overwrites an existing one, on purpose; it only creates a key.
void CXMLSettings::saveSetting(std::wstring section, std::wstring key, const std::wstring& value) {
    if (section.empty()) return;
    Node sectionNode = findSection(section);
    if (!sectionNode) {
        ComPtr<IXMLDOMElement> root;
        check(m_document->get_documentElement(root.put()));
        if (root) appendNamed(root.get(), L"section", section);
        sectionNode = findSection(section);
    }
    if (!sectionNode || key.empty()) return;

    Node keyNode = findSection(section, key);
    if (!keyNode) {
        keyNode = appendNamed(sectionNode.get(), L"key", key);
    } else if (value.empty() || settings::valueOf(keyNode.get()) == value) {
        return;
    }
    settings::setValue(keyNode.get(), value);
    m_isDirty = true;
}

CXMLSettings::Node CXMLSettings::findSection(std::wstring_view section, std::wstring_view key) const {
    std::wstring query = L"sections/section[@name='";
    query.append(section).append(L"']");
    if (!key.empty()) query.append(L"/key[@name='").append(key).append(L"']");
    Node found;
    check(m_document->selectSingleNode(Bstr(query).get(), found.put()));
    return found;
}

CXMLSettings::Node CXMLSettings::appendNamed(IXMLDOMNode* parent, const wchar_t* element,
                                             const std::wstring& name) const {
    ComPtr<IXMLDOMElement> created;
    Node appended;
    check(m_document->createElement(Bstr(element).get(), created.put()));
    check(created->setAttribute(Bstr(L"name").get(), Variant(std::wstring_view(name)).get()));
    check(parent->appendChild(created.get(), appended.put()));
    return appended;
}

std::vector<std::wstring> CXMLSettings::namesIn(IXMLDOMNode* parent, const wchar_t* query) const {
    ComPtr<IXMLDOMNodeList> nodes;
    check(parent->selectNodes(Bstr(query).get(), nodes.put()));
    std::vector<std::wstring> names;
    Node node;
    while (nodes->nextNode(node.put()) == S_OK) names.push_back(settings::nameOf(node.get()));
    return names;
}

std::vector<std::wstring> CXMLSettings::keysOf(BSTR* section) const {
    requireLoaded(savingSource);
    const Node found = findSection(lowerCase(textOf(section)));
    return found ? namesIn(found.get(), L"key") : std::vector<std::wstring>();
}

std::vector<std::wstring> CXMLSettings::sections() const {
    requireLoaded(savingSource);
    return namesIn(m_document.get(), L"sections/section");
}

}  // namespace vtdl
