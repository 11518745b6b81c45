#include <algorithm>
#include <iostream>

#include "Chart.h"
#include "Commands.h"
#include "Console.h"
#include "Formats.h"
#include "Host.h"
#include "Output.h"
#include "Parameters.h"
#include "Progress.h"
#include "Trouble.h"
#include "Values.h"

namespace vtdl::host {
namespace {

// A session that downloads by timer, or when a server has something new, has begun when Start
// returns; its first data is waited for.
void WaitForData(const ProgressSink& sink) {
    while (!sink.HasEnded() && !IsInterrupted()) DispatchMessages(INFINITE);
}

void Download(const Session& session, bool isProgressShown) {
    const InterruptGuard guard;
    ProgressBar bar(isProgressShown);
    _CSession* const job = session.get();
    const ComPtr<ProgressSink> sink(new ProgressSink(*job, session.SourceName(), bar));
    Check(job->putref_Progressor(sink.get()), session.SourceName());
    Check(job->Start(), session.SourceName());
    vtdlSessionStatus status{};
    Check(job->get_Status(&status), session.SourceName());
    if (status == vtdlSessionStatusIdle) WaitForData(*sink.get());
    if (status != vtdlSessionStatusDone) Check(job->Done(), session.SourceName());
    Check(job->putref_Progressor(nullptr), session.SourceName());
    if (IsInterrupted()) throw Failure("interrupted");
}

// An item of a program that could not be read arrives as an empty text with the time of the
// attempt.
bool IsUnreadItem(const Result& result) {
    const auto isEmpty = [](const Value& value) {
        return std::holds_alternative<Date>(value) || value == Value(std::string());
    };
    return result.blocks.size() == 1 && result.blocks[0].name == "DATA" &&
           std::ranges::all_of(result.blocks[0].columns, [&](const Column& column) {
               return std::ranges::all_of(column.values, isEmpty);
           });
}

// Rows count as success: the session's record also keeps errors that a source got over, such as a
// server that it tried and left for another. They are told all the same.
void RequireRows(const Session& session, const Result& result,
                 const std::vector<std::string>& assignments) {
    const Fault fault = SessionFault(session);
    const bool isUnread = fault.number != 0 && IsUnreadItem(result);
    if (HasRows(result) && !isUnread) {
        if (fault.number != 0)
            std::cerr << "vtdl: warning: " << session.SourceName() << ": " << Printable(fault.text)
                      << '\n';
        return;
    }
    throw Failure(WhyNothing(session, assignments));
}

std::string Formatted(const Result& result, const GetOptions& options) {
    const bool isTab = options.separator == "tab";
    if (options.format == "csv")
        return CsvOf(result, {isTab ? '\t' : options.separator.front(), options.decimal.front(),
                              options.isTextRaw});
    return options.format == "json" ? JsonOf(result) : TableOf(result);
}

// Before the download, from what the source announces.
void RequireChartColumns(_CDataSource* source, const std::string& name) {
    ComPtr<_CDataFields> fields;
    Check(source->get_DataFields(fields.put()), name);
    bool hasDate = false, hasClose = false;
    if (fields) {
        for (const auto& field : ItemsOf<_CDataField>(fields.get())) {
            const std::string column = TextOf(field.get(), &_CDataField::get_Name);
            hasDate |= SameName(column, "DATE");
            hasClose |= SameName(column, "CLOSE");
        }
    }
    if (!hasDate || !hasClose)
        throw UsageError("--chart: " + name + " has no columns DATE and CLOSE to draw");
}

// The ticker, or the source where none is given.
std::string ChartTitle(const Session& session) {
    const std::string ticker = session.ValueOf("TICKER");
    return ticker.empty() ? session.SourceName() : ticker;
}

void WriteChart(const Session& session, const Result& result, const std::string& file) {
    const std::vector<ChartPoint> points = ChartPoints(result);
    if (points.empty()) throw Failure(session.SourceName() + ": there are no prices to draw");
    WriteFile(file, ChartOf(ChartTitle(session), points));
}

// Downloads for one ticker, in a session of its own; its chart is drawn, too.
Result Downloaded(_CDataSource* source, const std::string& name, const TickerRequest& request,
                  const GetOptions& options) {
    const Session session(source, name);
    session.Assign(request.assignments);
    if (!options.chartFile.empty()) RequireChartColumns(source, name);
    Download(session,
             options.isProgressWanted || (IsErrorTerminal() && !options.isProgressUnwanted));
    Result result = ResultOf(session);
    RequireRows(session, result, request.assignments);
    if (!options.chartFile.empty())
        WriteChart(session, result, FileNameFor(options.chartFile, request.ticker));
    return result;
}

// What several tickers brought, in one text.
class Together {
public:
    Together(const std::string& source, const GetOptions& options)
        : m_all{source, {}}, m_options(options) {}

    void Add(const Result& result, const std::string& ticker) {
        Append(m_all, result, ticker);
        if (!m_tables.empty()) m_tables += '\n';
        m_tables += Printable(ticker) + "\n\n" + TableOf(result);
    }

    bool IsEmpty() const { return m_tables.empty(); }
    std::string Text() const {
        return m_options.format == "table" ? m_tables : Formatted(m_all, m_options);
    }

private:
    Result m_all;
    std::string m_tables;
    const GetOptions& m_options;
};

void Write(const std::string& text, const GetOptions& options, const std::string& ticker) {
    if (!options.outputFile.empty())
        WriteFile(FileNameFor(options.outputFile, ticker), text);
    else if (options.chartFile.empty())
        Print(text);
}

// A ticker that fails is told and does not keep the others from being printed, or written to files
// of their own; a common file that would lack it is not written.
void GetEach(_CDataSource* source, const std::string& name,
             const std::vector<TickerRequest>& requests, const GetOptions& options) {
    Together together(name, options);
    const bool isFileEach = HasTickerMark("--output", options.outputFile);
    std::size_t failed = 0;
    for (const TickerRequest& request : requests) {
        try {
            const Result result = Downloaded(source, name, request, options);
            if (isFileEach)
                Write(Formatted(result, options), options, request.ticker);
            else
                together.Add(result, request.ticker);
        } catch (const UsageError&) {
            throw;
        } catch (const Failure& e) {
            if (IsInterrupted()) throw;
            std::cerr << "vtdl: " << Printable(request.ticker + ": " + e.what()) << std::endl;
            ++failed;
        }
    }
    const bool isFileLacking = failed != 0 && !options.outputFile.empty() && !isFileEach;
    if (!together.IsEmpty() && !isFileLacking) Write(together.Text(), options, {});
    if (failed != 0)
        throw Failure(std::to_string(failed) + " of " + std::to_string(requests.size()) +
                      " tickers failed" +
                      (isFileLacking ? "; " + options.outputFile + " is not written" : ""));
}

}  // namespace

void Get(const GetOptions& given) {
    GetOptions options = given;
    if (options.format.empty()) options.format = FormatOfFile(options.outputFile);
    if (options.separator == options.decimal)
        throw UsageError("--separator and --decimal must differ");
    const std::vector<TickerRequest> requests = PerTicker(options.assignments);
    HasTickerMark("--output", options.outputFile);
    if (!HasTickerMark("--chart", options.chartFile) && requests.size() > 1 &&
        !options.chartFile.empty())
        throw UsageError("--chart: a chart shows one ticker; put {ticker} into the file's name");
    if (const std::string& chart = options.chartFile;
        !chart.empty() && !SameName(chart.substr(chart.find_last_of('.') + 1), "svg"))
        throw UsageError("--chart: " + chart + " does not end with .svg; charts are SVG");
    if (options.timeout != 0)
        SetEnvironmentVariableW(L"VTDL_TIMEOUT", std::to_wstring(options.timeout).c_str());
    const Library library;
    WarnOfSettings();
    const ComPtr<_CDataSource> source = library.Source(options.source);
    const std::string name = TextOf(source.get(), &_CDataSource::get_Name);
    const SourceParameters sourceParameters(source.get(), name, options.sourceAssignments);
    if (requests.size() > 1) return GetEach(source.get(), name, requests, options);
    const Result result = Downloaded(source.get(), name, requests[0], options);
    Write(Formatted(result, options), options, requests[0].ticker);
}

}  // namespace vtdl::host
