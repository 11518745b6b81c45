#include "Library.h"

#include "Failure.h"
#include "Names.h"
#include "Services.h"

namespace vtdl::host {
namespace {

constexpr const char* notRegistered =
    "the Vestora Download Library is not registered on this machine\n"
    "Register it for all users, as administrator:\n"
    "  regsvr32 VTDL33.dll\n"
    "or for yourself, without administrator rights:\n"
    "  regsvr32 /n /i:user VTDL33.dll";

ParameterType TypeOf(vtdlParameterType type) {
    switch (type) {
        case vtdlParameterTypeNumber:
            return ParameterType::number;
        case vtdlParameterTypeList:
            return ParameterType::list;
        case vtdlParameterTypeDate:
            return ParameterType::date;
        case vtdlParameterTypeBool:
            return ParameterType::truth;
        case vtdlParameterTypeDataFields:
            return ParameterType::block;
        default:
            return ParameterType::text;
    }
}

}  // namespace

Apartment::Apartment() { Check(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "starting COM"); }

Library::Library() {
    const HRESULT hr =
        CoCreateInstance(__uuidof(CManager), nullptr, CLSCTX_INPROC_SERVER, __uuidof(_CManager),
                         reinterpret_cast<void**>(m_manager.put()));
    if (hr == REGDB_E_CLASSNOTREG) throw Failure(notRegistered);
    Check(hr, "loading the library");
}

std::vector<ComPtr<_CDataSource>> Library::Sources() const {
    ComPtr<_CDataSources> sources;
    Check(m_manager->get_DataSources(sources.put()), "listing the data sources");
    std::vector<ComPtr<_CDataSource>> all = ItemsOf<_CDataSource>(sources.get());
    // This one is not in the manager's list: a host that has an account with it makes it itself.
    ComPtr<_CDataSource> account;
    Check(CoCreateInstance(__uuidof(CDataSourcePCQuote), nullptr, CLSCTX_INPROC_SERVER,
                           __uuidof(_CDataSource), reinterpret_cast<void**>(account.put())),
          "making PCQUOTE");
    all.push_back(account);
    return all;
}

ComPtr<_CDataSource> Library::Source(const std::string& name) const {
    std::vector<std::string> known;
    for (const auto& source : Sources()) {
        known.push_back(TextOf(source.get(), &_CDataSource::get_Name));
        if (SameName(known.back(), name)) return source;
    }
    throw UsageError("there is no source " + name + Suggestion(name, known) + "\nThe sources are " +
                     Joined(known));
}

Session::Session(_CDataSource* source, std::string sourceName)
    : m_sourceName(std::move(sourceName)) {
    Check(source->CreateSession(m_session.put()), m_sourceName);
    if (!m_session) throw Failure(m_sourceName + ": the library made no session");
    ComPtr<_CParameters> parameters;
    Check(m_session->get_Parameters(parameters.put()), m_sourceName);
    m_parameters = ItemsOf<_CParameter>(parameters.get());
}

std::string Session::ValueOf(std::string_view name) const {
    for (const auto& parameter : m_parameters) {
        if (!SameName(TextOf(parameter.get(), &_CParameter::get_Name), name)) continue;
        Variant value;
        Check(parameter->get_Value(value.put()), m_sourceName);
        return FormatValue(ToValue(value.get()));
    }
    return {};
}

void Session::Assign(const std::vector<std::string>& texts) const {
    host::Assign(m_parameters, m_sourceName, texts);
    if (!HasFormat(m_sourceName)) return;  // its downloads say so
    for (const Parameter& parameter : Describe(m_parameters))
        if (parameter.type == ParameterType::text && ValueOf(parameter.name).empty())
            throw UsageError(m_sourceName + " needs " + parameter.name +
                             "=VALUE; vtdl parameters " + m_sourceName + " lists all");
}

SourceParameters::SourceParameters(_CDataSource* source, const std::string& name,
                                   const std::vector<std::string>& texts) {
    ComPtr<_CParameters> parameters;
    Check(source->get_Parameters(parameters.put()), name);
    m_parameters = ItemsOf<_CParameter>(parameters.get());
    for (const auto& parameter : m_parameters) {
        Variant value;
        Check(parameter->get_Value(value.put()), name);
        m_before.push_back(ToValue(value.get()));
    }
    Assign(m_parameters, name + " itself", texts);
}

SourceParameters::~SourceParameters() {
    for (std::size_t i = 0; i < m_parameters.size(); ++i)
        m_parameters[i]->put_Value(Variant(m_before[i]).get());
}

std::vector<Parameter> Describe(const Parameters& parameters) {
    std::vector<Parameter> descriptions;
    for (const auto& parameter : parameters) descriptions.push_back(Describe(parameter.get()));
    return descriptions;
}

void Assign(const Parameters& parameters, const std::string& owner,
            const std::vector<std::string>& texts) {
    const std::vector<Parameter> descriptions = Describe(parameters);
    // All of them are read before the first one counts.
    std::vector<Assignment> assignments;
    for (const std::string& text : texts)
        assignments.push_back(ParseAssignment(text, owner, descriptions));
    for (const Assignment& assignment : assignments)
        Check(parameters[assignment.parameter]->put_Value(Variant(assignment.value).get()), owner);
}

Parameter Describe(_CParameter* parameter) {
    Parameter description{TextOf(parameter, &_CParameter::get_Name)};
    vtdlParameterType type{};
    Variant choices;
    Check(parameter->get_ParameterType(&type), description.name);
    Check(parameter->get_AvailableValues(choices.put()), description.name);
    description.type = TypeOf(type);
    for (const Value& choice : ToValues(choices.get()))
        description.choices.push_back(FormatValue(choice));
    return description;
}

}  // namespace vtdl::host
