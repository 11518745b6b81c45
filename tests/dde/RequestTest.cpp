// Reading on demand and by timer, from a server in a second process that does what servers do.

#include <set>

#include "DdeTest.h"

namespace vtdl::tests {
namespace {

constexpr wchar_t none[] = L"0 0 ";
constexpr wchar_t nobody[] = L"2 16394 DMLERR_NO_CONV_ESTABLISHED";

TEST_F(DdeTest, RequestsGiveTheServersText) {
    const std::tuple<const wchar_t*, const wchar_t*, std::wstring, const wchar_t*> cases[] = {
        {L"QUOTES", L"BYTES 31322E350D0A00", L"12.5", none},
        {L"QUOTES", L"BYTES 31322E35", L"12.5", none},
        {L"QUOTES", L"BYTES 610D0A620D0A00", L"a\r\nb", none},
        {L"QUOTES", L"BYTES 610062", L"a", none},
        {L"QUOTES", L"BYTES 80", L"\u20AC", none},
        {L"QUOTES", L"SIZE 1000000", std::wstring(1'000'000, L'x'), none},
        {L"QUOTES", L"REFUSE", L"", L"2 16393 DMLERR_NOTPROCESSED"},
        {L"QUOTES", L"SLOW 2300", L"", L"2 16386 DMLERR_DATAACKTIMEOUT"},
        {L"NOSUCH", L"COUNT", L"", nobody},
        {L"", L"COUNT", L"", nobody}};
    for (const auto& [topic, item, data, error] : cases) {
        SCOPED_TRACE(item);
        Reading reading(L"Request", item);
        reading.Set(L"TOPIC", topic);
        reading.Start();
        EXPECT_TRUE(reading.Data() == data);
        EXPECT_EQ(ErrorOf(reading.session), error);
        EXPECT_EQ(reading.sink.events, Events{L"DataReady"});
        EXPECT_EQ(reading.Conversation() != 0, error != nobody);
        reading.session->Done();
        EXPECT_EQ(ErrorOf(reading.session), error) << "ending is no error";
        EXPECT_EQ(reading.Conversation(), 0);
    }
}

TEST_F(DdeTest, TypesInAnyCase) {
    for (const auto& [type, period, expected] :
         {std::tuple{L"Timer", L"1", vtdlDDESessionTypeByTimer},
          {L"TIMER", L"often", vtdlDDESessionTypeOneRequest},
          {L"", L"0", vtdlDDESessionTypeHotAdvise}}) {
        Reading reading(type, L"BYTES 00");
        reading.Set(L"PERIOD", period);
        reading.Start();
        reading.Start();  // ends what was started before
        const Ptr<_CSessionDDE> face(reading.session);
        EXPECT_EQ(Read(face, &_CSessionDDE::get_SessionType), expected) << type << period;
        reading.session->Done();
    }
    EXPECT_TRUE(NoConversationIsOpen());
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
        SCOPED_TRACE(isKilled);
        Reading timed(L"TIMER", L"BYTES 35", 30), asked(L"REQUEST", L"BYTES 35");
        timed.Start();
        asked.Start();
        const auto bothRead = [&](const std::wstring& text) {
            const bool isRead = RunLoop(enough, [&] { return timed.Data() == text; });
            asked.session->NextTick();
            RunLoop(50);  // Wine's servers confirm what they have sent
            asked.session->NextTick();
            return isRead && asked.Data() == text;
        };
        EXPECT_TRUE(bothRead(L"5"));
        isKilled ? m_server.Kill() : m_server.Stop();
        EXPECT_TRUE(bothRead(L""));
        EXPECT_EQ(ErrorOf(asked.session), nobody);
        m_server.Start();
        EXPECT_TRUE(bothRead(L"5"));
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
