// Downloads as early-bound and as late-bound hosts make them, from the real quote server.

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

Ptr<_CParameter> Item(_CParameters* parameters, _variant_t name) {
    Ptr<_CParameter> parameter;
    _com_util::CheckError(parameters->Item(&name, &parameter));
    return parameter;
}

Ptr<_CSession> NewSession(_CManager* manager, const wchar_t* ticker) {
    const auto sources = Read(manager, &_CManager::get_DataSources);
    Ptr<_CDataSource> source;
    Ptr<_CSession> session;
    _variant_t key(L"yahoohist");
    _com_util::CheckError(sources->Item(&key, &source));
    _com_util::CheckError(source->CreateSession(&session));
    const auto parameters = Read(session, &_CSession::get_Parameters);
    Item(parameters, L"TICKER")->put_Value(_variant_t(ticker));
    Item(parameters, L"ADJUST VALUES")->put_Value(_variant_t(L"False"));
    Item(parameters, L"STARTDATE")->put_Value(_variant_t(firstDay, VT_DATE));
    Item(parameters, L"ENDDATE")->put_Value(_variant_t(firstDay + 4, VT_DATE));
    return session;
}

std::vector<double> Column(_CSession* session, const wchar_t* name, VARTYPE type) {
    const auto blocks = Read(Read(session, &_CSession::get_Data), &_CData::get_Values);
    const _variant_t block = Read(Item(blocks, L"HISTORICAL"), &_CParameter::get_Value);
    Ptr<_CDataField> field;
    _variant_t key(name);
    _com_util::CheckError(Ptr<_CDataFields>(block.pdispVal)->Item(&key, &field));
    return Numbers(Read(field, &_CDataField::get_Data), type);
}

class DownloadTest : public HostTest {};

TEST_F(DownloadTest, RunsUnderTheLocaleThatIsMeant) {
    EXPECT_EQ(TextOf(_variant_t(0.5)), L"0" + Environment(L"VTDL_DECIMAL_SEPARATOR") + L"5");
}

TEST_F(DownloadTest, DeliversTheRecordedRowsThroughVtables) {
    auto manager = Create<_CManager>(L"CManager");
    const auto second = Create<_CManager>(L"CManager");
    const auto session = NewSession(manager, L"AAPL");
    manager = nullptr;  // objects may be released in any order
    EXPECT_EQ(session->Start(), S_OK);
    EXPECT_EQ(Column(session, L"CLOSE", VT_R8), closes);
    std::vector<double> days;
    for (int i = 0; i < 5; ++i) days.push_back(firstDay + i);
    EXPECT_EQ(Column(session, L"DATE", VT_DATE), days);
    const auto unknown = NewSession(Create<_CManager>(L"CManager"), L"NOPE");
    EXPECT_EQ(unknown->Start(), S_OK);
    EXPECT_EQ(Column(unknown, L"CLOSE", VT_R8), std::vector<double>{0});
}

TEST_F(DownloadTest, DeliversTheSameToALateBoundHost) {
    const auto manager = Create<IDispatch>(L"CManager");
    const auto source = GetObject(GetObject(manager, L"DataSources"), L"Item", {L"YAHOOHIST"});
    const auto session = GetObject(source, L"CreateSession");
    const std::pair<const wchar_t*, _variant_t> parameters[] = {
        {L"TICKER", L"aapl"},
        {L"ADJUST VALUES", L"False"},
        {L"STARTDATE", _variant_t(firstDay, VT_DATE)},
        {L"ENDDATE", _variant_t(firstDay + 4, VT_DATE)}};
    for (const auto& [name, value] : parameters)
        Put(GetObject(GetObject(session, L"Parameters"), L"Item", {name}), L"Value", value);
    Get(session, L"Start");
    const auto values = GetObject(GetObject(session, L"Data"), L"Values");
    const auto fields = GetObject(GetObject(values, L"Item", {L"HISTORICAL"}), L"Value");
    const auto close = GetObject(fields, L"Item", {L"CLOSE"});
    EXPECT_EQ(Numbers(Get(close, L"Data"), VT_R8), closes);
    EXPECT_EQ(Get(close, L"Data", {L"4"}), _variant_t(closes[4]));
    EXPECT_EQ(Get(manager, L"CheckForNewVersion"), _variant_t(false)) << "it publishes this one";
}

}  // namespace
}  // namespace vtdl::tests
