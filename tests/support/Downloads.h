#pragma once
// Downloads from a server in the test program.

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/HostObjects.h"
#include "support/LibraryTest.h"
#include "support/LoopbackServer.h"

namespace vtdl::tests {

inline constexpr wchar_t failureDone[] = L"Done -2146697208";

inline Ptr<_CParameter> ItemOf(const Ptr<_CParameters>& parameters, const wchar_t* name) {
    Ptr<_CParameter> parameter;
    _variant_t key(name);
    _com_util::CheckError(parameters->Item(&key, &parameter));
    return parameter;
}

inline void SetParameter(_CSession* session, const wchar_t* name, const _variant_t& value) {
    const auto parameters = Read(session, &_CSession::get_Parameters);
    _com_util::CheckError(ItemOf(parameters, name)->put_Value(value));
}

inline vtdlSessionStatus StatusOf(_CSession* session) {
    return Read(session, &_CSession::get_Status);
}

/// The error record as one text: "type number description".
inline std::wstring ErrorOf(_CSession* session) {
    const vtdlSessionError error = Read(session, &_CSession::get_Error);
    return std::to_wstring(error.ErrorType) + L" " + std::to_wstring(error.ErrorNumber) + L" " +
           Taken(error.ErrorDescription);
}

/// A block that a download handed over; null when it handed over nothing.
inline Ptr<_CParameter> BlockOf(_CSession* session, const wchar_t* name = L"HISTORICAL") {
    const auto data = Read(session, &_CSession::get_Data);
    if (!data) return nullptr;
    return ItemOf(Read(data, &_CData::get_Values), name);
}

/// A column's data; empty when there is none.
inline _variant_t ColumnOf(_CSession* session, const wchar_t* name,
                           const wchar_t* blockName = L"HISTORICAL") {
    const auto block = BlockOf(session, blockName);
    const _variant_t fields = block ? Read(block, &_CParameter::get_Value) : _variant_t();
    if (fields.vt != VT_DISPATCH) return _variant_t();
    _variant_t key(name);
    Ptr<_CDataField> field;
    _com_util::CheckError(Ptr<_CDataFields>(fields.pdispVal)->Item(&key, &field));
    return Read(field, &_CDataField::get_Data);
}

using Numbers = std::vector<double>;

/// The values of a column, which has to be a zero-based array of the type.
inline Numbers NumbersOf(const _variant_t& column, VARTYPE type = VT_R8) {
    EXPECT_EQ(column.vt, VT_ARRAY | type);
    if (column.vt != (VT_ARRAY | type)) return {};
    const auto* values = static_cast<const double*>(column.parray->pvData);
    return {values, values + column.parray->rgsabound[0].cElements};
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
class ChartServer : public LoopbackServer {
public:
    std::string probe = "Date,Open\n";

    explicit ChartServer(Answer answer)
        : LoopbackServer([this, answer = std::move(answer)](const std::string& request) {
              return IsProbe(request) ? HttpReply(probe) : answer(request);
          }) {}
    explicit ChartServer(const std::string& body)
        : ChartServer([body](const std::string&) { return HttpReply(body); }) {}

    /// How often tables were asked for.
    std::size_t TakeTables() {
        const std::vector<std::string> paths = TakePaths();
        return paths.size() - static_cast<std::size_t>(std::ranges::count_if(paths, IsProbe));
    }

private:
    static bool IsProbe(const std::string& path) { return path.find("s=DIA&") != path.npos; }
};

inline constexpr char priceHeader[] = "Date,Open,High,Low,Close,Volume,Adj Close\n";

}  // namespace vtdl::tests
