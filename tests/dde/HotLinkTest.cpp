// Hot links: what a server advises arrives once, in order, at the session whose link it is; and
// sessions that end in any order, also inside the system's callback.

#include "DdeTest.h"

namespace vtdl::tests {
namespace {

class HotLinkTest : public DdeTest {
protected:
    /// A hot link that writes down what it gets.
    struct Link : Reading {
        Events texts;
        std::function<void()> onText = [] {};

        explicit Link(const wchar_t* item) : Reading(L"HOTADVISE", item) {
            sink.onEvent = [this](const std::wstring& event, _CSession*) {
                if (event != L"DataReady") return;
                texts.push_back(Data());
                onText();
            };
        }
        /// Whether it gets the numbers from 1 on, each once, and nothing else.
        bool GetsAll(const std::wstring& item, std::size_t count) {
            RunLoop(enough, [&] { return texts.size() >= count; });
            RunLoop(50);
            Events expected;
            for (std::size_t i = 1; i <= count; ++i)
                expected.push_back(item + L"#" + std::to_wstring(i));
            return texts == expected;
        }
    };
};

// Messages that the host dispatches in its callback bring further data, which has to wait.
TEST_F(HotLinkTest, EveryAdviseArrivesInOrder) {
    for (const auto& [item, count] : {std::pair{L"RATE 0 3000", 3000u}, {L"RATE 1000 60", 60u}}) {
        Link link(item);
        int depth = 0;
        link.onText = [&, isPumping = count == 60] {
            EXPECT_EQ(++depth, 1);
            if (isPumping && link.texts.size() % 10 == 1) RunLoop(20);
            --depth;
        };
        link.Start();
        EXPECT_TRUE(link.GetsAll(item, count));
        EXPECT_EQ(ErrorOf(link.session), L"0 0 ");
        EXPECT_EQ(Read(Ptr<_CSessionDDE>(link.session), &_CSessionDDE::get_HAResult), 0x8000);
        link.session->Done();
        EXPECT_EQ(link.LastEvent(), L"Done 0");
    }
    EXPECT_TRUE(NoConversationIsOpen());
}

TEST_F(HotLinkTest, LinksOfOneTopicDoNotMix) {
    const wchar_t* items[] = {L"RATE 300 50", L"RATE 300 51", L"RATE 300 50 again"};
    Link links[] = {Link(items[0]), Link(items[1]), Link(items[2])};
    for (Link& link : links) link.Start();
    for (const int i : {0, 1, 2}) EXPECT_TRUE(links[i].GetsAll(items[i], i == 1 ? 51 : 50));
    EXPECT_EQ(Ask(L"OPEN"), L"4");
    for (const int i : {1, 0, 2}) links[i].session->Done();
    EXPECT_TRUE(NoConversationIsOpen());
}

TEST_F(HotLinkTest, LinkThatDoesNotStart) {
    for (const auto& [topic, item, error] :
         {std::tuple{L"QUOTES", L"REFUSE", L"2 16393 DMLERR_NOTPROCESSED"},
          {L"NOSUCH", L"RATE 0 1", L"2 16394 DMLERR_NO_CONV_ESTABLISHED"},
          {L"QUOTES", L"DIE", L"2 16384 DMLERR_ADVACKTIMEOUT"}}) {
        Link link(item);
        link.Set(L"TOPIC", topic);
        link.Start();
        EXPECT_EQ(StatusOf(link.session), vtdlSessionStatusDone);
        EXPECT_EQ(ErrorOf(link.session), error);
        EXPECT_EQ(link.sink.events, Events{});
    }
}

// What a host does when it is told happens inside the system's callback; more data waits, and
// another link may have the topic.
TEST_F(HotLinkTest, LinksEndFromTheirOwnCallback) {
    for (const bool isReleased : {false, true})
        for (const bool isBeside : {false, true}) {
            Link beside(L"RATE 100 1000"), link(L"RATE 0 5");
            if (isBeside) beside.Start();
            link.onText = [&] {
                if (isReleased)
                    link.session = nullptr;
                else
                    EXPECT_EQ(link.session->Done(), S_OK);
            };
            link.Start();
            EXPECT_TRUE(RunLoop(enough, [&] { return !link.sink.events.empty(); }));
            RunLoop(50);
            EXPECT_EQ(link.Count(L"DataReady"), 1);
            beside.session->Done();
            EXPECT_TRUE(NoConversationIsOpen());
        }
}

TEST_F(HotLinkTest, SessionsAnswerEveryNameOnBothFaces) {
    Reading reading(L"REQUEST", L"REFUSE");
    const Ptr<_CSessionDDE> own(reading.session);
    EXPECT_EQ(Ptr<IDispatch>(reading.session).GetInterfacePtr(), own.GetInterfacePtr());
    for (IDispatch* const face : {static_cast<IDispatch*>(own.GetInterfacePtr()),
                                  static_cast<IDispatch*>(reading.session.GetInterfacePtr())}) {
        Get(face, L"Start");
        EXPECT_EQ(TextOf(Get(face, L"SessionType")), L"1");
        EXPECT_EQ(TextOf(Get(face, L"Error", {L"ErrorDescription"})), L"DMLERR_NOTPROCESSED");
        Get(face, L"Done");
    }
}

TEST_F(HotLinkTest, SessionsEndWhileTheServerThinks) {
    for (const wchar_t* type : {L"TIMER", L"HOTADVISE"})
        for (const bool isReleased : {false, true}) {
            SCOPED_TRACE(type);
            Reading reading(type, L"SLOW 300", 20);
            const Later later(150, [&] {
                if (isReleased)
                    reading.session = nullptr;
                else
                    EXPECT_EQ(reading.session->Done(), S_OK);
            });
            reading.Start();
            EXPECT_TRUE(RunLoop(enough, [] { return Later::HasRun(); }));
            RunLoop(400);
            EXPECT_LE(reading.Count(L"DataReady"), 1) << "the reading that was under way";
            EXPECT_TRUE(NoConversationIsOpen());
        }
}

// A host in a service or a build has no desktop: no DDE, and no error report about that.
class UnattendedDde : public LibraryTest {};

TEST_F(UnattendedDde, ManagerIsSilentAndSessionsReport) {
    const auto manager = New(L"CManager"), sources = GetObject(manager, L"DataSources");
    for (const wchar_t* type : {L"REQUEST", L"HOTADVISE"}) {
        Reading reading(type, L"COUNT", 0, GetObject(sources, L"Item", {L"DDE"}));
        reading.Start();
        EXPECT_EQ(ErrorOf(reading.session), L"2 16394 DMLERR_NO_CONV_ESTABLISHED");
        reading.session->Done();
        EXPECT_EQ(reading.LastEvent(), L"Done 16394");
    }
}

}  // namespace
}  // namespace vtdl::tests
