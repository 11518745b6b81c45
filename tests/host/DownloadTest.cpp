// Downloads by vtables and by names, from the real quote server.

#include "Host.h"

namespace vtdl::tests {
namespace {

// AAPL from 6 to 10 October 2008, oldest first, as recorded.
constexpr double closes[] = {98.14, 89.16, 89.79, 88.74, 96.80}, firstDay = 39727;

class DownloadTest : public HostTest {
protected:
    static Ptr<IDispatch> Item(IDispatch* owner, const wchar_t* collection, const wchar_t* key) {
        return GetObject(GetObject(owner, collection), L"Item", {key});
    }
    /// A column of a ticker's download.
    static Ptr<IDispatch> Column(IDispatch* manager, const wchar_t* ticker, const wchar_t* name) {
        const auto session =
            GetObject(Item(manager, L"DataSources", L"yahoohist"), L"CreateSession");
        const std::pair<const wchar_t*, _variant_t> values[] = {
            {L"TICKER", ticker},
            {L"ADJUST VALUES", L"False"},
            {L"STARTDATE", _variant_t(firstDay, VT_DATE)},
            {L"ENDDATE", _variant_t(firstDay + 4, VT_DATE)}};
        for (const auto& [parameter, value] : values)
            Put(Item(session, L"Parameters", parameter), L"Value", value);
        Get(session, L"Start");
        const auto block = Item(GetObject(session, L"Data"), L"Values", L"HISTORICAL");
        return GetObject(GetObject(block, L"Value"), L"Item", {name});
    }
};

TEST_F(DownloadTest, DeliversTheRecordedRows) {
    EXPECT_EQ(TextOf(_variant_t(0.5)), L"0" + Environment(L"VTDL_DECIMAL_SEPARATOR") + L"5");
    const auto manager = Create<IDispatch>(L"CManager");
    EXPECT_EQ(Get(manager, L"CheckForNewVersion"), _variant_t(false)) << "it publishes this one";
    const auto close = Column(manager, L"AAPL", L"CLOSE"), date = Column(manager, L"AAPL", L"DATE");
    for (long row = 0; row < 5; ++row) {
        EXPECT_EQ(Get(close, L"Data", {row}), _variant_t(closes[row]));
        EXPECT_EQ(Get(date, L"Data", {row}), _variant_t(firstDay + row, VT_DATE));
    }
    EXPECT_EQ(Get(close, L"Data").parray->rgsabound[0].cElements, 5u);
    EXPECT_EQ(Get(Column(manager, L"NOPE", L"CLOSE"), L"Data", {0L}), _variant_t(0.0));
}

}  // namespace
}  // namespace vtdl::tests
