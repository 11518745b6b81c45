#include <iostream>

#include "Commands.h"
#include "Console.h"
#include "Failure.h"
#include "Formats.h"
#include "Interrupt.h"
#include "Library.h"
#include "OutputFile.h"
#include "ProgressSink.h"

namespace vtdl::host {
namespace {

void Assign(const Session& session, const std::vector<std::string>& texts) {
    const std::vector<Parameter> descriptions = session.Descriptions();
    for (const std::string& text : texts) {
        const Assignment assignment = ParseAssignment(text, session.SourceName(), descriptions);
        const Variant value(assignment.value);
        Check(session.Parameters()[assignment.parameter]->put_Value(value.get()), text);
    }
}

// A session that downloads by timer, or when a server has something new, has begun when Start
// returns; its first data is waited for.
void WaitForData(const ProgressSink& sink) {
    const HANDLE interrupt = InterruptEvent();
    while (!sink.HasEnded() && !IsInterrupted()) {
        MsgWaitForMultipleObjectsEx(1, &interrupt, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    }
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

Block BlockOf(_CParameter* value) {
    Block block{TextOf(value, &_CParameter::get_Name), {}};
    Variant content;
    Check(value->get_Value(content.put()), block.name);
    const bool isObject = content.get().vt == VT_DISPATCH || content.get().vt == VT_UNKNOWN;
    const auto fields = automation::Query<_CDataFields>(isObject ? content.get().punkVal : nullptr);
    if (!fields) return block;
    for (const auto& field : ItemsOf<_CDataField>(fields.get())) {
        Variant data;
        Check(field->get_Data(data.put()), block.name);
        block.columns.push_back(
            {TextOf(field.get(), &_CDataField::get_Name), ToValues(data.get())});
    }
    return block;
}

Result ResultOf(const Session& session) {
    Result result{session.SourceName(), {}};
    ComPtr<_CData> data;
    ComPtr<_CParameters> values;
    Check(session.get()->get_Data(data.put()), session.SourceName());
    if (!data) return result;
    Check(data->get_Values(values.put()), session.SourceName());
    for (const auto& value : ItemsOf<_CParameter>(values.get()))
        result.blocks.push_back(BlockOf(value.get()));
    return result;
}

// What the session has recorded, as "Download failure (0x800C0008)"; empty without an error.
std::string SessionError(const Session& session) {
    vtdlSessionError error{};
    Check(session.get()->get_Error(&error), session.SourceName());
    const Bstr description = Bstr::attach(error.ErrorDescription);
    if (error.ErrorNumber == 0) return {};
    return ToUtf8(description.view()) + " (" + NumberText(error.ErrorNumber) + ")";
}

// Rows count as success: the session's record also keeps errors that a source got over, such as a
// server that it tried and left for another. They are told all the same.
void RequireRows(const Session& session, const Result& result,
                 const std::vector<std::string>& assignments) {
    const std::string error = SessionError(session);
    if (HasRows(result)) {
        if (!error.empty())
            std::cerr << "vtdl: warning: " << session.SourceName() << ": " << error << '\n';
        return;
    }
    if (!error.empty()) throw Failure(session.SourceName() + ": " + error);
    std::string asked;
    for (const std::string& assignment : assignments) asked += " " + assignment;
    throw Failure(session.SourceName() + ": the service sent no rows for" +
                  (asked.empty() ? " these parameters" : asked));
}

std::string Formatted(const Result& result, const std::string& format) {
    if (format == "csv") return CsvOf(result);
    return format == "json" ? JsonOf(result) : TableOf(result);
}

}  // namespace

void Get(const GetOptions& options) {
    const Library library;
    const ComPtr<_CDataSource> source = library.Source(options.source);
    const Session session(source.get(), TextOf(source.get(), &_CDataSource::get_Name));
    Assign(session, options.assignments);
    Download(session,
             options.isProgressWanted || (IsErrorTerminal() && !options.isProgressUnwanted));
    const Result result = ResultOf(session);
    RequireRows(session, result, options.assignments);
    const std::string text = Formatted(result, options.format);
    if (options.outputFile.empty())
        Print(text);
    else
        WriteFile(options.outputFile, text);
}

}  // namespace vtdl::host
