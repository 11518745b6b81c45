#pragma once
// Downloads of the chart service's adapters from a server in the test program.

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/HostObjects.h"
#include "support/LibraryTest.h"
#include "support/LoopbackServer.h"

namespace vtdl::tests {

inline constexpr long downloadFailure = static_cast<long>(0x800C0008);

inline void SetParameter(_CSession* session, const wchar_t* name, const _variant_t& value) {
    Ptr<_CParameters> parameters;
    Ptr<_CParameter> parameter;
    _variant_t key(name);
    _com_util::CheckError(session->get_Parameters(&parameters));
    _com_util::CheckError(parameters->Item(&key, &parameter));
    _com_util::CheckError(parameter->put_Value(value));
}

inline _variant_t ParameterOf(_CParameters* parameters, const wchar_t* name) {
    Ptr<_CParameter> parameter;
    _variant_t key(name), value;
    _com_util::CheckError(parameters->Item(&key, &parameter));
    _com_util::CheckError(parameter->get_Value(&value));
    return value;
}

inline vtdlSessionStatus StatusOf(_CSession* session) {
    vtdlSessionStatus status{};
    _com_util::CheckError(session->get_Status(&status));
    return status;
}

/// The error record as one text: "type number description".
inline std::wstring ErrorOf(_CSession* session) {
    vtdlSessionError error{};
    _com_util::CheckError(session->get_Error(&error));
    return std::to_wstring(error.ErrorType) + L" " + std::to_wstring(error.ErrorNumber) + L" " +
           Taken(error.ErrorDescription) + (error.NewVersionAvailable ? L" new" : L"");
}

/// A block that a download handed over; null when it handed over nothing.
inline Ptr<_CParameter> BlockOf(_CSession* session, const wchar_t* name = L"HISTORICAL") {
    Ptr<_CData> data;
    Ptr<_CParameters> values;
    Ptr<_CParameter> block;
    _variant_t key(name);
    _com_util::CheckError(session->get_Data(&data));
    if (!data) return nullptr;
    _com_util::CheckError(data->get_Values(&values));
    _com_util::CheckError(values->Item(&key, &block));
    return block;
}

inline _variant_t ColumnOf(_CSession* session, const wchar_t* name,
                           const wchar_t* blockName = L"HISTORICAL") {
    const auto block = BlockOf(session, blockName);
    _variant_t value, key(name), data;
    Ptr<_CDataField> field;
    if (!block) return data;
    _com_util::CheckError(block->get_Value(&value));
    const Ptr<_CDataFields> fields(value.pdispVal);
    _com_util::CheckError(fields->Item(&key, &field));
    _com_util::CheckError(field->get_Data(&data));
    return data;
}

/// A block of single values as one text: "NAME type value; " each, in order.
inline std::wstring RecordOf(_CSession* session, const wchar_t* blockName) {
    std::wstring text;
    _variant_t value;
    const auto block = BlockOf(session, blockName);
    if (block) _com_util::CheckError(block->get_Value(&value));
    if (value.vt != VT_DISPATCH) return text;
    const Ptr<_CDataFields> fields(value.pdispVal);
    long count = 0;
    fields->get_Count(&count);
    for (long i = 1; i <= count; ++i) {
        Ptr<_CDataField> field;
        _variant_t index(i), data;
        BSTR name = nullptr;
        vtdlDataType type{};
        _com_util::CheckError(fields->Item(&index, &field));
        field->get_Name(&name);
        field->get_DataType(&type);
        field->get_Data(&data);
        text += Taken(name) + L" " + std::to_wstring(type) + L" " +
                (data.vt == VT_EMPTY ? L"empty" : TextOf(data)) + L"; ";
    }
    return text;
}

using Numbers = std::vector<double>;

/// The values of a column, which has to be a zero-based array of the type.
inline Numbers NumbersOf(const _variant_t& column, VARTYPE type = VT_R8) {
    Numbers numbers;
    EXPECT_EQ(column.vt, VT_ARRAY | type);
    if (column.vt != (VT_ARRAY | type)) return numbers;
    long lower = -1, upper = -2;
    void* data = nullptr;
    EXPECT_EQ(SafeArrayGetDim(column.parray), 1u);
    SafeArrayGetLBound(column.parray, 1, &lower);
    SafeArrayGetUBound(column.parray, 1, &upper);
    EXPECT_EQ(lower, 0);
    _com_util::CheckError(SafeArrayAccessData(column.parray, &data));
    for (long i = 0; i <= upper; ++i)
        numbers.push_back(type == VT_I4 ? static_cast<long*>(data)[i]
                                        : static_cast<double*>(data)[i]);
    SafeArrayUnaccessData(column.parray);
    return numbers;
}

inline Numbers Column(_CSession* session, const wchar_t* name) {
    return NumbersOf(ColumnOf(session, name), wcscmp(name, L"DATE") == 0 ? VT_DATE : VT_R8);
}

/// A session of a source, with a sink that writes down its events.
struct Job {
    ProgressSink sink;
    Ptr<_CSession> session;

    explicit Job(_CDataSource* source) {
        _com_util::CheckError(source->CreateSession(&session));
        _com_util::CheckError(session->putref_Progressor(&sink));
    }

    void Set(const wchar_t* name, const _variant_t& value) { SetParameter(session, name, value); }
    void SetRange(double start, double end) {
        Set(L"STARTDATE", _variant_t(start, VT_DATE));
        Set(L"ENDDATE", _variant_t(end, VT_DATE));
    }
    void Start() { EXPECT_EQ(session->Start(), S_OK); }

    long Count(const std::wstring& event) const {
        return static_cast<long>(std::count(sink.events.begin(), sink.events.end(), event));
    }
    std::wstring LastEvent() const { return sink.events.empty() ? L"" : sink.events.back(); }
};

/// The chart service: probes get one reply, requests for tables another one.
class ChartServer {
public:
    using Answer = std::function<std::string(const std::string& path)>;

    std::string probe = "Date,Open\n";

    explicit ChartServer(Answer answer)
        : server([this, answer = std::move(answer)](const std::string& request) {
              const std::string path = request.substr(4, request.find(" HTTP/") - 4);
              return path.find("s=DIA&") != std::string::npos ? HttpReply(probe) : answer(path);
          }) {}
    explicit ChartServer(const std::string& body)
        : ChartServer([body](const std::string&) { return HttpReply(body); }) {}

    /// What was asked, without probes.
    std::vector<std::string> TakeTables() {
        std::vector<std::string> paths = server.TakePaths();
        std::erase_if(paths,
                      [](const auto& path) { return path.find("s=DIA&") != std::string::npos; });
        return paths;
    }

    LoopbackServer server;
};

inline constexpr char priceHeader[] = "Date,Open,High,Low,Close,Volume,Adj Close\n";

}  // namespace vtdl::tests
