#pragma once
// Sections of named texts, kept in an XML file.

#include <msxml2.h>
#include <vtdl.h>

#include <string>
#include <vector>

#include "automation/Bstr.h"
#include "automation/ComPtr.h"
#include "automation/Object.h"

namespace vtdl {

/// The published settings store. Every failure is raised to the caller as one of EErrXMLSettings;
/// section and key names are lower-cased, values are kept as they are.
class CXMLSettings final : public automation::Object<CXMLSettings, ::CXMLSettings, _CXMLSettings> {
public:
    CXMLSettings();
    ~CXMLSettings();

    STDMETHODIMP put_FileName(BSTR value) noexcept override;
    STDMETHODIMP get_FileName(BSTR* result) noexcept override;
    STDMETHODIMP put_XMLString(BSTR value) noexcept override;
    STDMETHODIMP get_XMLString(BSTR* result) noexcept override;
    STDMETHODIMP DeleteKey(BSTR section, BSTR key) noexcept override;
    STDMETHODIMP DeleteSection(BSTR* section) noexcept override;
    STDMETHODIMP EnumerateAllKeys(BSTR* section, SAFEARRAY** keys, long* result) noexcept override;
    STDMETHODIMP EnumerateAllSections(SAFEARRAY** sections, long* result) noexcept override;
    STDMETHODIMP GetSetting(BSTR* section, BSTR* key, BSTR* defaultValue,
                            BSTR* result) noexcept override;
    STDMETHODIMP LoadFile() noexcept override;
    STDMETHODIMP SaveFile(BSTR* fileName) noexcept override;
    STDMETHODIMP SaveSetting(BSTR section, BSTR key, BSTR value) noexcept override;

    bool IsLoaded() const noexcept { return m_isLoaded; }
    bool IsDirty() const noexcept { return m_isDirty; }
    /// Takes other users' rights from the store's own file when it is saved.
    void KeepPrivate() noexcept { m_isPrivate = true; }

private:
    using Node = automation::ComPtr<IXMLDOMNode>;

    bool InvokeOwn(DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) override;
    static HRESULT Raising(automation::FunctionRef<void()> body) noexcept;
    static void Guarded(automation::FunctionRef<void()> body);
    void RequireLoaded(const wchar_t* source) const;
    void Load();
    void Save(const std::wstring& fileName, bool isPrivate) const;
    void SaveIfDirty();
    void StoreValue(const std::wstring& section, const std::wstring& key,
                    const std::wstring& value);
    Node FindSection(std::wstring_view section, std::wstring_view key = {}) const;
    Node AppendNamed(IXMLDOMNode* parent, const wchar_t* element, const std::wstring& name) const;
    std::vector<std::wstring> NamesIn(IXMLDOMNode* parent, const wchar_t* query) const;
    std::vector<std::wstring> KeysOf(BSTR* section) const;
    std::vector<std::wstring> Sections() const;

    std::wstring m_fileName;
    automation::ComPtr<IXMLDOMDocument2> m_document;
    bool m_isLoaded = false;
    bool m_isDirty = false;
    /// False for a document that is not a settings file: it is read, but never written over its
    /// file.
    bool m_isRecognised = false;
    bool m_isPrivate = false;
    bool m_isCallerTold = false;  ///< of the failed save that left the store dirty
};

}  // namespace vtdl
