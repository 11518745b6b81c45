#include <ctime>
#include <iostream>

#include "Commands.h"
#include "Console.h"
#include "Formats.h"
#include "Host.h"
#include "Parameters.h"
#include "Progress.h"
#include "Trouble.h"
#include "Values.h"

namespace vtdl::host {
namespace {

constexpr DWORD usualInterval = 1000;  // milliseconds

std::string Now() {
    const std::time_t now = std::time(nullptr);
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&now));
    return text;
}

// What the library is told of the interval, for a session that repeats itself; nothing for others.
_CParameter* PeriodOf(const Session& session) {
    for (const auto& parameter : session.Parameters())
        if (SameName(TextOf(parameter.get(), &_CParameter::get_Name), "PERIOD"))
            return parameter.get();
    return nullptr;
}

// How often the session is to bring something new, in milliseconds.
DWORD SetInterval(const Session& session, DWORD asked) {
    _CParameter* const period = PeriodOf(session);
    if (period && asked != 0)
        Check(period->put_Value(Variant(Value{static_cast<double>(asked)}).get()), "PERIOD");
    if (asked != 0) return asked;
    Variant value;
    if (period) Check(period->get_Value(value.put()), "PERIOD");
    Variant number;
    if (FAILED(VariantChangeTypeEx(number.put(), value.put(), LOCALE_INVARIANT, 0, VT_I4)) ||
        number.get().lVal < 1)
        return usualInterval;
    return static_cast<DWORD>(number.get().lVal);
}

// The newest rows of a long table: the time, the header and a failure need their lines, too.
Result FittingRows(const Result& result) {
    constexpr std::size_t others = 5;
    const std::size_t rows = Screen::Rows();
    return rows > others ? Newest(result, rows - others) : result;
}

// Shows updates in place on a terminal, else one below the other.
class Display {
public:
    Display(const Session& session, const std::vector<std::string>& assignments)
        : m_session(session), m_assignments(assignments) {}

    void ShowUpdate() {
        ComPtr<_CData> data;
        Check(m_session.get()->get_Data(data.put()), m_session.SourceName());
        const Result result = ResultOf(m_session);
        // The session keeps its last error, so only an update that brought nothing has failed.
        const bool isNew = data.get() != m_last.get() && HasRows(result);
        m_last = std::move(data);
        if (isNew) m_table = TableOf(IsOutputTerminal() ? FittingRows(result) : result);
        const std::string now = Now();
        const std::string failure = isNew ? "" : Reason() + "\n";
        if (IsOutputTerminal())
            m_screen.Draw(now + "\n\n" + m_table + failure);
        else if (isNew)
            Print(now + "\n\n" + m_table + "\n");
        else
            std::cerr << "vtdl: " << now << ": " << failure << std::flush;
    }

    bool HasShown() const { return !m_table.empty(); }

    std::string Reason() const { return WhyNothing(m_session, m_assignments); }

private:
    const Session& m_session;
    const std::vector<std::string>& m_assignments;
    Screen m_screen;
    ComPtr<_CData> m_last;
    std::string m_table;  // the last one, which stands while downloads fail
};

// Sees the session through until Ctrl-C or so many updates; 0 = no end.
class Watcher {
public:
    Watcher(const Session& session, const std::vector<std::string>& assignments, DWORD interval,
            unsigned count)
        : m_session(session),
          m_interval(interval),
          m_count(count),
          m_display(session, assignments) {}

    void Run() {
        const ComPtr<ProgressSink> sink(
            new ProgressSink(*m_session.get(), m_session.SourceName(), m_bar));
        m_sink = sink.get();
        Do(m_session.get()->putref_Progressor(sink.get()));
        Do(m_session.get()->Start());
        m_isPolled = sink->Updates() != 0;
        while (!IsOver()) Wait();
        Do(m_session.get()->Done());
        Do(m_session.get()->putref_Progressor(nullptr));
        if (!IsInterrupted() && !m_display.HasShown()) throw Failure(m_display.Reason());
    }

private:
    void Do(HRESULT hr) const { Check(hr, m_session.SourceName()); }

    // Shows what has come first.
    bool IsOver() {
        if (IsInterrupted()) return true;
        if (m_shown != m_sink->Updates()) {
            m_shown = m_sink->Updates();
            m_display.ShowUpdate();
        }
        if (m_count != 0 && m_shown >= m_count) return true;
        vtdlSessionStatus status{};
        Do(m_session.get()->get_Status(&status));
        return !m_isPolled && status == vtdlSessionStatusDone;  // nothing will come any more
    }

    // A session that has downloaded when Start returns does so once, and again when it is asked to.
    // Others, by timer or when a server has something new, repeat themselves in the message loop.
    void Wait() {
        if (!m_isPolled) return DispatchMessages(INFINITE);
        const ULONGLONG now = GetTickCount64();
        if (now < m_next) return DispatchMessages(static_cast<DWORD>(m_next - now));
        m_next = now + m_interval;
        Do(m_session.get()->NextTick());
    }

    const Session& m_session;
    DWORD m_interval;
    unsigned m_count;
    Display m_display;
    ProgressBar m_bar{false};
    ProgressSink* m_sink = nullptr;
    unsigned m_shown = 0;
    bool m_isPolled = false;
    ULONGLONG m_next = GetTickCount64() + m_interval;
};

}  // namespace

void Watch(const WatchOptions& options) {
    const std::vector<TickerRequest> requests = PerTicker(options.assignments);
    if (requests.size() > 1)
        throw UsageError("TICKER: watch takes one ticker; run a vtdl of its own for each");
    const Library library;
    WarnOfSettings();
    const ComPtr<_CDataSource> source = library.Source(options.source);
    const std::string name = TextOf(source.get(), &_CDataSource::get_Name);
    const SourceParameters sourceParameters(source.get(), name, options.sourceAssignments);
    const Session session(source.get(), name);
    session.Assign(requests[0].assignments);
    // A session that repeats itself does so with a source of its own, which has what is saved.
    const bool isPeriodWanted = options.sourceAssignments.empty();
    if (!isPeriodWanted && ParseNumber(session.ValueOf("PERIOD")).value_or(0) > 0)
        throw UsageError("--source-parameter and PERIOD exclude each other; use --interval");
    const DWORD interval = isPeriodWanted         ? SetInterval(session, options.interval)
                           : options.interval > 0 ? options.interval
                                                  : usualInterval;
    // A session that repeats itself takes a period to end.
    const InterruptGuard guard(isPeriodWanted && PeriodOf(session) ? interval : 0);
    Watcher(session, requests[0].assignments, interval, options.count).Run();
}

}  // namespace vtdl::host
