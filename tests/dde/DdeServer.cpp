// A DDE server whose faults the tests choose by the name of the item:
//
//     dde_server SERVICE PARENT
//
// It serves the topic QUOTES, and refuses others, until the process with the number PARENT ends or
// its thread gets a WM_QUIT. Once it listens it prints "listening". Items:
//
//     BYTES 31320D0A00   exactly these bytes
//     SIZE 1000000       a text of that many letters, with a line end
//     SLOW 300           any text, or the start of the link, after that many milliseconds
//     REFUSE             nothing: the request is not processed
//     DIE                the process ends instead of answering
//     OPEN               the number of open conversations, the asking one among them
//     COUNT              how often that has been asked
//     RATE 1000 50       as a link: advises 50 numbered texts "RATE 1000 50#1" and so on, 1000 a
//                        second; with the rate 0 as fast as it can
#include <windows.h>

#include <ddeml.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

namespace {

DWORD instance = 0;
int conversations = 0, asked = 0;
HSZ topic = nullptr;

/// Numbered texts for the links of one item.
struct Feed {
    HSZ item = nullptr;
    int rate = 0, count = 0, sent = 0;
    ULONGLONG start = GetTickCount64();
};
std::map<std::string, Feed> feeds;

std::string NameOf(HSZ handle) {
    char text[256] = "";
    DdeQueryStringA(instance, handle, text, sizeof text, CP_WINANSI);
    return text;
}

HDDEDATA Answer(HSZ item) {
    const std::string name = NameOf(item), fault = name.substr(0, name.find(' '));
    const std::string argument = name.substr(std::min(fault.size() + 1, name.size()));
    const auto number = static_cast<DWORD>(std::atoi(argument.c_str()));
    if (fault == "DIE") TerminateProcess(GetCurrentProcess(), 0);
    if (fault == "REFUSE") return nullptr;
    if (fault == "SLOW") Sleep(number);
    std::string bytes;
    if (fault == "BYTES")
        for (std::size_t i = 0; i < argument.size(); i += 2)
            bytes += static_cast<char>(std::strtol(argument.substr(i, 2).c_str(), nullptr, 16));
    else
        bytes = (fault == "SIZE"    ? std::string(number, 'x')
                 : fault == "OPEN"  ? std::to_string(conversations)
                 : fault == "COUNT" ? std::to_string(++asked)
                                    : name + "#" + std::to_string(feeds[name].sent)) +
                "\r\n" + '\0';
    return DdeCreateDataHandle(instance, reinterpret_cast<BYTE*>(bytes.data()),
                               static_cast<DWORD>(bytes.size()), 0, item, CF_TEXT, 0);
}

HDDEDATA StartLink(HSZ item) {
    const std::string name = NameOf(item);
    if (name == "REFUSE") return nullptr;
    if (name == "DIE") TerminateProcess(GetCurrentProcess(), 0);
    Feed feed{item};
    int pause = 0;
    if (std::sscanf(name.c_str(), "SLOW %d", &pause) == 1) Sleep(static_cast<DWORD>(pause));
    if (std::sscanf(name.c_str(), "RATE %d %d", &feed.rate, &feed.count) == 2) {
        DdeKeepStringHandle(instance, item);
        feeds[name] = feed;
    }
    return reinterpret_cast<HDDEDATA>(TRUE);
}

HDDEDATA CALLBACK OnTransaction(UINT type, UINT format, HCONV, HSZ first, HSZ second, HDDEDATA,
                                ULONG_PTR, ULONG_PTR) {
    if (type == XTYP_CONNECT)
        return reinterpret_cast<HDDEDATA>(NameOf(first) == "QUOTES" ? TRUE : FALSE);
    if (type == XTYP_CONNECT_CONFIRM) ++conversations;
    if (type == XTYP_DISCONNECT) --conversations;
    if (type == XTYP_ADVSTOP) feeds.erase(NameOf(second));
    if ((type == XTYP_REQUEST || type == XTYP_ADVREQ) && format == CF_TEXT) return Answer(second);
    if (type == XTYP_ADVSTART && format == CF_TEXT) return StartLink(second);
    return nullptr;
}

void CALLBACK SendFeeds(HWND, UINT, UINT_PTR, DWORD) {
    for (auto& [name, feed] : feeds) {
        const auto passed = static_cast<long long>(GetTickCount64() - feed.start);
        const long long due = feed.rate == 0 ? feed.count : passed * feed.rate / 1000;
        for (; feed.sent < feed.count && feed.sent < due; DdePostAdvise(instance, topic, feed.item))
            ++feed.sent;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const HANDLE parent =
        OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(std::strtoul(argv[2], nullptr, 10)));
    if (!parent || DdeInitializeA(&instance, OnTransaction, APPCLASS_STANDARD, 0) != 0) return 1;
    topic = DdeCreateStringHandleA(instance, "QUOTES", CP_WINANSI);
    const HSZ service = DdeCreateStringHandleA(instance, argv[1], CP_WINANSI);
    if (!DdeNameService(instance, service, nullptr, DNS_REGISTER)) return 1;
    SetTimer(nullptr, 0, 10, SendFeeds);
    std::puts("listening");
    std::fflush(stdout);
    MSG message{};
    while (message.message != WM_QUIT &&
           MsgWaitForMultipleObjectsEx(1, &parent, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE) != 0)
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) && message.message != WM_QUIT)
            DispatchMessageW(&message);
    DdeUninitialize(instance);
    return 0;
}
