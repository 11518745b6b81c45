#include "sources/CDataSourceCBOE.h"

#include "automation/ClassTable.h"
#include "automation/CodePage.h"
#include "automation/DecimalSeparator.h"
#include "objectmodel/mGlobals.h"
#include "session/SessionState.h"
#include "sources/CboeForm.h"
#include "sources/FieldReader.h"
#include "sources/SessionParameters.h"
#include "text/Ascii.h"

namespace vtdl {

using namespace automation;

namespace {

constexpr char page[] = "/DelayedQuote/QuoteTableDownload.aspx";
constexpr long timeoutSeconds = 300;

double ToNumber(std::string_view text) { return ParseNumber(text).value_or(0); }

// Malformed numbers are 0, never an error; only an expiry year that is none is, and costs its cell.
class ChainReader final : public replies::OddFieldReader {
public:
    explicit ChainReader(_CSession* session) : m_session(session) {}

    double Read(const replies::OddField& field) override {
        const replies::ColumnSpec& column = replies::cboeOptionColumns[field.column];
        if (column.type != replies::ColumnType::date) return ToNumber(field.text);
        Framed<CDataSourceCBOE::className, "ExpireDateToDate">([&] {
            const std::wstring place = L"row " + std::to_wstring(field.row) + L", ";
            Readable(std::nullopt, place + std::wstring(column.name), field.text, m_session);
        });
        return 0;
    }

private:
    _CSession* m_session;
};

bool IsTable(std::string_view contentType) {
    constexpr std::string_view expected = "application/x-unknown";
    return text::EqualsIgnoringCase(contentType.substr(0, expected.size()), expected);
}

ComPtr<CDataFields> OptionRecord(replies::Columns& options) {
    const auto record = Make<CDataFields>();
    for (std::size_t i = 0; i < options.Specs().size(); ++i)
        Check(mGlobals::AddDataField(record.get(), options.Specs()[i].name,
                                     TakeArray(options, i, RowOrder::same)));
    return record;
}

}  // namespace

STDMETHODIMP CDataSourceCBOE::get_DataFields(_CDataFields** result) noexcept {
    return FramedResult<"CDataSource_DataFields">(result, [] {});
}

STDMETHODIMP CDataSourceCBOE::Download(_CSession** session) noexcept {
    return m_download.Run(session, [&](MethodFrame& frame, _CSession* current) {
        const std::string reply = FetchTable(frame, current);
        const auto data = Make<CData>();
        const bool hasValues = !reply.empty() && Parse(frame, current, reply, *data.get());
        frame.Step([&] { m_download.Deliver(current, *data.get(), hasValues); });
        frame.Step([&] { m_download.Session().DataReady(); });
    });
}

std::string CDataSourceCBOE::FetchTable(MethodFrame& frame, _CSession* session) {
    std::string reply;
    std::shared_ptr<WinInet> client = m_download.NewClient(L"cboe", page);
    frame.Step([&] {
        ComPtr<_CParameters> parameters;
        Check(session->get_Parameters(parameters.put()));
        client->Method = "POST";
        client->PostQuery = BuildFormBody(false, ParameterBytes(parameters.get(), L"TICKER"));
        client->AgentName = "Mozilla/4.0";
        client->Referer = page;
        if (client->TimeoutSek == 0) client->TimeoutSek = timeoutSeconds;
    });
    bool isComplete = false;
    frame.Step([&] { isComplete = m_download.Fetch(client); });
    if (isComplete && IsTable(client->ContentType)) {
        reply = client->TakeResponse();
    } else if (const auto state = Query<ISessionState>(session); isComplete && state) {
        // A newer version may know the format; the session's error tells of one. In a frame of its
        // own: that check must not cost the error that it goes with.
        Framed<"CheckForNewVersion">([&] { mGlobals::IsNewVersionAvailable(*m_settings); });
        frame.Step([&] { state->SetError(vtdlSessionErrorParsing, -1, L"Invalid data format"); });
        m_download.Session().Note(-1);
        m_download.Blame("invalid data format");
    }
    frame.Step([&] { m_download.Session().Done(isComplete ? 0 : downloadFailure); });
    return reply;
}

// The settings may have the state of the service's current page.
std::string CDataSourceCBOE::BuildFormBody(bool isLookupForm, std::string_view ticker) {
    std::string body;
    Check(Framed<"BuildFormBody">([&] {
        std::string state = ToBytes(
            ReadSetting(*m_settings, L"CBOE/FORM", isLookupForm ? L"lookup" : L"download", L""));
        if (state.empty()) state = cboe::BuiltInState(isLookupForm);
        body = cboe::BuildFormBody(isLookupForm, ticker, state);
    }));
    return body;
}

// What is sent as something else is a matter of its own.
std::string CDataSourceCBOE::FormFault(const WinInet& client) {
    return IsTable(client.ContentType) ? TableFault(client) : std::string();
}

bool CDataSourceCBOE::Parse(MethodFrame& frame, _CSession* session, std::string_view reply,
                            CData& data) {
    ChainReader oddFields(session);
    replies::CboeTable table = replies::ParseCboeTable(reply, oddFields);
    frame.Step(
        [&] { SetBlock(data, L"TICKER", QuoteRecord(frame, session, table.quote).get(), false); });
    frame.Step([&] { SetBlock(data, L"CALLS", OptionRecord(table.calls).get(), false); });
    frame.Step([&] { SetBlock(data, L"PUTS", OptionRecord(table.puts).get(), false); });
    return table.calls.Rows() > 0 || HasValues(table.quote.first);
}

// The second line alternates labels and values; the labels are not looked at.
ComPtr<CDataFields> CDataSourceCBOE::QuoteRecord(MethodFrame& frame, _CSession* session,
                                                 const replies::CboeQuote& quote) {
    const auto record = Make<CDataFields>();
    const auto add = [&](std::wstring_view name, Variant value) {
        Check(mGlobals::AddDataField(record.get(), name, std::move(value)));
    };
    const auto firstLine = [&](std::size_t i) {
        if (i >= quote.first.size()) throw MakeRuntimeError(RuntimeError::subscript, L"line 1");
        return quote.first[i];
    };
    const auto text = [](std::string_view field) { return Variant(Bstr::FromBytes(field)); };
    const auto number = [](std::string_view field) { return Variant::Double(ToNumber(field)); };
    frame.Step([&] { add(L"TICKER", text(firstLine(0))); });
    frame.Step([&] { add(L"PRICE", number(firstLine(1))); });
    frame.Step([&] { add(L"NET", number(firstLine(2))); });
    const auto& second = quote.second;
    frame.Step([&] { add(L"DATE", Variant::Date(ConvertCBOEDate(session, second[0]))); });
    if (second.size() >= 3) add(L"BID", number(second[2]));
    if (second.size() >= 5) add(L"ASK", number(second[4]));
    if (second.size() >= 7) add(L"SIZE", text(second[6]));
    if (second.size() >= 9) add(L"VOLUME", number(second[8]));
    return record;
}

double CDataSourceCBOE::ConvertCBOEDate(_CSession* session, std::string_view text) noexcept {
    double date = 0;
    Framed<"ConvertCBOEDate">(
        [&] { date = Readable(replies::ParseCboeDate(text), L"DATE", text, session); });
    return date;
}

VTDL_CREATABLE(CDataSourceCBOE)

}  // namespace vtdl
