// Hot links: what a server advises arrives once, in order, at the session whose link it is.

#include <vector>

#include "DdeTest.h"
#include "dde/mDDE.h"

namespace vtdl::tests {
namespace {

/// Writes down the numbers behind "#" of what a session gets, and what has another text.
class Numbered {
public:
    explicit Numbered(const std::wstring& item) : m_item(item + L"#") {}

    void Take(const std::wstring& data) {
        if (data.starts_with(m_item))
            numbers.push_back(std::stoi(data.substr(m_item.size())));
        else
            others.push_back(data);
    }
    bool IsComplete(int count) const {
        for (int i = 0; i < count; ++i)
            if (static_cast<int>(numbers.size()) != count ||
                numbers[static_cast<std::size_t>(i)] != i + 1)
                return false;
        return others.empty();
    }
    std::string Text() const {
        return testing::PrintToString(numbers) + testing::PrintToString(others);
    }

    std::vector<int> numbers;
    Events others;

private:
    std::wstring m_item;
};

class HotLinkTest : public DdeTest {
protected:
    /// A hot link whose data is written down.
    struct Link : Reading, Numbered {
        explicit Link(const wchar_t* item) : Reading(L"HOTADVISE", item), Numbered(item) {
            sink.onEvent = [this](const std::wstring& event, _CSession* caller) {
                EXPECT_EQ(caller, session.GetInterfacePtr());
                if (event == L"DataReady") Take(Data());
            };
        }
        bool Gets(std::size_t count) {
            return RunLoop(enough, [&] { return numbers.size() + others.size() >= count; });
        }
    };
};

TEST_F(HotLinkTest, EveryAdviseArrivesInOrder) {
    for (const auto& [item, count] : {std::pair{L"RATE 0 3000", 3000}, {L"RATE 500 100", 100}}) {
        Link link(item);
        link.Start();
        EXPECT_EQ(StatusOf(link.session), vtdlSessionStatusIdle);
        EXPECT_NE(link.Conversation(), 0);
        EXPECT_TRUE(link.Gets(static_cast<std::size_t>(count)));
        RunLoop(50);
        EXPECT_TRUE(link.IsComplete(count)) << link.Text();
        EXPECT_EQ(ErrorOf(link.session), L"0 0 ");
        long answer = 0;
        Ptr<_CSessionDDE>(link.session)->get_HAResult(&answer);
        EXPECT_EQ(answer, 0x8000);
        link.session->Done();
        EXPECT_EQ(link.LastEvent(), L"Done 0");
    }
    EXPECT_TRUE(NoConversationIsOpen());
}

// Messages that the host dispatches in its callback bring further data, which has to wait.
TEST_F(HotLinkTest, HostMayPumpInItsCallback) {
    Link link(L"RATE 1000 60");
    int depth = 0, deepest = 0;
    link.sink.onEvent = [&](const std::wstring& event, _CSession*) {
        if (event != L"DataReady") return;
        deepest = std::max(deepest, ++depth);
        link.Take(link.Data());
        if (link.numbers.size() % 10 == 1) RunLoop(20);
        --depth;
    };
    link.Start();
    EXPECT_TRUE(link.Gets(60));
    RunLoop(50);
    EXPECT_TRUE(link.IsComplete(60)) << link.Text();
    EXPECT_EQ(deepest, 1);
    link.session->Done();
}

TEST_F(HotLinkTest, HostThatNeverReturnsLosesTheOldest) {
    Link link(L"RATE 0 1500");
    link.sink.onEvent = [&](const std::wstring&, _CSession*) {
        link.Take(link.Data());
        if (link.numbers.size() == 1) RunLoop(2000);
    };
    link.Start();
    EXPECT_TRUE(link.Gets(1001));
    EXPECT_EQ(link.numbers.size(), 1001u);
    EXPECT_EQ(link.numbers[1], 501);
    EXPECT_EQ(link.numbers.back(), 1500);
    link.sink.onEvent = nullptr;
    link.session->Done();
}

TEST_F(HotLinkTest, LinksOfOneTopicDoNotMix) {
    Link links[] = {Link(L"RATE 300 50"), Link(L"RATE 300 51"), Link(L"RATE 300 50 again")};
    for (Link& link : links) link.Start();
    EXPECT_TRUE(links[0].Gets(50) && links[1].Gets(51) && links[2].Gets(50));
    RunLoop(50);
    EXPECT_TRUE(links[0].IsComplete(50)) << links[0].Text();
    EXPECT_TRUE(links[1].IsComplete(51)) << links[1].Text();
    EXPECT_TRUE(links[2].IsComplete(50)) << links[2].Text();
    EXPECT_EQ(Ask(L"OPEN"), L"4");
    links[1].session->Done();
    links[0].session->Done();
    links[2].session->Done();
    EXPECT_TRUE(NoConversationIsOpen());
}

HDDEDATA Deliver(UINT transaction, HCONV conversation) {
    return mDDE::DDECallback(transaction, CF_TEXT, conversation, nullptr, nullptr, nullptr, 0, 0);
}

TEST_F(HotLinkTest, OnlyAdviceForAnEnteredLinkCounts) {
    Link link(L"RATE 0 0");
    link.Start();
    const auto conversation = reinterpret_cast<HCONV>(link.Conversation());
    const auto unknown = reinterpret_cast<HCONV>(link.Conversation() + 1);
    EXPECT_EQ(Deliver(XTYP_ADVDATA, unknown), nullptr);
    for (const UINT transaction : {XTYP_XACT_COMPLETE, XTYP_DISCONNECT, XTYP_REGISTER, XTYP_ERROR})
        EXPECT_EQ(Deliver(transaction, conversation), nullptr);
    EXPECT_EQ(link.sink.events, Events{});
    EXPECT_EQ(Deliver(XTYP_ADVDATA, conversation), reinterpret_cast<HDDEDATA>(DDE_FACK));
    EXPECT_EQ(link.others, Events{L""}) << "without a data handle there is no text";
    link.session->Done();
}

// Wine drops data that comes before the server has confirmed the link, and the link with it.
TEST_F(HotLinkTest, DataBeforeTheLinkIsConfirmed) {
    Link link(L"EARLY");
    link.Set(L"SERVICE", (DdeServer::Service() + L"RAW").c_str());
    link.Start();
    EXPECT_EQ(StatusOf(link.session), vtdlSessionStatusDone);
    EXPECT_EQ(ErrorOf(link.session), L"2 16393 DMLERR_NOTPROCESSED");
    RunLoop(50);
    EXPECT_EQ(link.sink.events, Events{});
    link.session->Done();
}

TEST_F(HotLinkTest, LinkThatDoesNotStart) {
    struct Case {
        const wchar_t* topic;
        const wchar_t* item;
        const wchar_t* error;
    };
    for (const Case& expected : {Case{L"QUOTES", L"REFUSE", L"2 16393 DMLERR_NOTPROCESSED"},
                                 {L"NOSUCH", L"RATE 0 1", L"2 16394 DMLERR_NO_CONV_ESTABLISHED"},
                                 {L"QUOTES", L"DIE", L"2 16384 DMLERR_ADVACKTIMEOUT"}}) {
        Link link(expected.item);
        link.Set(L"TOPIC", expected.topic);
        link.Start();
        EXPECT_EQ(StatusOf(link.session), vtdlSessionStatusDone);
        EXPECT_EQ(ErrorOf(link.session), expected.error);
        EXPECT_EQ(link.sink.events, Events{});
        link.session->Done();
    }
}

TEST_F(HotLinkTest, ReleasedAndRestartedLinks) {
    {
        Link released(L"RATE 200 1000");
        released.Start();
        EXPECT_TRUE(released.Gets(2));
        released.session = nullptr;
        RunLoop(100);
    }
    EXPECT_TRUE(NoConversationIsOpen());

    Link restarted(L"RATE 200 20");
    restarted.Start();
    EXPECT_TRUE(restarted.Gets(2));
    restarted.Start();
    restarted.numbers.clear();
    EXPECT_TRUE(restarted.Gets(20));
    EXPECT_TRUE(restarted.IsComplete(20)) << restarted.Text();
    EXPECT_EQ(Ask(L"OPEN"), L"2");
    restarted.session->Done();
}

// What a host does when it is told happens inside the system's callback.
// A host may say that the session is of another kind by now; the registry, which does not hold it,
// has to forget it all the same. What it still knew would be an object that is alive.
TEST_F(HotLinkTest, LinksEndWhateverTheirKindIsByThen) {
    for (const auto kind : {vtdlDDESessionTypeByTimer, vtdlDDESessionTypeOneRequest}) {
        Link link(L"RATE 200 1000");
        link.Start();
        EXPECT_TRUE(link.Gets(2));
        const Ptr<_CSessionDDE> face(link.session);
        EXPECT_EQ(face->put_SessionType(kind), S_OK);
    }
    RunLoop(100);
    EXPECT_TRUE(NoConversationIsOpen());
}

TEST_F(HotLinkTest, LinksEndFromTheirOwnCallback) {
    for (const bool isReleased : {false, true}) {
        auto beside = std::make_unique<Link>(L"RATE 100 1000");  // takes the topic first
        beside->Start();
        for (const bool isBeside : {true, false}) {
            if (!isBeside) beside.reset();
            Link link(L"RATE 100 999");
            int told = 0;
            link.sink.onEvent = [&](const std::wstring& event, _CSession* caller) {
                if (event != L"DataReady" || ++told != 3) return;
                if (isReleased)
                    link.session = nullptr;
                else
                    EXPECT_EQ(caller->Done(), S_OK);
            };
            link.Start();
            EXPECT_TRUE(RunLoop(enough, [&] { return told == 3; }));
            RunLoop(50);
            EXPECT_EQ(told, 3);
        }
        EXPECT_TRUE(NoConversationIsOpen());
    }
}

TEST_F(HotLinkTest, ServerGoesAwayAndComesBack) {
    for (const bool isKilled : {false, true}) {
        Link link(isKilled ? L"RATE 100 1000" : L"LEAVE");
        link.Start();
        if (isKilled) {
            EXPECT_TRUE(link.Gets(1));
            m_server.Kill();
        } else {
            m_server.Stop();
        }
        RunLoop(50);
        EXPECT_EQ(StatusOf(link.session), vtdlSessionStatusIdle) << "a silent link";
        m_server.Start();
        link.Set(L"ITEM", L"RATE 100 1000");
        const std::size_t before = link.numbers.size() + link.others.size();
        link.Start();
        EXPECT_TRUE(link.Gets(before + 3)) << "a start connects anew";
        link.session->Done();
        EXPECT_TRUE(NoConversationIsOpen());
    }
}

TEST_F(HotLinkTest, Trace) {
    TurnTracingOn();
    Link link(L"RATE 0 0");
    link.Start();
    link.session->Done();
    EXPECT_EQ(TraceOf(link),
              L"#: DDE Connection Success.\n"
              L"#: Hot advise transaction start success.\n"
              L"#: DDE Disconnection Success.\n");
    TurnTracingOn();
    Link refused(L"REFUSE");
    refused.Start();
    refused.session->Done();
    EXPECT_EQ(TraceOf(refused),
              L"#: DDE Connection Success.\n"
              L"#: Hot advise transaction start failure.\n"
              L"#: DDE Disconnection Success.\n");
}

}  // namespace
}  // namespace vtdl::tests
