// A DDE server whose faults the tests choose by the name of the item:
//
//     dde_server SERVICE PARENT
//
// It serves the topic QUOTES, and refuses others, until the process with the number PARENT ends or
// its thread gets a WM_QUIT. Once it listens it prints "listening". Items:
//
//     BYTES 31320D0A00   exactly these bytes
//     SIZE 1000000       a text of that many letters, with a line end
//     SLOW 300           the text "slow", or the start of the link, after that many milliseconds
//     REFUSE             nothing: the request is not processed
//     DIE                the process ends instead of answering
//     LEAVE              answers "gone" and starts the link; then the server closes down in order
//     OPEN               the number of open conversations, the asking one among them
//     COUNT              how often that has been asked
//     RATE 1000 50       as a link: advises 50 numbered texts "RATE 1000 50#1" and so on, 1000 a
//                        second; with the rate 0 as fast as it can
//
// The service with RAW behind its name answers requests without a single byte, advises the text
// "early" before it confirms that a link has started, and confirms that links stop.
#include <windows.h>

#include <ddeml.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "RawServer.h"

namespace {

constexpr char topicName[] = "QUOTES";

DWORD instance = 0;
int conversations = 0;
int asked = 0;
DWORD mainThread = 0;

/// Numbered texts for the links of one item.
struct Feed {
    HSZ item = nullptr;
    int rate = 0;
    int count = 0;
    int sent = 0;
    ULONGLONG start = 0;
};
std::map<std::string, Feed> feeds;
HSZ topic = nullptr;

std::string NameOf(HSZ handle) {
    char text[256] = "";
    DdeQueryStringA(instance, handle, text, sizeof text, CP_WINANSI);
    return text;
}

HDDEDATA Bytes(std::string bytes, HSZ item) {
    return DdeCreateDataHandle(instance, reinterpret_cast<BYTE*>(bytes.data()),
                               static_cast<DWORD>(bytes.size()), 0, item, CF_TEXT, 0);
}

HDDEDATA Line(const std::string& text, HSZ item) {
    return Bytes((text + "\r\n").append(1, '\0'), item);
}

std::string FromHexadecimal(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::strtol(digits.substr(i, 2).c_str(), nullptr, 16));
    return bytes;
}

HDDEDATA Answer(HSZ item) {
    const std::string name = NameOf(item);
    const std::size_t blank = name.find(' ');
    const std::string fault = name.substr(0, blank);
    const std::string argument = blank == std::string::npos ? "" : name.substr(blank + 1);
    const auto number = static_cast<DWORD>(std::atoi(argument.c_str()));
    if (fault == "BYTES") return Bytes(FromHexadecimal(argument), item);
    if (fault == "SIZE") return Line(std::string(number, 'x'), item);
    if (fault == "OPEN") return Line(std::to_string(conversations), item);
    if (fault == "COUNT") return Line(std::to_string(++asked), item);
    if (fault == "LEAVE") return Line("gone", item);
    if (fault == "RATE") return Line(name + "#" + std::to_string(feeds[name].sent), item);
    if (fault == "SLOW") {
        Sleep(number);
        return Line("slow", item);
    }
    if (fault == "DIE") TerminateProcess(GetCurrentProcess(), 0);
    return nullptr;
}

HDDEDATA StartLink(HSZ item) {
    const std::string name = NameOf(item);
    if (name == "REFUSE") return nullptr;
    if (name == "DIE") TerminateProcess(GetCurrentProcess(), 0);
    if (name == "LEAVE") PostThreadMessageW(mainThread, WM_QUIT, 0, 0);
    int rate = 0, count = 0, pause = 0;
    if (std::sscanf(name.c_str(), "SLOW %d", &pause) == 1) Sleep(static_cast<DWORD>(pause));
    if (std::sscanf(name.c_str(), "RATE %d %d", &rate, &count) == 2) {
        DdeKeepStringHandle(instance, item);
        feeds[name] = {item, rate, count, 0, GetTickCount64()};
    }
    return reinterpret_cast<HDDEDATA>(TRUE);
}

HDDEDATA CALLBACK OnTransaction(UINT type, UINT format, HCONV, HSZ first, HSZ second, HDDEDATA,
                                ULONG_PTR, ULONG_PTR) {
    if (type == XTYP_CONNECT)
        return reinterpret_cast<HDDEDATA>(NameOf(first) == topicName ? TRUE : FALSE);
    if (type == XTYP_CONNECT_CONFIRM) ++conversations;
    if (type == XTYP_DISCONNECT) --conversations;
    if (type == XTYP_ADVSTOP) feeds.erase(NameOf(second));
    if ((type == XTYP_REQUEST || type == XTYP_ADVREQ) && format == CF_TEXT) return Answer(second);
    if (type == XTYP_ADVSTART && format == CF_TEXT) return StartLink(second);
    return nullptr;
}

void CALLBACK SendFeeds(HWND, UINT, UINT_PTR, DWORD) {
    for (auto& [name, feed] : feeds) {
        const ULONGLONG passed = GetTickCount64() - feed.start;
        const ULONGLONG due = feed.rate == 0 ? static_cast<ULONGLONG>(feed.count)
                                             : passed * static_cast<ULONGLONG>(feed.rate) / 1000;
        while (feed.sent < feed.count && static_cast<ULONGLONG>(feed.sent) < due) {
            ++feed.sent;
            DdePostAdvise(instance, topic, feed.item);
        }
    }
}

void RunUntilTheEndOf(HANDLE parent) {
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT) return;
            DispatchMessageW(&message);
        }
        if (MsgWaitForMultipleObjectsEx(1, &parent, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE) ==
            WAIT_OBJECT_0)
            return;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const HANDLE parent =
        OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(std::strtoul(argv[2], nullptr, 10)));
    mainThread = GetCurrentThreadId();
    if (!parent || DdeInitializeA(&instance, OnTransaction, APPCLASS_STANDARD, 0) != 0) return 1;
    topic = DdeCreateStringHandleA(instance, topicName, CP_WINANSI);
    const HSZ service = DdeCreateStringHandleA(instance, argv[1], CP_WINANSI);
    if (!DdeNameService(instance, service, nullptr, DNS_REGISTER)) return 1;
    const HWND raw = vtdl::tests::StartRawServer(std::string(argv[1]) + "RAW", topicName);
    if (!raw) return 1;
    SetTimer(nullptr, 0, 10, SendFeeds);
    std::puts("listening");
    std::fflush(stdout);
    RunUntilTheEndOf(parent);
    DestroyWindow(raw);
    DdeUninitialize(instance);
    return 0;
}
