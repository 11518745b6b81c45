// Reading on demand and by timer, from a server in a second process that does what servers do.

#include <set>

#include "DdeTest.h"

namespace vtdl::tests {
namespace {

constexpr wchar_t none[] = L"0 0 ";
constexpr wchar_t nobody[] = L"2 16394 DMLERR_NO_CONV_ESTABLISHED";

TEST_F(DdeTest, RequestsGiveTheServersText) {
    struct Case {
        const wchar_t* item;
        std::wstring data;
        const wchar_t* error;
    };
    for (const Case& expected : {Case{L"BYTES 31322E350D0A00", L"12.5", none},
                                 {L"BYTES 31322E35", L"12.5", none},
                                 {L"BYTES 0D0A00", L"", none},
                                 {L"BYTES 610D0A620D0A00", L"a\r\nb", none},
                                 {L"BYTES 610062", L"a", none},
                                 {L"BYTES 80", L"\u20AC", none},
                                 {L"SIZE 1000000", std::wstring(1'000'000, L'x'), none},
                                 {L"REFUSE", L"", L"2 16393 DMLERR_NOTPROCESSED"},
                                 {L"SLOW 2300", L"", L"2 16386 DMLERR_DATAACKTIMEOUT"}}) {
        SCOPED_TRACE(expected.item);
        Reading reading(L"Request", expected.item);
        reading.Start();
        EXPECT_TRUE(reading.Data() == expected.data);
        EXPECT_EQ(ErrorOf(reading.session), expected.error);
        EXPECT_EQ(reading.sink.events, Events{L"DataReady"});
        EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusIdle);
        EXPECT_NE(reading.Conversation(), 0);
        reading.session->Done();
        EXPECT_EQ(ErrorOf(reading.session), expected.error) << "ending is no error";
        EXPECT_EQ(reading.Conversation(), 0);
    }
}

TEST_F(DdeTest, NobodyToTalkTo) {
    for (const auto& [service, topic] :
         {std::pair{Reading::Service(), L"NOSUCH"}, {L"VTDLNOBODY", L"QUOTES"}, {L"", L""}}) {
        Reading reading(L"REQUEST", L"COUNT");
        reading.Set(L"SERVICE", service.c_str());
        reading.Set(L"TOPIC", topic);
        reading.Start();
        EXPECT_EQ(reading.Data(), L"") << "a record all the same";
        EXPECT_EQ(reading.sink.events, Events{L"DataReady"});
        EXPECT_EQ(ErrorOf(reading.session), nobody);
        reading.session->Done();
        EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusDone);
    }
}

TEST_F(DdeTest, TypesInAnyCase) {
    const std::tuple<const wchar_t*, const wchar_t*, vtdlDDESessionType> cases[] = {
        {L"request", L"50", vtdlDDESessionTypeOneRequest},
        {L"Timer", L"1", vtdlDDESessionTypeByTimer},
        {L"TIMER", L"-5", vtdlDDESessionTypeOneRequest},
        {L"TIMER", L"often", vtdlDDESessionTypeOneRequest},
        {L"HotAdvise", L"50", vtdlDDESessionTypeHotAdvise},
        {L"", L"0", vtdlDDESessionTypeHotAdvise}};
    for (const auto& [type, period, expected] : cases) {
        Reading reading(type, L"BYTES 00");
        reading.Set(L"PERIOD", period);
        reading.Start();
        const Ptr<_CSessionDDE> face(reading.session);
        EXPECT_EQ(Read(face, &_CSessionDDE::get_SessionType), expected) << type << period;
        reading.session->Done();
    }
}

// Read again, by the timer or started from its own callback, a session has one conversation.
TEST_F(DdeTest, SessionsReadAgainInOneConversation) {
    for (const bool isTimed : {false, true}) {
        std::set<long> conversations;
        std::set<std::wstring> texts;
        Reading reading(isTimed ? L"TIMER" : L"REQUEST", L"COUNT", isTimed ? 30 : 0);
        reading.sink.onEvent = [&](const std::wstring& event, _CSession*) {
            if (event != L"DataReady") return;
            conversations.insert(reading.Conversation());
            texts.insert(reading.Data());
            RunLoop(50);  // Wine's servers confirm what they have sent
            if (!isTimed && texts.size() < 4) reading.Start();
        };
        reading.Start();
        ASSERT_TRUE(RunLoop(enough, [&] { return texts.size() >= 4; }));
        EXPECT_EQ(conversations.size(), 1u);
        EXPECT_EQ(StatusOf(reading.session), vtdlSessionStatusIdle);
        reading.session->Done();
        const std::size_t ticks = texts.size();
        RunLoop(100);
        EXPECT_EQ(texts.size(), ticks);
        EXPECT_TRUE(NoConversationIsOpen());
    }
}

TEST_F(DdeTest, SessionsFindTheServerThatCameBack) {
    for (const bool isKilled : {false, true}) {
        Reading timed(L"TIMER", L"BYTES 35", 30), asked(L"REQUEST", L"BYTES 35");
        timed.Start();
        asked.Start();
        const auto reads = [&](const wchar_t* text) {
            return RunLoop(enough,
                           [&] { return timed.Count(L"DataReady") > 0 && timed.Data() == text; });
        };
        EXPECT_TRUE(reads(L"5"));
        isKilled ? m_server.Kill() : m_server.Stop();
        EXPECT_TRUE(reads(L"")) << isKilled;
        asked.session->NextTick();
        asked.session->NextTick();
        EXPECT_EQ(asked.Data(), L"");
        EXPECT_EQ(ErrorOf(asked.session), nobody) << isKilled;
        m_server.Start();
        EXPECT_TRUE(reads(L"5")) << isKilled;
        asked.session->NextTick();
        EXPECT_EQ(asked.Data(), L"5");
        timed.session->Done();
    }
}

class SampleTest : public LibraryTest {};

// The sample server, as its README says to use it.
TEST_F(SampleTest, FieldsOfTheNewestRow) {
    WriteAll("ABC.csv",
             "Date,Open,High,Low,Close,Volume,Adj Close\n2004-01-08,1,2,0.5,1.5,1000,1.25\n"
             "2004-01-09,10,20,5,15.125,2000,12.5\n");
    const ServerProcess server(L"vtdldemo.exe --data . --live --service " + Reading::Service());
    for (const auto& [type, item, text] : {std::tuple{L"REQUEST", L"date", L"2004-01-09"},
                                           {L"REQUEST", L"VOLUME", L"2000"},
                                           {L"HOTADVISE", L"LAST", L"15."}}) {
        Reading reading(type, item);
        reading.Set(L"TOPIC", L"abc");
        reading.Start();
        EXPECT_TRUE(RunLoop(enough, [&] { return reading.Data().starts_with(text); })) << item;
    }
}

}  // namespace
}  // namespace vtdl::tests
