#include <algorithm>
#include <iostream>

#include "Chart.h"
#include "Commands.h"
#include "Console.h"
#include "Delivery.h"
#include "Failure.h"
#include "Formats.h"
#include "Interrupt.h"
#include "Library.h"
#include "Names.h"
#include "OutputFile.h"
#include "ProgressSink.h"

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
    const std::string error = SessionError(session);
    const bool isUnread = !error.empty() && IsUnreadItem(result);
    if (HasRows(result) && !isUnread) {
        if (!error.empty())
            std::cerr << "vtdl: warning: " << session.SourceName() << ": " << Printable(error)
                      << '\n';
        return;
    }
    if (!error.empty()) throw Failure(session.SourceName() + ": " + error);
    std::string asked;
    for (const std::string& assignment : assignments) asked += " " + assignment;
    throw Failure(session.SourceName() + ": the service sent no rows for" +
                  (asked.empty() ? " these parameters" : asked));
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
    for (const auto& parameter : session.Parameters()) {
        if (!SameName(TextOf(parameter.get(), &_CParameter::get_Name), "TICKER")) continue;
        Variant ticker;
        Check(parameter->get_Value(ticker.put()), "TICKER");
        return FormatValue(ToValue(ticker.get()));
    }
    return session.SourceName();
}

void WriteChart(const Session& session, const Result& result, const std::string& file) {
    const std::vector<ChartPoint> points = ChartPoints(result);
    if (points.empty()) throw Failure(session.SourceName() + ": there are no prices to draw");
    WriteFile(file, ChartOf(ChartTitle(session), points));
}

}  // namespace

void Get(const GetOptions& options) {
    if (options.separator == options.decimal)
        throw UsageError("--separator and --decimal must differ");
    const Library library;
    const ComPtr<_CDataSource> source = library.Source(options.source);
    const Session session(source.get(), TextOf(source.get(), &_CDataSource::get_Name));
    Assign(session, options.assignments);
    if (!options.chartFile.empty()) RequireChartColumns(source.get(), session.SourceName());
    Download(session,
             options.isProgressWanted || (IsErrorTerminal() && !options.isProgressUnwanted));
    const Result result = ResultOf(session);
    RequireRows(session, result, options.assignments);
    if (!options.chartFile.empty()) WriteChart(session, result, options.chartFile);
    if (!options.outputFile.empty())
        WriteFile(options.outputFile, Formatted(result, options));
    else if (options.chartFile.empty())
        Print(Formatted(result, options));
}

}  // namespace vtdl::host
