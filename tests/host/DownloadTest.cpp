// Downloads by vtables and by names, from the real quote server.

#include "Host.h"

namespace vtdl::tests {
namespace {

// AAPL from 6 to 10 October 2008, oldest first, as recorded.
const std::vector<double> closes = {98.14, 89.16, 89.79, 88.74, 96.80};
constexpr double firstDay = 39727;  // 6 October 2008

std::vector<double> Numbers(const _variant_t& column, VARTYPE type) {
    if (column.vt != (VT_ARRAY | type)) throw std::runtime_error("no array of that type");
    const auto* values = static_cast<const double*>(column.parray->pvData);
    return {values, values + column.parray->rgsabound[0].cElements};
}

Ptr<_CSession> NewSession(_CManager* manager, const wchar_t* ticker) {
    const auto sources = Read(manager, &_CManager::get_DataSources);
    Ptr<_CDataSource> source;
    _variant_t key(L"yahoohist");
    _com_util::CheckError(sources->Item(&key, &source));
    const auto session = Read(source, &_CDataSource::CreateSession);
    const auto parameters = Read(session, &_CSession::get_Parameters);
    const std::pair<_variant_t, _variant_t> values[] = {
        {L"TICKER", ticker},
        {L"ADJUST VALUES", L"False"},
        {L"STARTDATE", _variant_t(firstDay, VT_DATE)},
        {L"ENDDATE", _variant_t(firstDay + 4, VT_DATE)}};
    for (auto [name, value] : values) {
        Ptr<_CParameter> parameter;
        _com_util::CheckError(parameters->Item(&name, &parameter));
        parameter->put_Value(value);
    }
    return session;
}

Ptr<IDispatch> ColumnOf(IDispatch* session, const wchar_t* name) {
    const auto values = GetObject(GetObject(session, L"Data"), L"Values");
    const auto fields = GetObject(GetObject(values, L"Item", {L"HISTORICAL"}), L"Value");
    return GetObject(fields, L"Item", {name});
}

class DownloadTest : public HostTest {};

TEST_F(DownloadTest, DeliversTheRecordedRows) {
    EXPECT_EQ(TextOf(_variant_t(0.5)), L"0" + Environment(L"VTDL_DECIMAL_SEPARATOR") + L"5");
    auto manager = Create<_CManager>(L"CManager");
    const auto second = Create<_CManager>(L"CManager");
    const auto session = NewSession(manager, L"AAPL"), unknown = NewSession(second, L"NOPE");
    EXPECT_EQ(Get(manager, L"CheckForNewVersion"), _variant_t(false)) << "it publishes this one";
    manager = nullptr;  // objects may be released in any order
    EXPECT_EQ(session->Start(), S_OK);
    const auto close = ColumnOf(session, L"CLOSE");
    EXPECT_EQ(Numbers(Read(Ptr<_CDataField>(close), &_CDataField::get_Data), VT_R8), closes);
    EXPECT_EQ(Get(close, L"Data", {L"4"}), _variant_t(closes[4]));
    EXPECT_EQ(Numbers(Get(ColumnOf(session, L"DATE"), L"Data"), VT_DATE),
              (std::vector{firstDay, firstDay + 1, firstDay + 2, firstDay + 3, firstDay + 4}));
    EXPECT_EQ(unknown->Start(), S_OK);
    EXPECT_EQ(Numbers(Get(ColumnOf(unknown, L"CLOSE"), L"Data"), VT_R8), std::vector<double>{0});
}

}  // namespace
}  // namespace vtdl::tests
