// A person at the keyboard and the mouse: waits for the library's windows, one after another, and
// answers each. What the windows show is appended to a file.
//
//     press_button FILE ANSWER...
//
// An answer is the caption of a button, without "&"; "Esc"; "Close"; or "Wait", which lets half a
// second pass and counts the windows. Exit status: 1 when a window or button does not appear.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr wchar_t windowTitle[] = L"Vestora Download Library";

struct Search {
    HWND found = nullptr;
    HWND previous = nullptr;
    int count = 0;
};

BOOL CALLBACK Consider(HWND window, LPARAM parameter) {
    auto& search = *reinterpret_cast<Search*>(parameter);
    wchar_t title[100] = L"", name[100] = L"";
    GetWindowTextW(window, title, ARRAYSIZE(title));
    GetClassNameW(window, name, ARRAYSIZE(name));
    const bool isOurs = lstrcmpW(title, windowTitle) == 0 && lstrcmpW(name, L"#32770") == 0 &&
                        IsWindowVisible(window);
    if (isOurs) ++search.count;
    if (isOurs && window != search.previous) search.found = window;
    return TRUE;
}

Search Windows(HWND previous) {
    Search search;
    search.previous = previous;
    EnumWindows(&Consider, reinterpret_cast<LPARAM>(&search));
    return search;
}

HWND WaitForWindow(HWND previous) {
    for (int attempt = 0; attempt < 200; ++attempt, Sleep(50))
        if (const HWND window = Windows(IsWindow(previous) ? previous : nullptr).found)
            return window;
    return nullptr;
}

std::wstring TextOf(HWND window) {
    std::vector<wchar_t> text(
        static_cast<std::size_t>(SendMessageW(window, WM_GETTEXTLENGTH, 0, 0)) + 1);
    SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
    return text.data();
}

void Write(FILE* file, const std::wstring& text) {
    for (const wchar_t c : text) std::fputc(c < 128 ? static_cast<char>(c) : '?', file);
    std::fputc('\n', file);
}

void Describe(HWND window, FILE* file) {
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        Write(file, (IsWindowEnabled(child) ? L"" : L"disabled ") + TextOf(child));
    std::fflush(file);
}

HWND Button(HWND window, const std::wstring& caption) {
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        std::wstring text = TextOf(child);
        std::erase(text, L'&');
        if (text == caption) return child;
    }
    return nullptr;
}

void Click(HWND button) {
    RECT place;
    GetWindowRect(button, &place);
    SetCursorPos((place.left + place.right) / 2, (place.top + place.bottom) / 2);
    INPUT inputs[2]{};
    for (INPUT& input : inputs) input.type = INPUT_MOUSE;
    inputs[0].mi.dwFlags = MOUSEEVENTF_LEFTDOWN;
    inputs[1].mi.dwFlags = MOUSEEVENTF_LEFTUP;
    SendInput(2, inputs, sizeof inputs[0]);
}

void PressEscape() {
    INPUT inputs[2]{};
    for (INPUT& input : inputs) {
        input.type = INPUT_KEYBOARD;
        input.ki.wVk = VK_ESCAPE;
    }
    inputs[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(2, inputs, sizeof inputs[0]);
}

// False when there is no such button.
bool Answer(HWND window, const std::wstring& answer) {
    if (answer == L"Esc") {
        PressEscape();
    } else if (answer == L"Close") {
        PostMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0);
    } else {
        const HWND button = Button(window, answer);
        if (!button) return false;
        Click(button);
    }
    return true;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    FILE* file = argc > 2 ? _wfopen(argv[1], L"ab") : nullptr;
    if (!file) return 2;
    HWND window = nullptr;
    for (int i = 2; i < argc; ++i) {
        const std::wstring answer = argv[i];
        if (answer == L"Wait") {
            window = window ? window : WaitForWindow(nullptr);
            Sleep(500);
            Write(file, std::to_wstring(Windows(nullptr).count) + L" open");
            window = nullptr;
            continue;
        }
        window = WaitForWindow(window);
        if (!window) return 1;
        Sleep(100);  // a person looks first
        Describe(window, file);
        if (!Answer(window, answer)) return 1;
    }
    std::fclose(file);
    return 0;
}
