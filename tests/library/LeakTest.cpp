// Memory that crosses the COM boundary: a download leaves none behind, and survives the failure of
// any single allocation.

#include <objidl.h>

#include <set>

#include "support/Downloads.h"

// Without arguments the calling convention is of no account; the import library has no decorated
// name.
extern "C" void __cdecl SetOaNoCache();

namespace vtdl::tests {
namespace {

/// Knows this thread's live allocations of texts, arrays and task memory while it exists, and lets
/// the one with a number fail.
class AllocationSpy : public IMallocSpy {
public:
    explicit AllocationSpy(long failing = 0) : m_failing(failing) {
        EXPECT_EQ(CoRegisterMallocSpy(this), S_OK);
    }
    /// What is left is shown and freed: the system keeps a spy as long as its allocations.
    ~AllocationSpy() {
        const std::set<void*> left = m_live;
        for (void* memory : left) {
            const auto* text = static_cast<const char*>(memory);
            ADD_FAILURE() << "left: " << testing::PrintToString(std::string(text, 64));
            CoTaskMemFree(memory);
        }
        EXPECT_EQ(CoRevokeMallocSpy(), S_OK) << "allocations of another thread are left";
    }

    long Count() const { return m_count; }
    std::size_t Live() const { return m_live.size(); }

    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        const bool isKnown = id == __uuidof(IUnknown) || id == __uuidof(IMallocSpy);
        *object = isKnown ? this : nullptr;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 1; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override { return Fails() ? 0 : size; }
    STDMETHODIMP_(void*) PostAlloc(void* memory) override { return Enter(memory); }
    STDMETHODIMP_(void*) PreFree(void* memory, BOOL) override { return Leave(memory); }
    STDMETHODIMP_(void) PostFree(BOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void* memory, SIZE_T size, void** actual, BOOL) override {
        *actual = memory;
        if (size > 0 && Fails()) return 0;
        Leave(memory);
        return size;
    }
    STDMETHODIMP_(void*) PostRealloc(void* memory, BOOL) override { return Enter(memory); }
    STDMETHODIMP_(void*) PreGetSize(void* memory, BOOL) override { return memory; }
    STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T size, BOOL) override { return size; }
    STDMETHODIMP_(void*) PreDidAlloc(void* memory, BOOL) override { return memory; }
    STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int result) override { return result; }
    STDMETHODIMP_(void) PreHeapMinimize() override {}
    STDMETHODIMP_(void) PostHeapMinimize() override {}

private:
    bool Fails() { return GetCurrentThreadId() == m_thread && ++m_count == m_failing; }
    void* Enter(void* memory) {
        if (memory && GetCurrentThreadId() == m_thread) m_live.insert(memory);
        return memory;
    }
    void* Leave(void* memory) {
        m_live.erase(memory);
        return memory;
    }

    const DWORD m_thread = GetCurrentThreadId();
    const long m_failing;
    long m_count = 0;
    std::set<void*> m_live;
};

/// A kind of download, with a reply that has two values in a column.
struct Kind {
    const CLSID& id;
    const wchar_t* block;
    const wchar_t* column;
    bool mayFail;  // without a fault of the platform's: see below
    std::string reply;
};

class LeakTest : public LibraryTest {
protected:
    LeakTest() {
        SetOaNoCache();
        const std::string host = m_server.Host();
        WriteSettings({{"hosts", "yahoo.chart", host},
                       {"hosts", "google.finance", host},
                       {"hosts", "pcquote", host},
                       {"hosts", "cboe", host}});
        m_store = New<::CDataSourceYahooDividends, _CDataSource>();  // keeps the settings loaded
        for (int i = 0; i < 3; ++i)
            for (const Kind& kind : m_kinds) Download(kind);  // what is made once is there now
    }

    /// A whole download with its source; false when a call failed. A session that was started has
    /// to end, whatever failed.
    bool Download(const Kind& kind) {
        bool hasRows = false;
        m_reply = kind.reply;
        try {
            Ptr<_CDataSource> source;
            _com_util::CheckError(automation::CreateInstance(kind.id, __uuidof(_CDataSource),
                                                             reinterpret_cast<void**>(&source)));
            Job job(source);
            job.Set(L"TICKER", L"SPY");
            const HRESULT started = job.session->Start();
            EXPECT_EQ(job.Count(L"DataReady"), 1) << "Start gave " << started;
            EXPECT_TRUE(job.LastEvent().starts_with(L"Done ")) << "Start gave " << started;
            EXPECT_EQ(StatusOf(job.session), vtdlSessionStatusDone);
            hasRows = ColumnOf(job.session, kind.column, kind.block).vt != VT_EMPTY;
            ErrorOf(job.session);  // its text is the host's
        } catch (const _com_error&) {
        }
        SetErrorInfo(0, nullptr);
        return hasRows;
    }

    /// A document is read, changed and given back; false when a call failed, for lack of memory or
    /// with what the parser made of it.
    static bool UseSettings() {
        bool isWhole = true;
        const auto check = [&](HRESULT result) {
            isWhole = isWhole && result == S_OK;
            EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY ||
                        result == eErrXMLSettings_ParserError ||
                        result == eErrXMLSettings_ComponentFailure)
                << result;
            return isWhole;
        };
        try {
            _bstr_t document(L"<sections name=\"XML settings file\"/>"), key(L"b"), none;
            Ptr<_CXMLSettings> store;
            isWhole =
                check(automation::CreateInstance(__uuidof(::CXMLSettings), __uuidof(_CXMLSettings),
                                                 reinterpret_cast<void**>(&store))) &&
                check(store->put_XMLString(document)) && check(store->SaveSetting(key, key, key)) &&
                check(store->GetSetting(&key.GetBSTR(), &key.GetBSTR(), nullptr,
                                        none.GetAddress())) &&
                check(store->get_XMLString(key.GetAddress()));
        } catch (const _com_error&) {
            isWhole = false;
        }
        SetErrorInfo(0, nullptr);
        return isWhole;
    }

    const Kind m_kinds[4] = {
        {__uuidof(::CDataSourceYahooDividends), L"HISTORICAL", L"DIVIDENDS", true,
         "Date,Dividends\n2004-01-09,2\n2004-01-08,1\n"},
        {__uuidof(::CDataSourceGoogleHitorical), L"HISTORICAL", L"CLOSE", false,
         "Date,Open,High,Low,Close,Volume\n9-Jan-04,1,2,3,4,5\n8-Jan-04,1,2,3,4,5\n"},
        {__uuidof(::CDataSourcePCQuote), L"TICKER", L"LAST", false,
         "T,1,1,10:30,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1"},
        {__uuidof(::CDataSourceCBOE), L"CALLS", L"TICKER", false,
         ReadAll(std::filesystem::path(VTDL_TEST_DATA) / "cboe/snippet_ibm_20131229.dat")}};

private:
    std::string m_reply;
    LoopbackServer m_server{[this](const std::string&) {
        std::string reply = HttpReply(m_reply);
        return reply.replace(reply.find("text/plain"), 10, "application/x-unknown");
    }};
    Ptr<_CDataSource> m_store;
};

TEST_F(LeakTest, DownloadLeavesNothing) {
    AllocationSpy spy;
    for (const Kind& kind : m_kinds) EXPECT_TRUE(Download(kind)) << kind.reply;
    EXPECT_GT(spy.Count(), 100) << "the spy sees the library's allocations";
    EXPECT_EQ(spy.Live(), 0u);
}

// Not with lists of choices or columns of texts, of which Wine leaves some behind when copying one
// fails, nor with times as text, which Wine's reader of dates fails at without looking.
TEST_F(LeakTest, AnyAllocationMayFail) {
    std::vector<std::function<bool()>> kinds{UseSettings};
    for (const Kind& kind : m_kinds)
        if (kind.mayFail) kinds.push_back([&] { return Download(kind); });
    const long objects = automation::LiveObject::Count();
    for (const auto& use : kinds) {
        bool isOver = false;
        for (long failing = 1; !isOver; ++failing) {
            SCOPED_TRACE(failing);
            ASSERT_LT(failing, 5000);
            {
                AllocationSpy spy(failing);
                const bool isWhole = use();
                EXPECT_EQ(spy.Live(), 0u);
                isOver = spy.Count() < failing;
                EXPECT_TRUE(isWhole || !isOver);
            }
            EXPECT_EQ(automation::LiveObject::Count(), objects);
            TakeErrors();
        }
    }
}

}  // namespace
}  // namespace vtdl::tests
