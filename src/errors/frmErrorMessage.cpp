#include "errors/frmErrorMessage.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "automation/Error.h"
#include "automation/TypeInformation.h"
#include "errors/Version.h"
#include "errors/frmErrorMessageControls.h"
#include "shell/CShell.h"

namespace vtdl {
namespace {

constexpr wchar_t caption[] = L"An error occurred in Vestora Download Library";

std::wstring ReplaceAll(std::wstring text, std::wstring_view what, std::wstring_view with) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::wstring::npos; at += with.size())
        text.replace(at, what.size(), with);
    return text;
}

// How a control follows the window's size: what it does with added width and height.
struct Anchor {
    int control;
    bool movesRight, movesDown, growsWide, growsHigh;
};

constexpr Anchor anchors[] = {
    {elaTitleCaption, false, false, true, false}, {txtErrorMessage, false, false, true, true},
    {btnSend, false, true, false, false},         {btnAbort, true, true, false, false},
    {btnRetry, true, true, false, false},         {btnIgnore, true, true, false, false},
};

}  // namespace

frmErrorMessage::~frmErrorMessage() {
    if (m_font) DeleteObject(m_font);
}

void frmErrorMessage::ErrorMessage(const std::wstring& text) {
    m_message = text + L"\r\nVersion: " + std::to_wstring(libraryVersion[0]) + L"." +
                std::to_wstring(libraryVersion[1]) + L"." + std::to_wstring(libraryVersion[2]);
}

bool frmErrorMessage::ShowModal() {
    m_result = L"ABORT";
    const INT_PTR shown = DialogBoxParamW(
        automation::Module(), MAKEINTRESOURCEW(frmErrorMessageDialog), GetActiveWindow(),
        &frmErrorMessage::DialogProc, reinterpret_cast<LPARAM>(this));
    return shown > 0;
}

INT_PTR CALLBACK frmErrorMessage::DialogProc(HWND window, UINT message, WPARAM wParam,
                                             LPARAM lParam) noexcept {
    if (message == WM_INITDIALOG) {
        reinterpret_cast<frmErrorMessage*>(lParam)->m_window = window;
        SetWindowLongPtrW(window, DWLP_USER, lParam);
    }
    auto* form = reinterpret_cast<frmErrorMessage*>(GetWindowLongPtrW(window, DWLP_USER));
    try {
        return form ? form->OnMessage(message, wParam, lParam) : FALSE;
    } catch (...) {
        MessageBeep(MB_ICONERROR);  // the dialog stays: its answer is still wanted
        return FALSE;
    }
}

INT_PTR frmErrorMessage::OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG:
            OnLoad();
            return FALSE;  // the focus is set
        case WM_COMMAND:
            OnCommand(LOWORD(wParam));
            return TRUE;
        case WM_SIZE:
            OnResize();
            return TRUE;
        case WM_GETMINMAXINFO:
            if (m_smallest.cx == 0) return FALSE;
            reinterpret_cast<MINMAXINFO*>(lParam)->ptMinTrackSize = {m_smallest.cx, m_smallest.cy};
            return TRUE;
        default:
            return FALSE;
    }
}

void frmErrorMessage::OnLoad() {
    GetClientRect(m_window, &m_client);
    SetDlgItemTextW(m_window, elaTitleCaption, caption);
    UseFixedPitchFont();
    SetDlgItemTextW(m_window, txtErrorMessage, m_message.c_str());
    EnableWindow(GetDlgItem(m_window, btnSend), !m_supportMail.empty());
    FitIntoWorkArea();
    SetFocus(GetDlgItem(m_window, btnAbort));
    MessageBeep(MB_OK);
    SetForegroundWindow(m_window);
}

// Columns of the report stand under each other; as high as the dialog's own font, whatever the dpi.
void frmErrorMessage::UseFixedPitchFont() {
    LOGFONTW font{};
    const auto dialogFont = reinterpret_cast<HFONT>(SendMessageW(m_window, WM_GETFONT, 0, 0));
    if (!GetObjectW(dialogFont, sizeof font, &font)) return;
    font.lfPitchAndFamily = FIXED_PITCH | FF_MODERN;
    lstrcpynW(font.lfFaceName, L"Courier New", LF_FACESIZE);
    m_font = CreateFontIndirectW(&font);
    SendDlgItemMessageW(m_window, txtErrorMessage, WM_SETFONT, reinterpret_cast<WPARAM>(m_font),
                        FALSE);
}

void frmErrorMessage::FitIntoWorkArea() {
    RECT work, window;
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    GetWindowRect(m_window, &window);
    const LONG width = std::min(window.right - window.left, work.right - work.left);
    const LONG height = std::min(window.bottom - window.top, work.bottom - work.top);
    const LONG left = std::clamp(window.left, work.left, work.right - width);
    const LONG top = std::clamp(window.top, work.top, work.bottom - height);
    SetWindowPos(m_window, HWND_TOP, left, top, width, height, 0);
    m_smallest = {width * 2 / 3, height / 2};
}

void frmErrorMessage::OnResize() {
    RECT client;
    GetClientRect(m_window, &client);
    const int wider = client.right - m_client.right, higher = client.bottom - m_client.bottom;
    if (client.right == 0 || (wider == 0 && higher == 0)) return;  // minimised, or nothing new
    for (const Anchor& anchor : anchors) {
        RECT place;
        const HWND control = GetDlgItem(m_window, anchor.control);
        GetWindowRect(control, &place);
        MapWindowPoints(HWND_DESKTOP, m_window, reinterpret_cast<POINT*>(&place), 2);
        MoveWindow(control, place.left + (anchor.movesRight ? wider : 0),
                   place.top + (anchor.movesDown ? higher : 0),
                   place.right - place.left + (anchor.growsWide ? wider : 0),
                   place.bottom - place.top + (anchor.growsHigh ? higher : 0), TRUE);
    }
    m_client = client;
}

void frmErrorMessage::OnCommand(int control) {
    switch (control) {
        case btnAbort:
        case IDCANCEL:
            Answer(L"ABORT");
            return;  // Esc and closing the window
        case btnRetry:
            Answer(L"RETRY");
            return;
        case btnIgnore:
            Answer(L"IGNORE");
            return;
        case btnSend:
            Send();
            return;
    }
}

void frmErrorMessage::Answer(const wchar_t* result) {
    m_result = result;
    EndDialog(m_window, 1);
}

void frmErrorMessage::Send() {
    CShell().OpenURL(SupportAddress(m_supportMail, caption, m_message));
}

std::wstring SupportAddress(const std::wstring& supportMail, const std::wstring& subject,
                            const std::wstring& report) {
    constexpr std::pair<std::wstring_view, std::wstring_view> escapes[] = {
        {L"\r\n", L"%0A"}, {L"\t", L"%09"}, {L":", L"%3A"}, {L"/", L"%2F"},
        {L"?", L"%3F"},    {L"=", L"%3D"},  {L"&", L"%26"},
    };
    std::wstring body = report;
    for (const auto& [what, with] : escapes) body = ReplaceAll(std::move(body), what, with);
    const std::wstring line(20, L'-');
    return L"mailto:" + supportMail + L"?subject=" + ReplaceAll(subject, L" ", L"%20") +
           L"&body=%0A%0A" + line + L"%0A" + body + L"%0A" + line;
}

}  // namespace vtdl
