#include "settings/CXMLSettings.h"

#include "automation/ClassTable.h"
#include "automation/Error.h"
#include "automation/SafeArray.h"
#include "errors/MethodFrame.h"
#include "settings/SettingsDocument.h"
#include "settings/SettingsFile.h"

namespace vtdl {
namespace {

using namespace automation;
using settings::LowerCase;

constexpr wchar_t ownSource[] = L"VTDL33.CXMLSettings";
// SaveSetting's source stands for the two enumerations as well, on purpose.
constexpr wchar_t savingSource[] = L"CXMLSettings.SaveSetting";

// A name that cannot be asked for; the number is the document's own answer to such a query.
struct InvalidName : Error {
    InvalidName() : Error(E_FAIL, ownSource, L"A name must not contain an apostrophe") {}
};

Error SettingsError(EErrXMLSettings number, const wchar_t* source = ownSource) {
    const wchar_t* text = L"CXMLSettings component failure";
    switch (number) {
        case eErrXMLSettings_NotInitialized:
            text = L"Object not properly initialized";
            break;
        case eErrXMLSettings_InvalidFileName:
            text = L"Invalid file name";
            break;
        case eErrXMLSettings_InvalidFileFormat:
            text = L"Invalid file format";
            break;
        case eErrXMLSettings_ParserError:
            text = L"XML parser error";
            break;
        case eErrXMLSettings_UnableToSaveFile:
            text = L"Unable to save the file";
            break;
        case eErrXMLSettings_ComponentFailure:
            break;
    }
    return Error(static_cast<HRESULT>(number), source, text);
}

std::wstring TextOf(BSTR* text) { return std::wstring(text ? ViewOf(*text) : std::wstring_view()); }

// Refuses an array that is not the automation runtime's to free, or that is in use.
void ReplaceArray(SAFEARRAY*& array, Variant names) {
    constexpr USHORT notOurs = FADF_AUTO | FADF_STATIC | FADF_EMBEDDED | FADF_FIXEDSIZE;
    if (array && ((array->fFeatures & notOurs) || FAILED(SafeArrayDestroy(array))))
        throw MakeRuntimeError(RuntimeError::typeMismatch, L"the array cannot be resized");
    array = names.release().parray;
}

bool IsBlank(const std::wstring& text) {
    return text.find_first_not_of(L' ') == std::wstring::npos;
}

}  // namespace

// Whatever else fails, the document's own failures included, is the component's failure. A name
// that cannot be asked for, and a lack of memory, keep their own numbers.
void CXMLSettings::Guarded(FunctionRef<void()> body) {
    try {
        body();
    } catch (const InvalidName&) {
        throw;
    } catch (const Error& error) {
        const bool isOwn = error.Code() >= eErrXMLSettings_NotInitialized &&
                           error.Code() <= eErrXMLSettings_ComponentFailure;
        if (isOwn) throw;
        throw SettingsError(eErrXMLSettings_ComponentFailure);
    }
}

HRESULT CXMLSettings::Raising(FunctionRef<void()> body) noexcept {
    return automation::Raising([&] { Guarded(body); });
}

CXMLSettings::CXMLSettings() : m_document(settings::NewDocument()) {}

// The file keeps what it had when this fails; unless a caller has been told, that is reported. A
// store without a file has nothing to save.
CXMLSettings::~CXMLSettings() {
    if (!m_isDirty || !m_isRecognised || IsBlank(m_fileName)) return;
    const auto save = [&] { SaveIfDirty(); };
    if (m_isCallerTold)
        Raising(save);
    else
        Framed<"CXMLSettings", "SaveFile">(save);
}

STDMETHODIMP CXMLSettings::put_FileName(BSTR value) noexcept {
    return Raising([&] {
        if (ViewOf(value).empty()) throw SettingsError(eErrXMLSettings_InvalidFileName);
        m_fileName = ViewOf(value);
    });
}

STDMETHODIMP CXMLSettings::get_FileName(BSTR* result) noexcept {
    if (!result) return NullReference();
    return Raising([&] { *result = Bstr(m_fileName).release(); });
}

STDMETHODIMP CXMLSettings::put_XMLString(BSTR value) noexcept {
    return Raising([&] {
        m_isLoaded = m_isDirty = m_isRecognised = false;
        VARIANT_BOOL parsed = VARIANT_FALSE;
        if (SysStringByteLen(value) > settings::largestDocument ||
            FAILED(m_document->loadXML(Bstr(ViewOf(value)).get(), &parsed)) || !parsed)
            throw SettingsError(eErrXMLSettings_ParserError);
        m_isLoaded = m_isRecognised = true;  // given by the host, not checked further
    });
}

STDMETHODIMP CXMLSettings::get_XMLString(BSTR* result) noexcept {
    if (!result) return NullReference();
    *result = nullptr;
    return Raising([&] { *result = Bstr(settings::PrettyPrinted(m_document.get())).release(); });
}

STDMETHODIMP CXMLSettings::DeleteKey(BSTR section, BSTR key) noexcept {
    return Raising([&] {
        const std::wstring sectionName = LowerCase(ViewOf(section)),
                           keyName = LowerCase(ViewOf(key));
        const Node parent = FindSection(sectionName);
        const Node found = parent && !keyName.empty() ? FindSection(sectionName, keyName) : Node();
        if (!found) return;
        Check(parent->removeChild(found.get(), nullptr));
        m_isDirty = true;
    });
}

STDMETHODIMP CXMLSettings::DeleteSection(BSTR* section) noexcept {
    return Raising([&] {
        const Node found = FindSection(LowerCase(TextOf(section)));
        if (!found) return;
        Node parent;
        Check(found->get_parentNode(parent.put()));
        Check(parent->removeChild(found.get(), nullptr));
        m_isDirty = true;
    });
}

STDMETHODIMP CXMLSettings::EnumerateAllKeys(BSTR* section, SAFEARRAY** keys,
                                            long* result) noexcept {
    if (!keys || !result) return NullReference();
    *result = 0;
    return Raising([&] {
        const std::vector<std::wstring> names = KeysOf(section);
        if (names.empty()) return;
        ReplaceArray(*keys, TextArray(names));
        *result = static_cast<long>(names.size());
    });
}

STDMETHODIMP CXMLSettings::EnumerateAllSections(SAFEARRAY** names, long* result) noexcept {
    if (!names || !result) return NullReference();
    *result = 0;
    return Raising([&] {
        const std::vector<std::wstring> found = Sections();
        if (found.empty()) return;
        ReplaceArray(*names, TextArray(found));
        *result = static_cast<long>(found.size());
    });
}

STDMETHODIMP CXMLSettings::GetSetting(BSTR* section, BSTR* key, BSTR* defaultValue,
                                      BSTR* result) noexcept {
    if (!section || !key || !result) return NullReference();
    *result = nullptr;
    return Raising([&] {
        RequireLoaded(L"CXMLSettings.GetSetting");
        // The caller's variables are left lower-cased.
        for (BSTR* name : {section, key}) {
            Bstr lower(LowerCase(ViewOf(*name)));
            std::swap(*name, *lower.put());
        }
        const Node found =
            ViewOf(*key).empty() ? Node() : FindSection(ViewOf(*section), ViewOf(*key));
        const std::wstring value = found ? settings::ValueOf(found.get()) : std::wstring();
        *result = Bstr(value.empty() ? TextOf(defaultValue) : value).release();
    });
}

STDMETHODIMP CXMLSettings::LoadFile() noexcept {
    return Raising([&] { Load(); });
}

STDMETHODIMP CXMLSettings::SaveFile(BSTR* fileName) noexcept {
    return Raising([&] {
        const std::wstring name = TextOf(fileName);
        if (!IsBlank(name)) return Save(name, false);
        m_isCallerTold = true;
        SaveIfDirty();
        m_isCallerTold = false;
    });
}

STDMETHODIMP CXMLSettings::SaveSetting(BSTR section, BSTR key, BSTR value) noexcept {
    return Raising([&] {
        RequireLoaded(savingSource);
        StoreValue(LowerCase(ViewOf(section)), LowerCase(ViewOf(key)), std::wstring(ViewOf(value)));
    });
}

// Script variables are variants: an array of variants is what a script can index.
bool CXMLSettings::InvokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) {
    constexpr DISPID enumerateAllKeys = 5, enumerateAllSections = 6;
    const bool isKeys = member == enumerateAllKeys && parameters.cArgs == 2;
    const bool isSections = member == enumerateAllSections && parameters.cArgs == 1;
    if (!(flags & DISPATCH_METHOD) || !(isKeys || isSections)) return false;
    const VARIANT& target = parameters.rgvarg[0];
    if (target.vt != (VT_BYREF | VT_VARIANT)) return false;

    Guarded([&] {
        Bstr section = isKeys ? ToText(parameters.rgvarg[1]) : Bstr();
        const std::vector<std::wstring> names = isKeys ? KeysOf(section.put()) : Sections();
        if (!names.empty()) {
            Variant filled = VariantArray(names);
            Check(VariantClear(target.pvarVal));
            *target.pvarVal = filled.release();
        }
        if (result) *result = Variant::Long(static_cast<long>(names.size())).release();
    });
    return true;
}

void CXMLSettings::RequireLoaded(const wchar_t* source) const {
    if (!m_isLoaded) throw SettingsError(eErrXMLSettings_NotInitialized, source);
}

void CXMLSettings::Load() {
    if (m_fileName.empty()) throw SettingsError(eErrXMLSettings_NotInitialized);
    const std::uint64_t size = settings::SizeOfFile(m_fileName).value_or(0);
    if (size == 0 && !settings::WriteNewFile(m_fileName, settings::emptyFile))
        throw SettingsError(eErrXMLSettings_UnableToSaveFile);

    Check(m_document->put_async(VARIANT_FALSE));
    const auto bytes =
        size > settings::largestDocument ? std::nullopt : settings::ReadWholeFile(m_fileName);
    if (!settings::Load(m_document.get(), bytes.value_or(""))) {
        // The parser has emptied the document, or it is another file's: nothing may be saved.
        m_isLoaded = m_isDirty = m_isRecognised = false;
        throw SettingsError(eErrXMLSettings_ParserError);
    }
    m_isLoaded = true;
    m_isRecognised = settings::IsSettingsFile(m_document.get());
    if (!m_isRecognised) throw SettingsError(eErrXMLSettings_InvalidFileFormat);
}

// What users may do with a host's file stays; the library's own may hold a password.
void CXMLSettings::Save(const std::wstring& fileName, bool isPrivate) const {
    if (!settings::ReplaceWholeFile(fileName, settings::Saved(m_document.get()), isPrivate))
        throw SettingsError(eErrXMLSettings_UnableToSaveFile);
}

void CXMLSettings::SaveIfDirty() {
    if (!m_isDirty || !m_isLoaded) return;
    if (IsBlank(m_fileName)) throw SettingsError(eErrXMLSettings_InvalidFileName);
    if (!m_isRecognised) throw SettingsError(eErrXMLSettings_InvalidFileFormat);
    Save(m_fileName, m_isPrivate);
    m_isDirty = false;
}

// An empty value never overwrites an existing one, on purpose; it only creates a key.
void CXMLSettings::StoreValue(const std::wstring& section, const std::wstring& key,
                              const std::wstring& value) {
    if (section.empty()) return;
    Node sectionNode = FindSection(section);
    if (!sectionNode) {
        ComPtr<IXMLDOMElement> root;
        Check(m_document->get_documentElement(root.put()));
        if (root) AppendNamed(root.get(), L"section", section);
        sectionNode = FindSection(section);
    }
    if (!sectionNode || key.empty()) return;

    Node keyNode = FindSection(section, key);
    if (!keyNode) {
        keyNode = AppendNamed(sectionNode.get(), L"key", key);
    } else if (value.empty() || settings::ValueOf(keyNode.get()) == value) {
        return;
    }
    settings::SetValue(keyNode.get(), value);
    m_isDirty = true;
}

CXMLSettings::Node CXMLSettings::FindSection(std::wstring_view section,
                                             std::wstring_view key) const {
    // It would end the name inside the query, and could make it find something else.
    if (section.find(L'\'') != section.npos || key.find(L'\'') != key.npos) throw InvalidName();
    std::wstring query = L"sections/section[@name='";
    query.append(section).append(L"']");
    if (!key.empty()) query.append(L"/key[@name='").append(key).append(L"']");
    Node found;
    Check(m_document->selectSingleNode(Bstr(query).get(), found.put()));
    return found;
}

CXMLSettings::Node CXMLSettings::AppendNamed(IXMLDOMNode* parent, const wchar_t* element,
                                             const std::wstring& name) const {
    ComPtr<IXMLDOMElement> created;
    Node appended;
    Check(m_document->createElement(Bstr(element).get(), created.put()));
    Check(created->setAttribute(Bstr(L"name").get(), Variant(std::wstring_view(name)).get()));
    Check(parent->appendChild(created.get(), appended.put()));
    return appended;
}

std::vector<std::wstring> CXMLSettings::NamesIn(IXMLDOMNode* parent, const wchar_t* query) const {
    ComPtr<IXMLDOMNodeList> nodes;
    Check(parent->selectNodes(Bstr(query).get(), nodes.put()));
    std::vector<std::wstring> names;
    Node node;
    while (nodes->nextNode(node.put()) == S_OK) names.push_back(settings::NameOf(node.get()));
    return names;
}

std::vector<std::wstring> CXMLSettings::KeysOf(BSTR* section) const {
    RequireLoaded(savingSource);
    const Node found = FindSection(LowerCase(TextOf(section)));
    return found ? NamesIn(found.get(), L"key") : std::vector<std::wstring>();
}

std::vector<std::wstring> CXMLSettings::Sections() const {
    RequireLoaded(savingSource);
    return NamesIn(m_document.get(), L"sections/section");
}

VTDL_CREATABLE(CXMLSettings)

}  // namespace vtdl
