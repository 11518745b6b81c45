// Downloads as early-bound and as late-bound hosts make them, from the real quote server.

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>

#include "Host.h"

namespace vtdl::tests {
namespace {

// AAPL from 6 to 10 October 2008, oldest first, as recorded.
const std::vector<double> closes = {98.14, 89.16, 89.79, 88.74, 96.80};
constexpr double firstDay = 39727;  // 6 October 2008

std::vector<double> Numbers(const VARIANT& column, VARTYPE type) {
    if (column.vt != (VT_ARRAY | type)) throw std::runtime_error("no array of that type");
    LONG low = 0, high = 0;
    Check(SafeArrayGetLBound(column.parray, 1, &low));
    Check(SafeArrayGetUBound(column.parray, 1, &high));
    const auto* values = static_cast<const double*>(column.parray->pvData);
    return {values, values + (high - low + 1)};
}

ComPtr<_CParameter> Item(_CParameters* parameters, const wchar_t* name) {
    ComPtr<_CParameter> parameter;
    Check(parameters->Item(&Value(name), parameter.put()));
    return parameter;
}

ComPtr<_CSession> NewSession(_CManager* manager, const wchar_t* ticker) {
    ComPtr<_CDataSources> sources;
    ComPtr<_CDataSource> source;
    ComPtr<_CSession> session;
    ComPtr<_CParameters> parameters;
    Check(manager->get_DataSources(sources.put()));
    Check(sources->Item(&Value(L"yahoohist"), source.put()));
    Check(source->CreateSession(session.put()));
    Check(session->get_Parameters(parameters.put()));
    Check(Item(parameters.get(), L"TICKER")->put_Value(Value(ticker).get()));
    Check(Item(parameters.get(), L"ADJUST VALUES")->put_Value(Value(L"False").get()));
    VARIANT date;
    date.vt = VT_DATE;
    date.date = firstDay;
    Check(Item(parameters.get(), L"STARTDATE")->put_Value(date));
    date.date = firstDay + 4;
    Check(Item(parameters.get(), L"ENDDATE")->put_Value(date));
    return session;
}

std::vector<double> Column(_CSession* session, const wchar_t* name, VARTYPE type) {
    ComPtr<_CData> data;
    ComPtr<_CParameters> blocks;
    ComPtr<_CDataField> field;
    Value block, column;
    Check(session->get_Data(data.put()));
    Check(data->get_Values(blocks.put()));
    Check(Item(blocks.get(), L"HISTORICAL")->get_Value(&block));
    const auto fields = automation::Query<_CDataFields>(block.get().punkVal);
    Check(fields->Item(&Value(name), field.put()));
    Check(field->get_Data(&column));
    return Numbers(column.get(), type);
}

// Late binding: members by name, as a script calls them.
class Late {
public:
    explicit Late(ComPtr<IDispatch> object) : m_object(std::move(object)) {}

    Late Object(const wchar_t* name, const wchar_t* argument = nullptr) const {
        Value result;
        Call(name, DISPATCH_PROPERTYGET | DISPATCH_METHOD, argument, &result);
        return Late(automation::Query<IDispatch>(result.get().punkVal));
    }

    void Call(const wchar_t* name, WORD flags, const wchar_t* text, VARIANT* result) const {
        Value argument(text ? text : L"");
        Invoke(name, flags, text ? &argument : nullptr, result);
    }

    void Put(const wchar_t* name, VARIANT value) const {
        Invoke(name, DISPATCH_PROPERTYPUT, &value, nullptr);
    }

private:
    void Invoke(const wchar_t* name, WORD flags, VARIANT* argument, VARIANT* result) const {
        DISPID member = 0, put = DISPID_PROPERTYPUT;
        LPOLESTR names = const_cast<LPOLESTR>(name);
        Check(m_object->GetIDsOfNames(GUID{}, &names, 1, LOCALE_USER_DEFAULT, &member), "names");
        const bool isPut = flags == DISPATCH_PROPERTYPUT;
        DISPPARAMS parameters{argument, isPut ? &put : nullptr, argument ? 1U : 0U,
                              isPut ? 1U : 0U};
        Check(m_object->Invoke(member, GUID{}, LOCALE_USER_DEFAULT, flags, &parameters, result,
                               nullptr, nullptr),
              "Invoke");
    }

    ComPtr<IDispatch> m_object;
};

class DownloadTest : public HostTest {};

TEST_F(DownloadTest, RunsUnderTheLocaleThatIsMeant) {
    BSTR text = nullptr;
    Check(VarBstrFromR8(0.5, LOCALE_USER_DEFAULT, 0, &text));
    const std::wstring expected = L"0" + Environment(L"VTDL_DECIMAL_SEPARATOR") + L"5";
    EXPECT_EQ(expected, text);
    SysFreeString(text);
}

TEST_F(DownloadTest, DeliversTheRecordedRowsThroughVtables) {
    const auto manager = Create<_CManager>(L"vtdl.CManager");
    const auto session = NewSession(manager.get(), L"AAPL");
    Check(session->Start());
    EXPECT_EQ(Column(session.get(), L"CLOSE", VT_R8), closes);
    EXPECT_EQ(
        Column(session.get(), L"DATE", VT_DATE),
        (std::vector<double>{firstDay, firstDay + 1, firstDay + 2, firstDay + 3, firstDay + 4}));
}

TEST_F(DownloadTest, DeliversTheSameToALateBoundHost) {
    const Late manager(Create<IDispatch>(L"vtdl.CManager"));
    const Late session =
        manager.Object(L"DataSources").Object(L"Item", L"YAHOOHIST").Object(L"CreateSession");
    const Late parameters = session.Object(L"Parameters");
    VARIANT value;
    value.vt = VT_DATE;
    value.date = firstDay;
    parameters.Object(L"Item", L"STARTDATE").Put(L"Value", value);
    value.date = firstDay + 4;
    parameters.Object(L"Item", L"ENDDATE").Put(L"Value", value);
    parameters.Object(L"Item", L"TICKER").Put(L"Value", Value(L"aapl").get());
    parameters.Object(L"Item", L"ADJUST VALUES").Put(L"Value", Value(L"False").get());
    session.Call(L"Start", DISPATCH_METHOD, nullptr, nullptr);

    const Late fields =
        session.Object(L"Data").Object(L"Values").Object(L"Item", L"HISTORICAL").Object(L"Value");
    Value column, entry;
    fields.Object(L"Item", L"CLOSE").Call(L"Data", DISPATCH_PROPERTYGET, nullptr, &column);
    EXPECT_EQ(Numbers(column.get(), VT_R8), closes);
    fields.Object(L"Item", L"CLOSE").Call(L"Data", DISPATCH_PROPERTYGET, L"4", &entry);
    EXPECT_EQ(entry.get().dblVal, closes[4]);
}

TEST_F(DownloadTest, ObjectsMayBeReleasedInAnyOrder) {
    auto manager = Create<_CManager>(L"vtdl.CManager");
    const auto second = Create<_CManager>(L"vtdl.CManager");
    const auto session = NewSession(manager.get(), L"AAPL");
    manager.reset();
    Check(session->Start());
    EXPECT_EQ(Column(session.get(), L"CLOSE", VT_R8), closes);
    manager = Create<_CManager>(L"vtdl.CManager");
    const auto third = NewSession(manager.get(), L"NOPE");
    Check(third->Start());
    EXPECT_EQ(Column(third.get(), L"CLOSE", VT_R8), std::vector<double>{0});
}

TEST_F(DownloadTest, ParametersAreInTheSettingsFileWhenTheManagerIsGone) {
    Create<_CManager>(L"vtdl.CManager").reset();
    std::ifstream file(std::filesystem::path(Environment(L"VTDL_DATA")) / "VTDL33.Settings.xml",
                       std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    EXPECT_NE(text.find("<section name=\"yahoohist/parameters\">"), std::string::npos) << text;
    EXPECT_NE(text.find("<key name=\"dataserver\">YAHOO</key>"), std::string::npos) << text;
    EXPECT_NE(text.find("<key name=\"yahoo.chart\">"), std::string::npos) << text;
}

TEST_F(DownloadTest, CheckForNewVersionAsksTheServer) {
    VARIANT_BOOL isNewer = VARIANT_TRUE;
    Check(Create<_CManager>(L"vtdl.CManager")->CheckForNewVersion(&isNewer));
    EXPECT_EQ(isNewer, VARIANT_FALSE);  // it publishes this version
}

}  // namespace
}  // namespace vtdl::tests
