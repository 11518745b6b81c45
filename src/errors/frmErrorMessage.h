#pragma once
// The error dialog.

#include <windows.h>

#include <string>

namespace vtdl {

/// A modal window that shows a report and asks what to do about it. While it is open, the host's
/// messages flow.
class frmErrorMessage {
public:
    frmErrorMessage() = default;
    frmErrorMessage(const frmErrorMessage&) = delete;
    frmErrorMessage& operator=(const frmErrorMessage&) = delete;
    ~frmErrorMessage();

    /// Where Send sends to; Send is disabled while it is empty.
    void SupportMail(std::wstring address) { m_supportMail = std::move(address); }

    /// The report; the library's version is appended to it.
    void ErrorMessage(const std::wstring& text);
    const std::wstring& ErrorMessage() const noexcept { return m_message; }

    /// "ABORT", "RETRY" or "IGNORE"; closing the window means "ABORT".
    const std::wstring& Result() const noexcept { return m_result; }

    /// Shows the window until it is answered. False when none can be shown.
    bool ShowModal();

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam,
                                       LPARAM lParam) noexcept;
    INT_PTR OnMessage(UINT message, WPARAM wParam, LPARAM lParam);
    void OnLoad();
    void OnCommand(int control);
    void OnResize();
    void UseFixedPitchFont();
    void FitIntoWorkArea();
    void Answer(const wchar_t* result);
    void Send();

    std::wstring m_supportMail;
    std::wstring m_message;
    std::wstring m_result = L"ABORT";
    HWND m_window = nullptr;
    HFONT m_font = nullptr;
    RECT m_client{};
    SIZE m_smallest{};
};

/// The address of a message to the support: with the report as its body.
/// Only some characters of the report are escaped, on purpose; blanks and "%" stay.
std::wstring SupportAddress(const std::wstring& supportMail, const std::wstring& subject,
                            const std::wstring& report);

}  // namespace vtdl
