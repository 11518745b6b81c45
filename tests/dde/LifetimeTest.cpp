// The faces of a DDE session, and objects that come and go in any order.

#include <thread>

#include "DdeTest.h"
#include "session/CSession.h"

namespace vtdl::tests {
namespace {

Ptr<_CDataSource> DdeOf(_CManager* manager) {
    Ptr<_CDataSources> sources;
    Ptr<_CDataSource> source;
    _variant_t key(L"DDE");
    _com_util::CheckError(manager->get_DataSources(&sources));
    _com_util::CheckError(sources->Item(&key, &source));
    return source;
}

TEST_F(DdeTest, SessionsAnswerEveryNameOnBothFaces) {
    Reading reading(L"REQUEST", L"BYTES 3500");
    const Ptr<_CSessionDDE> own(reading.session);
    const Ptr<IUnknown> identity(own);
    EXPECT_EQ(identity, Ptr<IUnknown>(reading.session));
    EXPECT_EQ(Ptr<IDispatch>(reading.session).GetInterfacePtr(), own.GetInterfacePtr());
    for (IDispatch* const face : {static_cast<IDispatch*>(own.GetInterfacePtr()),
                                  static_cast<IDispatch*>(reading.session.GetInterfacePtr())}) {
        const auto item = GetObject(GetObject(face, L"Parameters"), L"Item", {L"ITEM"});
        Put(item, L"Value", L"REFUSE");
        Get(face, L"Start");
        EXPECT_EQ(static_cast<long>(Get(face, L"SessionType")), vtdlDDESessionTypeOneRequest);
        EXPECT_NE(static_cast<long>(Get(face, L"ConvID")), 0);
        EXPECT_EQ(static_cast<long>(Get(face, L"Error", {L"ErrorNumber"})), 16393);
        EXPECT_EQ(TextOf(Get(face, L"Error", {L"ErrorDescription"})), L"DMLERR_NOTPROCESSED");
        EXPECT_EQ(Get(face, L"Error").vt, VT_RECORD);
        Put(face, L"Tag", L"mine");
        EXPECT_EQ(TextOf(Get(face, L"Tag")), L"mine");
        EXPECT_EQ(Invoke(face, L"NoSuchName", DISPATCH_METHOD).hr, DISP_E_UNKNOWNNAME);

        ScriptSink sink;
        Put(face, L"Progressor", static_cast<IDispatch*>(&sink));
        Put(item, L"Value", L"BYTES 3500");
        Get(face, L"NextTick");
        Get(face, L"Done");
        EXPECT_EQ(sink.events, (Events{L"DataReady", L"Done 16393"}));
        reading.session->putref_Progressor(nullptr);
    }
    DISPPARAMS nothing{};
    EXPECT_EQ(own->Invoke(0x7777, GUID{}, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &nothing, nullptr,
                          nullptr, nullptr),
              DISP_E_MEMBERNOTFOUND);
}

TEST_F(DdeTest, SourcesAndSessionsEndInAnyOrder) {
    const auto first = New<::CDataSourceDDE, _CDataSource>();
    Ptr<_CDataSource> second, clone;
    ASSERT_EQ(first->Clone(&clone), S_OK);
    second = New<::CDataSourceDDE, _CDataSource>();
    Reading ofClone(L"TIMER", L"COUNT", 20, clone),
        ofSecond(L"HOTADVISE", L"RATE 200 1000", 0, second);
    ofClone.Start();
    ofSecond.Start();
    second = nullptr;
    clone = nullptr;
    const auto bothGoOn = [&] {
        const std::size_t timed = ofClone.sink.events.size(), hot = ofSecond.sink.events.size();
        return RunLoop(enough, [&] {
            return ofClone.sink.events.size() > timed + 1 && ofSecond.sink.events.size() > hot + 1;
        });
    };
    EXPECT_TRUE(bothGoOn());
    {
        const Reading passing(L"REQUEST", L"COUNT", 0, New<::CDataSourceDDE, _CDataSource>());
        passing.session->Start();
    }
    EXPECT_TRUE(bothGoOn()) << "another source's end leaves them alone";
    ofSecond.session = nullptr;
    RunLoop(100);
    ofClone.session->Done();
    EXPECT_TRUE(NoConversationIsOpen());
}

TEST_F(DdeTest, ManagersComeAndGo) {
    for (int i = 0; i < 3; ++i) {
        auto manager = New<::CManager, _CManager>();
        Reading reading(L"HOTADVISE", L"RATE 0 5", 0, DdeOf(manager));
        manager = nullptr;
        reading.Start();
        EXPECT_TRUE(RunLoop(enough, [&] { return reading.Count(L"DataReady") == 5; }));
        EXPECT_EQ(reading.Data(), L"RATE 0 5#5");
    }
    EXPECT_TRUE(NoConversationIsOpen());
}

// Everything that the host has is released inside the system's callback, and more data waits.
TEST_F(DdeTest, LastReferencesGoInTheCallback) {
    for (int i = 0; i < 10; ++i) {
        auto reading = std::make_unique<Reading>(L"HOTADVISE", L"RATE 0 5");
        bool isReleased = false;
        Reading* const told = reading.get();
        reading->sink.onEvent = [&](const std::wstring&, _CSession*) {
            told->session = nullptr;
            isReleased = true;
        };
        reading->Start();
        EXPECT_TRUE(RunLoop(enough, [&] { return isReleased; }));
        RunLoop(50);
        EXPECT_EQ(reading->sink.events, Events{L"DataReady"});
    }
    EXPECT_TRUE(NoConversationIsOpen());
}

/// Runs once, after some milliseconds, from wherever messages run then: it is a sent one, which
/// Wine lets through in its transactions too, unlike a timer.
class Later {
public:
    Later(DWORD milliseconds, std::function<void()> action)
        : m_window(CreateWindowW(L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                                 nullptr)) {
        s_action = std::move(action);
        SetWindowLongPtrW(m_window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(Run));
        m_sender = std::thread([milliseconds, window = m_window, client = GetCurrentThreadId()] {
            Sleep(milliseconds);
            SendNotifyMessageW(window, WM_APP, 0, 0);
            PostThreadMessageW(client, WM_NULL, 0, 0);  // wakes the transaction
        });
    }
    Later(const Later&) = delete;
    Later& operator=(const Later&) = delete;
    ~Later() {
        m_sender.join();
        DestroyWindow(m_window);
    }
    static bool HasRun() { return !s_action; }

private:
    static LRESULT CALLBACK Run(HWND window, UINT message, WPARAM wide, LPARAM parameter) noexcept {
        if (message != WM_APP) return DefWindowProcW(window, message, wide, parameter);
        if (const auto action = std::exchange(s_action, nullptr)) action();
        return 0;
    }

    static inline std::function<void()> s_action;
    HWND m_window;
    std::thread m_sender;
};

TEST_F(DdeTest, SessionsEndWhileTheServerThinks) {
    const std::wstring timer = L"TIMER", hot = L"HOTADVISE";
    for (const auto& [type, isReleased] :
         {std::pair{timer, false}, {timer, true}, {hot, false}, {hot, true}, {hot, false}}) {
        SCOPED_TRACE(testing::PrintToString(type));
        Reading reading(type.c_str(), L"SLOW 300", 20);
        long told = 0;
        const Later later(150, [&, isReleased = isReleased] {
            told = reading.Count(L"DataReady");
            if (isReleased)
                reading.session = nullptr;
            else
                EXPECT_EQ(reading.session->Done(), S_OK);
        });
        reading.Start();
        EXPECT_EQ(Later::HasRun(), type == hot) << "while the link was starting";
        EXPECT_TRUE(RunLoop(enough, [] { return Later::HasRun(); }));
        RunLoop(500);
        if (!isReleased) {
            EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusDone);
            EXPECT_EQ(reading.Conversation(), 0);
        }
        EXPECT_LE(reading.Count(L"DataReady"), told + 1) << "the reading that was under way";
        EXPECT_TRUE(NoConversationIsOpen());
    }
}

// The host reads and starts other sessions, and its own again, when it is told.
TEST_F(DdeTest, OtherSessionsWorkInTheCallback) {
    Reading hot(L"HOTADVISE", L"RATE 100 1000"), other(L"HOTADVISE", L"RATE 100 999");
    std::wstring asked;
    bool isTold = false;
    hot.sink.onEvent = [&](const std::wstring&, _CSession*) {
        if (std::exchange(isTold, true)) return;
        Reading request(L"REQUEST", L"BYTES 3500");
        request.Start();
        asked = request.Data() + L" " + ErrorOf(request.session);
        other.Start();
        hot.Start();
    };
    hot.Start();
    EXPECT_TRUE(RunLoop(enough, [&] { return asked != L""; }));
    EXPECT_EQ(asked, L"5 0 0 ");
    EXPECT_TRUE(RunLoop(
        enough, [&] { return hot.Count(L"DataReady") > 3 && other.Count(L"DataReady") > 3; }))
        << StatusOf(hot.session) << StatusOf(other.session);
    hot.session->Done();
    other.session->Done();
    EXPECT_TRUE(NoConversationIsOpen());
}

TEST_F(DdeTest, DownloadReadsOnce) {
    const auto source = New<::CDataSourceDDE, _CDataSource>();
    Reading reading(L"REQUEST", L"COUNT", 0, source);
    reading.Start();
    RunLoop(
        50);  // Wine's servers confirm what they have sent, and it would answer the next request
    EXPECT_EQ(source->Download(&reading.session.GetInterfacePtr()), S_OK);
    EXPECT_EQ(reading.Data(), L"2");
    reading.session->Done();
}

// The desktop's own server lists the program groups.
TEST_F(DdeTest, ShellAnswers) {
    Reading reading(L"REQUEST", L"Groups");
    reading.Set(L"SERVICE", L"PROGMAN");
    reading.Set(L"TOPIC", L"PROGMAN");
    reading.Start();
    EXPECT_NE(reading.Conversation(), 0);
    EXPECT_EQ(ErrorOf(reading.session), L"0 0 ");
    EXPECT_NE(reading.Data(), L"");
    reading.session->Done();
}

// A host in a service or a build has no desktop: no DDE, and no error report about that.
class UnattendedDde : public LibraryTest {};

TEST_F(UnattendedDde, ManagerIsSilentAndSessionsReport) {
    const auto manager = New<::CManager, _CManager>();
    for (const wchar_t* type : {L"REQUEST", L"HOTADVISE"}) {
        Job job(DdeOf(manager));
        job.Set(L"SERVICE", L"PROGMAN");
        job.Set(L"TOPIC", L"PROGMAN");
        job.Set(L"ITEM", L"Groups");
        job.Set(L"TYPE", type);
        job.Start();
        EXPECT_EQ(ErrorOf(job.session), L"2 16394 DMLERR_NO_CONV_ESTABLISHED");
        job.session->Done();
        EXPECT_EQ(job.LastEvent(), L"Done 16394");
    }
    EXPECT_EQ(TakeErrors(), L"");
}

}  // namespace
}  // namespace vtdl::tests
