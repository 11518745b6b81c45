// Reading on demand and by timer, from a server in a second process that does what servers do.

#include "DdeTest.h"

namespace vtdl::tests {
namespace {

constexpr wchar_t none[] = L"0 0 ";

TEST_F(DdeTest, RequestsGiveTheServersText) {
    struct Case {
        const wchar_t* item;
        const wchar_t* data;
        const wchar_t* error;
    };
    for (const Case& expected : {Case{L"BYTES 31322E350D0A00", L"12.5", none},
                                 {L"BYTES 31322E3500", L"12.5", none},
                                 {L"BYTES 31322E35", L"12.5", none},
                                 {L"BYTES 37", L"7", none},
                                 {L"BYTES 00", L"", none},
                                 {L"BYTES 0D0A00", L"", none},

                                 {L"BYTES 610D0A620D0A00", L"a\r\nb", none},
                                 {L"BYTES 610062", L"a", none},
                                 {L"BYTES 80", L"\u20AC", none},
                                 {L"SLOW 300", L"slow", none},
                                 {L"REFUSE", L"", L"2 16393 DMLERR_NOTPROCESSED"},
                                 {L"SLOW 2500", L"", L"2 16386 DMLERR_DATAACKTIMEOUT"}}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(expected.item)));
        Reading reading(L"Request", expected.item);
        reading.Start();
        EXPECT_EQ(reading.Data(), expected.data);
        EXPECT_EQ(ErrorOf(reading.session), expected.error);
        EXPECT_EQ(reading.sink.events, Events{L"DataReady"});
        EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusIdle);
        EXPECT_NE(reading.Conversation(), 0);
        reading.session->Done();
        EXPECT_EQ(ErrorOf(reading.session), expected.error) << "ending is no error";
        EXPECT_EQ(reading.Conversation(), 0);
        EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusDone);
    }
    Reading large(L"REQUEST", L"SIZE 1000000");
    large.Start();
    EXPECT_EQ(large.Data(), std::wstring(1'000'000, L'x'));

    Reading empty(L"REQUEST", L"EMPTY");
    empty.Set(L"SERVICE", (DdeServer::Service() + L"RAW").c_str());
    empty.Start();
    EXPECT_EQ(empty.Data(), L"");
    EXPECT_EQ(ErrorOf(empty.session), none);
}

TEST_F(DdeTest, RecordHasTheLocalTimeAndTheText) {
    SYSTEMTIME before, after;
    Reading reading(L"REQUEST", L"COUNT");
    GetLocalTime(&before);
    reading.Start();
    GetLocalTime(&after);
    double earliest = 0, latest = 0;
    SystemTimeToVariantTime(&before, &earliest);
    SystemTimeToVariantTime(&after, &latest);
    const _variant_t time = ColumnOf(reading.session, L"TIME", L"DATA");
    ASSERT_EQ(time.vt, VT_DATE);
    EXPECT_GE(time.date, earliest - 1e-9);
    EXPECT_LE(time.date, latest + 1.5 / 86400);
    const std::wstring record = RecordOf(reading.session, L"DATA");
    EXPECT_TRUE(record.starts_with(L"TIME 1 ")) << testing::PrintToString(record);
    EXPECT_TRUE(record.ends_with(L"; DATA 3 1; ")) << testing::PrintToString(record);
}

TEST_F(DdeTest, NobodyToTalkTo) {
    for (const auto& [service, topic] :
         {std::pair{DdeServer::Service(), L"NOSUCH"}, {L"VTDLNOBODY", L"QUOTES"}, {L"", L""}}) {
        Reading reading(L"REQUEST", L"COUNT");
        reading.Set(L"SERVICE", service.c_str());
        reading.Set(L"TOPIC", topic);
        reading.Start();
        EXPECT_EQ(reading.Data(), L"") << "a record all the same";
        EXPECT_EQ(reading.sink.events, Events{L"DataReady"});
        EXPECT_EQ(reading.Conversation(), 0);
        EXPECT_EQ(ErrorOf(reading.session), L"2 16394 DMLERR_NO_CONV_ESTABLISHED");
        reading.session->Done();
        EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusDone);
    }
}

TEST_F(DdeTest, TypesInAnyCase) {
    const std::tuple<const wchar_t*, const wchar_t*, vtdlDDESessionType> cases[] = {
        {L"request", L"50", vtdlDDESessionTypeOneRequest},
        {L"Timer", L"1", vtdlDDESessionTypeByTimer},
        {L"timer", L"0", vtdlDDESessionTypeOneRequest},
        {L"TIMER", L"-5", vtdlDDESessionTypeOneRequest},
        {L"TIMER", L"often", vtdlDDESessionTypeOneRequest},
        {L"HotAdvise", L"50", vtdlDDESessionTypeHotAdvise},
        {L"WEEKLY", L"0", vtdlDDESessionTypeHotAdvise},
        {L"", L"0", vtdlDDESessionTypeHotAdvise}};
    for (const auto& [type, period, expected] : cases) {
        Reading reading(type, L"BYTES 00");
        reading.Set(L"PERIOD", period);
        reading.Start();
        EXPECT_EQ(reading.Type(), expected) << type << " " << period;
        const bool isOnce = expected == vtdlDDESessionTypeOneRequest;
        EXPECT_EQ(reading.sink.events, isOnce ? Events{L"DataReady"} : Events{});
        reading.session->Done();
    }
}

// Started again, also from within its own DataReady, a request is made in the conversation there
// is.
TEST_F(DdeTest, RequestsShareAConversation) {
    Reading reading(L"REQUEST", L"COUNT");
    std::wstring texts;
    std::set<long> conversations;
    reading.sink.onEvent = [&](const std::wstring&, _CSession*) {
        conversations.insert(reading.Conversation());
        texts += reading.Data() + L" ";
        RunLoop(50);  // as in DownloadReadsOnce
        if (texts == L"1 ") reading.Start();
    };
    reading.Start();
    reading.Start();
    EXPECT_EQ(texts, L"1 2 3 ");
    EXPECT_EQ(conversations.size(), 1u);
    EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusIdle);
    reading.Set(L"TOPIC", L"NOSUCH");
    reading.Start();
    EXPECT_EQ(reading.Conversation(), 0) << "another topic, another conversation";
    EXPECT_TRUE(NoConversationIsOpen());
}

TEST_F(DdeTest, TimerReadsAgainInOneConversation) {
    std::set<long> conversations;
    std::wstring texts;
    Reading reading(L"TIMER", L"COUNT", 30);
    reading.sink.onEvent = [&](const std::wstring&, _CSession*) {
        conversations.insert(reading.Conversation());
        texts += reading.Data() + L" ";
    };
    reading.Start();
    EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusIdle);
    EXPECT_EQ(texts, L"") << "the first reading comes after the period";
    ASSERT_TRUE(RunLoop(enough, [&] { return reading.Count(L"DataReady") >= 4; }));
    EXPECT_EQ(conversations.size(), 1u);
    EXPECT_TRUE(texts.starts_with(L"1 2 3 4 ")) << testing::PrintToString(texts);

    reading.sink.onEvent = nullptr;
    reading.session->Done();
    const long ticks = reading.Count(L"DataReady");
    RunLoop(100);
    EXPECT_EQ(reading.Count(L"DataReady"), ticks);
    EXPECT_EQ(reading.LastEvent(), L"Done 0");
    EXPECT_TRUE(NoConversationIsOpen());
}

TEST_F(DdeTest, TimerFindsTheServerThatCameBack) {
    for (const bool isKilled : {false, true}) {
        Reading reading(L"TIMER", L"BYTES 35", 30);
        reading.Start();
        const auto reads = [&](const wchar_t* text) {
            return RunLoop(
                enough, [&] { return reading.Count(L"DataReady") > 0 && reading.Data() == text; });
        };
        EXPECT_TRUE(reads(L"5"));
        isKilled ? m_server.Kill() : m_server.Stop();
        EXPECT_TRUE(reads(L"")) << isKilled;
        m_server.Start();
        EXPECT_TRUE(reads(L"5")) << isKilled;
        reading.session->Done();
    }
}

TEST_F(DdeTest, ServerGoesAwayBetweenRequests) {
    for (const bool isKilled : {false, true}) {
        Reading reading(L"REQUEST", L"BYTES 35");
        reading.Start();
        EXPECT_EQ(reading.Data(), L"5");
        isKilled ? m_server.Kill() : m_server.Stop();
        const wchar_t* const errors[] = {
            isKilled ? L"2 16396 DMLERR_POSTMSG_FAILED" : L"2 16394 DMLERR_NO_CONV_ESTABLISHED",
            L"2 16394 DMLERR_NO_CONV_ESTABLISHED"};
        for (const wchar_t* const error : errors) {
            RunLoop(50);
            reading.session->NextTick();
            EXPECT_EQ(reading.Data(), L"");
            EXPECT_EQ(ErrorOf(reading.session), error) << isKilled;
            EXPECT_EQ(reading.Conversation(), 0);
        }
        m_server.Start();
        reading.session->NextTick();
        EXPECT_EQ(reading.Data(), L"5");
    }
}

TEST_F(DdeTest, ServerDiesInTheMiddleOfARequest) {
    Reading reading(L"REQUEST", L"DIE");
    const DWORD start = GetTickCount();
    reading.Start();
    EXPECT_LT(GetTickCount() - start, 3000u);
    EXPECT_EQ(reading.Data(), L"");
    EXPECT_EQ(ErrorOf(reading.session), L"2 16386 DMLERR_DATAACKTIMEOUT");
    m_server.Kill();
    m_server.Start();
    reading.Set(L"ITEM", L"COUNT");
    reading.session->NextTick();
    reading.session->NextTick();
    EXPECT_NE(reading.Data(), L"") << "connected anew";
    reading.session->Done();
}

TEST_F(DdeTest, AnswerThatComesTooLateIsIgnored) {
    Reading reading(L"REQUEST", L"SLOW 2200");
    reading.Start();
    EXPECT_EQ(reading.Data(), L"");
    RunLoop(500);
    reading.Set(L"ITEM", L"COUNT");
    reading.session->NextTick();
    EXPECT_EQ(reading.Data(), L"1");
}

TEST_F(DdeTest, UpdateLockSkipsTicksAlone) {
    const auto manager = New<::CManager, _CManager>();
    Reading timed(L"TIMER", L"COUNT", 10), asked(L"REQUEST", L"COUNT");
    manager->LockUpdate();
    timed.Start();
    RunLoop(150);
    EXPECT_EQ(timed.sink.events, Events{});
    asked.Start();
    EXPECT_EQ(asked.sink.events, Events{L"DataReady"});
    manager->UnlockUpdate();
    EXPECT_TRUE(RunLoop(enough, [&] { return timed.Count(L"DataReady") > 1; }));
    timed.session->Done();
}

// The stop of an advise is sent by the session that made one request, on purpose. Wine's own server
// library does not answer it, and the session waits two seconds.
TEST_F(DdeTest, TraceOfOneRequest) {
    TurnTracingOn();
    Reading reading(L"REQUEST", L"EMPTY");
    reading.Set(L"SERVICE", (DdeServer::Service() + L"RAW").c_str());
    reading.Start();
    reading.session->Done();
    EXPECT_EQ(TraceOf(reading),
              L"#: DDE Connection Success.\n"
              L"#: Hot advise transaction stop success.\n"
              L"#: DDE Disconnection Success.\n");
    TurnTracingOn();
    Reading unanswered(L"REQUEST", L"REFUSE");
    unanswered.Start();
    RunLoop(100);
    unanswered.session->Done();
    EXPECT_EQ(TraceOf(unanswered),
              L"#: DDE Connection Success.\n"
              L"#: Hot advise transaction stop failure.\n"
              L"#: DDE Disconnection Success.\n");
    TurnTracingOn();
    Reading refused(L"REQUEST", L"COUNT");
    refused.Set(L"TOPIC", L"NOSUCH");
    refused.Start();
    refused.session->Done();
    EXPECT_EQ(TraceOf(refused), L"#: DDE Connection Failure.\n");
}

}  // namespace
}  // namespace vtdl::tests
