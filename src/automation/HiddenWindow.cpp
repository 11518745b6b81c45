#include "automation/HiddenWindow.h"

#include "automation/Error.h"
#include "automation/PerApartment.h"

namespace vtdl::automation {
namespace {

PerApartment<std::weak_ptr<HiddenWindow>> current;

}  // namespace

std::shared_ptr<HiddenWindow> HiddenWindow::get() {
    std::shared_ptr<HiddenWindow> window = current->lock();
    if (!window) *current = window = std::make_shared<HiddenWindow>();
    return window;
}

// A system class needs no registration of ours, so nothing is left behind when the library is
// unloaded.
HiddenWindow::HiddenWindow()
    : m_handle(CreateWindowExW(0, L"STATIC", L"VTDL", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                               nullptr)) {
    if (!m_handle) ThrowLastError(L"CreateWindowEx");
}

HiddenWindow::~HiddenWindow() { DestroyWindow(m_handle); }

}  // namespace vtdl::automation
