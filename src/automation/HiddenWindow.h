#pragma once
// The library's own message-only window, which timers are attached to.

#include <windows.h>

#include <memory>

namespace vtdl::automation {

/// Exists while somebody of its thread holds it; that thread's message loop serves it.
class HiddenWindow {
public:
    static std::shared_ptr<HiddenWindow> get();

    HiddenWindow();
    HiddenWindow(const HiddenWindow&) = delete;
    HiddenWindow& operator=(const HiddenWindow&) = delete;
    ~HiddenWindow();

    HWND Handle() const noexcept { return m_handle; }

private:
    HWND m_handle;
};

}  // namespace vtdl::automation
