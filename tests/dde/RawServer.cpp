#include "RawServer.h"

#include <dde.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace vtdl::tests {
namespace {

ATOM service = 0;
ATOM topic = 0;

void Post(HWND client, HWND server, UINT message, UINT_PTR low, ATOM item) {
    PostMessageW(client, message, reinterpret_cast<WPARAM>(server),
                 PackDDElParam(message, low, item));
}

void PostAcknowledgement(HWND client, HWND server, bool isPositive, ATOM item) {
    constexpr UINT_PTR positive = 0x8000;
    Post(client, server, WM_DDE_ACK, isPositive ? positive : 0, item);
}

void PostData(HWND client, HWND server, std::string_view bytes, ATOM item) {
    const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE | GMEM_ZEROINIT,
                                       offsetof(DDEDATA, Value) + bytes.size());
    auto* const data = static_cast<DDEDATA*>(GlobalLock(memory));
    data->fRelease = 1;
    data->cfFormat = CF_TEXT;
    std::memcpy(data->Value, bytes.data(), bytes.size());
    GlobalUnlock(memory);
    Post(client, server, WM_DDE_DATA, reinterpret_cast<UINT_PTR>(memory), item);
}

void Accept(HWND client, HWND server, LPARAM parameter) {
    if (LOWORD(parameter) != service || HIWORD(parameter) != topic) return;
    // The client deletes these; they are counted.
    char name[256];
    GlobalGetAtomNameA(service, name, sizeof name);
    const ATOM serviceCopy = GlobalAddAtomA(name);
    GlobalGetAtomNameA(topic, name, sizeof name);
    const ATOM topicCopy = GlobalAddAtomA(name);
    SendMessageW(client, WM_DDE_ACK, reinterpret_cast<WPARAM>(server),
                 MAKELPARAM(serviceCopy, topicCopy));
}

void StartLink(HWND client, HWND server, LPARAM parameter) {
    UINT_PTR options = 0, item = 0;
    UnpackDDElParam(WM_DDE_ADVISE, parameter, &options, &item);
    FreeDDElParam(WM_DDE_ADVISE, parameter);
    GlobalFree(reinterpret_cast<HGLOBAL>(options));
    PostData(client, server, std::string_view("early\r\n", 8), static_cast<ATOM>(item));
    PostAcknowledgement(client, server, true, static_cast<ATOM>(item));
}

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wide, LPARAM parameter) noexcept {
    const auto client = reinterpret_cast<HWND>(wide);
    switch (message) {
        case WM_DDE_INITIATE:
            Accept(client, window, parameter);
            return 0;
        case WM_DDE_ADVISE:
            StartLink(client, window, parameter);
            return 0;
        case WM_DDE_UNADVISE:
            PostAcknowledgement(client, window, true, HIWORD(parameter));
            return 0;
        case WM_DDE_REQUEST:
            PostData(client, window, {}, HIWORD(parameter));
            return 0;
        case WM_DDE_TERMINATE:
            PostMessageW(client, WM_DDE_TERMINATE, reinterpret_cast<WPARAM>(window), 0);
            return 0;
        default:
            return DefWindowProcW(window, message, wide, parameter);
    }
}

}  // namespace

HWND StartRawServer(const std::string& serviceName, const std::string& topicName) {
    service = GlobalAddAtomA(serviceName.c_str());
    topic = GlobalAddAtomA(topicName.c_str());
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = Procedure;
    windowClass.lpszClassName = L"VTDL raw DDE server";
    RegisterClassW(&windowClass);
    return CreateWindowW(windowClass.lpszClassName, L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr,
                         nullptr);
}

}  // namespace vtdl::tests
