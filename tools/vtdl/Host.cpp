#include "Host.h"

#include <algorithm>

#include "Parameters.h"
#include "Services.h"
#include "Values.h"
#include "text/ErrorNumber.h"

namespace vtdl::host {
namespace {

std::string SystemText(HRESULT hr) {
    wchar_t text[512];
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                       static_cast<DWORD>(hr), 0, text, ARRAYSIZE(text), nullptr);
    std::string result = ToUtf8({text, length});
    result.resize(result.find_last_not_of(" \r\n.") + 1);
    return result.empty() ? "it failed" : result;
}

std::string ErrorText(HRESULT hr) {
    ComPtr<IErrorInfo> information;
    Bstr description;
    if (GetErrorInfo(0, information.put()) == S_OK) information->GetDescription(description.put());
    return description.view().empty() ? SystemText(hr) : ToUtf8(description.view());
}

// One element; its bytes are laid out where a variant of that type keeps them.
Value Element(SAFEARRAY* array, VARTYPE type, LONG index) {
    Variant element;
    VARIANT* const value = element.put();
    void* const target = type == VT_VARIANT ? static_cast<void*>(value) : &value->llVal;
    Check(SafeArrayGetElement(array, &index, target), "reading an array");
    if (type != VT_VARIANT) value->vt = type;
    return ToValue(element.get());
}

constexpr const char* notRegistered =
    "the Vestora Download Library is not registered on this machine. Register it for all users, as "
    "administrator: regsvr32 VTDL33.dll; or for yourself: regsvr32 /n /i:user VTDL33.dll";

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

Block BlockOf(_CParameter* value) {
    Block block{TextOf(value, &_CParameter::get_Name), {}};
    Variant content;
    Check(value->get_Value(content.put()), block.name);
    const bool isObject = content.get().vt == VT_DISPATCH || content.get().vt == VT_UNKNOWN;
    const auto fields = automation::Query<_CDataFields>(isObject ? content.get().punkVal : nullptr);
    if (!fields) return block;
    bool hasArrays = false;
    for (const auto& field : ItemsOf<_CDataField>(fields.get())) {
        Variant data;
        Check(field->get_Data(data.put()), block.name);
        hasArrays |= (data.get().vt & VT_ARRAY) != 0;
        block.columns.push_back(
            {TextOf(field.get(), &_CDataField::get_Name), ToValues(data.get())});
    }
    block.isQuote = !block.columns.empty() && !hasArrays;
    return block;
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    std::string result(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length,
                                                                    nullptr, 0, nullptr, nullptr)),
                       '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(),
                        static_cast<int>(result.size()), nullptr, nullptr);
    return result;
}

std::wstring ToWide(std::string_view text) {
    const int length = static_cast<int>(text.size());
    std::wstring result(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0)),
        L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(),
                        static_cast<int>(result.size()));
    return result;
}

void Check(HRESULT hr, const std::string& action) {
    if (FAILED(hr)) throw Failure(action + ": " + ErrorText(hr) + text::InParentheses(hr));
}

Variant::Variant(const Value& value) : Variant() {
    if (const bool* truth = std::get_if<bool>(&value)) {
        m_value.boolVal = *truth ? VARIANT_TRUE : VARIANT_FALSE;
        m_value.vt = VT_BOOL;
    } else if (const double* number = std::get_if<double>(&value)) {
        m_value.dblVal = *number;
        m_value.vt = VT_R8;
    } else if (const Date* date = std::get_if<Date>(&value)) {
        m_value.date = date->days;
        m_value.vt = VT_DATE;
    } else if (const std::string* text = std::get_if<std::string>(&value)) {
        m_value.bstrVal = Bstr(ToWide(*text)).release();
        m_value.vt = VT_BSTR;
    }
}

Value ToValue(const VARIANT& value) {
    switch (value.vt) {
        case VT_EMPTY:
        case VT_NULL:
        case VT_ERROR:
            return {};
        case VT_BOOL:
            return value.boolVal != VARIANT_FALSE;
        case VT_DATE:
            return Date{value.date};
        case VT_BSTR:
            return ToUtf8(automation::ViewOf(value.bstrVal));
        default:
            break;
    }
    Variant number;
    Check(
        VariantChangeTypeEx(number.put(), const_cast<VARIANT*>(&value), LOCALE_INVARIANT, 0, VT_R8),
        "reading a value of type " + std::to_string(value.vt));
    return number.get().dblVal;
}

std::vector<Value> ToValues(const VARIANT& value) {
    if (value.vt == VT_EMPTY) return {};
    if (!(value.vt & VT_ARRAY)) return {ToValue(value)};
    SAFEARRAY* const array = value.parray;
    LONG lower = 0, upper = -1;
    if (!array || SafeArrayGetDim(array) != 1) return {};
    Check(SafeArrayGetLBound(array, 1, &lower), "reading an array");
    Check(SafeArrayGetUBound(array, 1, &upper), "reading an array");
    const auto type = static_cast<VARTYPE>(value.vt & ~VT_ARRAY);
    std::vector<Value> values;
    for (LONG index = lower; index <= upper; ++index) values.push_back(Element(array, type, index));
    return values;
}

std::vector<ComPtr<IUnknown>> Enumerated(IUnknown* enumerator) {
    std::vector<ComPtr<IUnknown>> items;
    const auto walk = automation::Query<IEnumVARIANT>(enumerator);
    for (;;) {
        Variant item;
        ULONG fetched = 0;
        if (!walk || walk->Next(1, item.put(), &fetched) != S_OK) return items;
        if (item.get().vt == VT_DISPATCH || item.get().vt == VT_UNKNOWN)
            items.emplace_back(item.get().punkVal);
    }
}

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
    throw UsageError("there is no source " + name + Suggestion(name, known, ".") +
                     " The sources are " + Joined(known));
}

Parameters OwnParameters(_CDataSource* source, const std::string& name) {
    ComPtr<_CParameters> parameters;
    Check(source->get_Parameters(parameters.put()), name);
    return ItemsOf<_CParameter>(parameters.get());
}

Session::Session(_CDataSource* source, std::string sourceName)
    : m_sourceName(std::move(sourceName)) {
    Check(source->CreateSession(m_session.put()), m_sourceName);
    if (!m_session) throw Failure(m_sourceName + ": the library made no session");
    ComPtr<_CParameters> parameters;
    Check(m_session->get_Parameters(parameters.put()), m_sourceName);
    m_parameters = ItemsOf<_CParameter>(parameters.get());
    m_ownParameters = OwnParameters(source, m_sourceName);
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

void Session::RefuseSourceParameters(const std::vector<std::string>& texts) const {
    const std::vector<Parameter> mine = Describe(m_parameters), sources = Describe(m_ownParameters);
    const auto nameIn = [](const std::string& text) { return text.substr(0, text.find('=')); };
    const auto found = std::ranges::find_if(texts, [&](const std::string& text) {
        const auto isIt = [&](const Parameter& known) {
            return SameName(known.name, nameIn(text));
        };
        return std::ranges::none_of(mine, isIt) && std::ranges::any_of(sources, isIt);
    });
    if (found != texts.end())
        throw UsageError(nameIn(*found) + " is a parameter of " + m_sourceName +
                         " itself; write --source-parameter " + nameIn(*found) + "=VALUE");
}

void Session::Assign(const std::vector<std::string>& texts) const {
    RefuseSourceParameters(texts);
    host::Assign(m_parameters, m_sourceName, texts);
    if (!HasFormat(m_sourceName)) return;  // its downloads say so
    for (const Parameter& parameter : Describe(m_parameters))
        if (NeedsTicker(m_sourceName) && parameter.type == ParameterType::text &&
            ValueOf(parameter.name).empty())
            throw UsageError(m_sourceName + " needs " + parameter.name +
                             "=VALUE; vtdl parameters " + m_sourceName + " lists all");
    const std::string first = ValueOf("STARTDATE"), last = ValueOf("ENDDATE");
    const auto begin = ParseDate(first), end = ParseDate(last);
    if (begin && end && begin->days > end->days)
        throw UsageError("STARTDATE " + first + " is after ENDDATE " + last + "; name both");
}

SourceParameters::SourceParameters(_CDataSource* source, const std::string& name,
                                   const std::vector<std::string>& texts) {
    m_parameters = OwnParameters(source, name);
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
    assignments.reserve(texts.size());
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

Result ResultOf(const Session& session) {
    Result result{session.SourceName(), {}};
    ComPtr<_CData> data;
    ComPtr<_CParameters> values;
    Check(session.get()->get_Data(data.put()), session.SourceName());
    if (!data) return result;
    Check(data->get_Values(values.put()), session.SourceName());
    for (const auto& value : ItemsOf<_CParameter>(values.get()))
        result.blocks.push_back(BlockOf(value.get()));
    return result;
}

Fault SessionFault(const Session& session) {
    vtdlSessionError error{};
    Check(session.get()->get_Error(&error), session.SourceName());
    const Bstr description = Bstr::attach(error.ErrorDescription);
    if (error.ErrorNumber == 0) return {};
    return {error.ErrorNumber, ToUtf8(description.view()) + text::InParentheses(error.ErrorNumber)};
}

}  // namespace vtdl::host
