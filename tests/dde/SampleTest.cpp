// The sample server, as its README says to use it.

#include "DdeTest.h"

namespace vtdl::tests {
namespace {

class SampleTest : public LibraryTest {
protected:
    SampleTest() {
        WriteAll("ABC.csv",
                 "Date,Open,High,Low,Close,Volume,Adj Close\n"
                 "2004-01-08,1,2,0.5,1.5,1000,1.25\n"
                 "2004-01-09,10,20,5,15.125,2000,12.5\n");
        WriteAll("BAD.csv", "Date,Open\n");
    }

    struct Field : Job {
        Field(const wchar_t* ticker, const wchar_t* field, const wchar_t* type)
            : Job(New<::CDataSourceDDE, _CDataSource>()) {
            Set(L"SERVICE", Service().c_str());
            Set(L"TOPIC", ticker);
            Set(L"ITEM", field);
            Set(L"TYPE", type);
            Start();
        }
        std::wstring Data() const { return TextOf(ColumnOf(session, L"DATA", L"DATA")); }
    };

    static std::wstring Service() { return L"VTDLDEMO" + std::to_wstring(GetCurrentProcessId()); }
    static std::wstring Command() { return L"vtdldemo.exe --data . --service " + Service(); }
};

TEST_F(SampleTest, FieldsOfTheNewestRow) {
    const ServerProcess server(Command());
    std::wstring fields;
    for (const wchar_t* name :
         {L"LAST", L"date", L"Open", L"HIGH", L"LOW", L"CLOSE", L"VOLUME", L"ADJCLOSE", L"NOSUCH"})
        fields += Field(L"abc", name, L"REQUEST").Data() + L" ";
    EXPECT_EQ(fields, L"15.125 2004-01-09 10 20 5 15.125 2000 12.5  ");
    for (const wchar_t* ticker : {L"BAD", L"NOSUCH", L".."})
        EXPECT_EQ(ErrorOf(Field(ticker, L"LAST", L"REQUEST").session),
                  L"2 16394 DMLERR_NO_CONV_ESTABLISHED");
}

TEST_F(SampleTest, LiveQuotesMove) {
    const ServerProcess server(Command() + L" --live");
    const Field last(L"ABC", L"LAST", L"HOTADVISE"), open(L"ABC", L"OPEN", L"HOTADVISE");
    ASSERT_TRUE(RunLoop(enough, [&] { return last.Count(L"DataReady") >= 2; }));
    EXPECT_NEAR(_wtof(last.Data().c_str()), 15.125, 0.1);
    EXPECT_EQ(open.Count(L"DataReady"), 0);
}

}  // namespace
}  // namespace vtdl::tests
