#pragma once
// What all data sources of services share: the data-source contract but for the download itself.

#include <vtdl.h>

#include <span>
#include <string_view>

#include "automation/ClassTable.h"
#include "objectmodel/CData.h"
#include "objectmodel/CParameters.h"
#include "settings/SharedSettings.h"
#include "sources/Download.h"

namespace vtdl {

/// What an adapter is, in constants.
struct SourceIdentity {
    std::wstring_view name;
    std::wstring_view description;
    long priceDataType;  ///< bits of vtdlPriceDataType
    // The adapter's own parameters.
    std::wstring_view nameParameter;
    std::wstring_view descriptionParameter;
    std::wstring_view dataServer;
    std::span<const replies::ColumnSpec> columns{};
    GUID sessionClass = __uuidof(::CSession);
    std::wstring_view settingsName = name;  ///< of its section in the settings file
};

/// One whose parameters repeat its description, and which announces no columns.
constexpr SourceIdentity PlainIdentity(std::wstring_view name, std::wstring_view description,
                                       std::wstring_view dataServer, long priceDataType) {
    return {.name = name,
            .description = description,
            .priceDataType = priceDataType,
            .nameParameter = description,
            .descriptionParameter = description,
            .dataServer = dataServer};
}

/// Base of an adapter D, which brings: className, identity, SessionParameters() and Download(),
/// which runs in m_download; OwnParameters() when it has more than the fixed ones, PageError() and
/// FormFault() when its replies are judged by other rules (ReplyRules). Its default IDispatch also
/// answers the names of the data-source contract.
template <class D, class Coclass, class Default>
class SourceAdapter : public FramedObject<D, Coclass, Default, _CDataSource> {
public:
    STDMETHODIMP get_PriceDataType(vtdlPriceDataType* result) noexcept override {
        return this->template FramedResult<"CDataSource_PriceDataType">(
            result, [&] { *result = static_cast<vtdlPriceDataType>(D::identity.priceDataType); });
    }

    STDMETHODIMP get_DataFields(_CDataFields** result) noexcept override {
        return this->template FramedResult<"CDataSource_DataFields">(
            result, [&] { *result = AnnouncedColumns(D::identity.columns).detach(); });
    }

    STDMETHODIMP get_Description(BSTR* result) noexcept override {
        return this->template FramedResult<"CDataSource_Description">(
            result, [&] { *result = automation::Bstr(D::identity.description).release(); });
    }

    STDMETHODIMP get_Name(BSTR* result) noexcept override {
        return this->template FramedResult<"CDataSource_Name">(
            result, [&] { *result = automation::Bstr(D::identity.name).release(); });
    }

    STDMETHODIMP get_Parameters(_CParameters** result) noexcept override {
        return this->template FramedResult<"CDataSource_Parameters">(
            result, [&] { *result = m_parameters.AddRefed(); });
    }

    /// Search is not offered by any service.
    STDMETHODIMP Search(_CParameters**, BSTR* result) noexcept override {
        if (result) *result = nullptr;
        return this->template Untrapped<"CDataSource_Search">([](const wchar_t* routine) {
            throw automation::Error(E_NOTIMPL, routine, L"Search is not implemented");
        });
    }

    STDMETHODIMP CreateSession(_CSession** result) noexcept override {
        return this->template FramedResult<"CDataSource_CreateSession">(result, [&] {
            const auto session = automation::CreateInstance<_CSession>(D::identity.sessionClass);
            automation::ComPtr<_CParameters> parameters;
            automation::Check(session->putref_DataSource(this));
            automation::Check(session->get_Parameters(parameters.put()));
            for (const ParameterDeclaration& declaration : D::SessionParameters())
                DeclareParameter(parameters.get(), declaration);
            *result = session.AddRefed();
        });
    }

    STDMETHODIMP Abort() noexcept override {
        return this->template Framed<"CDataSource_Abort">([&] { m_download.Abort(); });
    }

    /// A new instance: it holds the values last saved, not the current ones of this one.
    STDMETHODIMP Clone(_CDataSource** result) noexcept override {
        return this->template FramedResult<"CDataSource_Clone">(
            result, [&] { *result = automation::Make<D>().detach(); });
    }

protected:
    SourceAdapter() {
        this->template Framed<"Class_Initialize">([&](MethodFrame& frame) {
            frame.Step([&] { DeclareIdentity(); });
            frame.Step([&] { LoadSharedSettingsOnce(*m_settings); });
            if (!m_settings->IsLoaded()) return;  // reported already; the declared values stay
            frame.Step([&] {
                automation::ComPtr<_CXMLSettings> settings(m_settings.get());
                automation::Bstr section = SettingsSection();
                automation::Check(m_parameters->LoadValues(settings.InOut(), section.put()));
            });
        });
    }

    ~SourceAdapter() {
        this->template Framed<"Class_Terminate">([&] {
            if (!m_settings->IsLoaded()) return;
            automation::ComPtr<_CXMLSettings> settings(m_settings.get());
            automation::Bstr section = SettingsSection();
            automation::Check(m_parameters->SaveValues(settings.InOut(), section.put()));
        });
    }

    std::shared_ptr<CXMLSettings> m_settings = SharedSettings();
    automation::ComPtr<CParameters> m_parameters = automation::Make<CParameters>();
    Download m_download{*this, *m_settings, D::identity.name, downloadRoutines<D::className>,
                        Rules()};

private:
    IDispatch* AlsoAnswers() override { return static_cast<_CDataSource*>(this); }

    static automation::Bstr SettingsSection() {
        return automation::Bstr(std::wstring(D::identity.settingsName).append(L"/PARAMETERS"));
    }

    static ReplyRules Rules() {
        ReplyRules rules;
        if constexpr (requires { D::PageError; }) rules.pageError = D::PageError;
        if constexpr (requires { D::FormFault; }) rules.formFault = D::FormFault;
        return rules;
    }

    void DeclareIdentity() {
        const std::pair<std::wstring_view, std::wstring_view> fixed[] = {
            {L"NAME", D::identity.nameParameter},
            {L"DESCRIPTION", D::identity.descriptionParameter},
            {L"DATASERVER", D::identity.dataServer},
        };
        for (const auto& [name, value] : fixed)
            DeclareParameter(m_parameters.get(), {.name = name,
                                                  .type = vtdlParameterTypeString,
                                                  .value = automation::Variant(value),
                                                  .isEditable = false});
        if constexpr (requires { D::OwnParameters(); })
            for (const ParameterDeclaration& declaration : D::OwnParameters())
                DeclareParameter(m_parameters.get(), declaration);
    }
};

}  // namespace vtdl
