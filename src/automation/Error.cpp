#include "automation/Error.h"

#include <new>

#include "automation/Bstr.h"
#include "automation/ComPtr.h"
#include "automation/Platform.h"

namespace vtdl::automation {
namespace {

constexpr HRESULT runtimeBase = static_cast<HRESULT>(0x800A0000);

std::wstring SystemText(HRESULT code) {
    wchar_t text[512];
    DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                       static_cast<DWORD>(code), 0, text, ARRAYSIZE(text), nullptr);
    while (length > 0 && text[length - 1] <= L' ') --length;
    if (length > 0) return {text, length};
    wchar_t number[32];
    const int written = swprintf(number, ARRAYSIZE(number), L"Error 0x%08lX", code);
    return {number, static_cast<std::size_t>(written)};
}

const wchar_t* RuntimeText(RuntimeError number) {
    switch (number) {
        case RuntimeError::invalidCall:
            return L"Invalid procedure call or argument";
        case RuntimeError::overflow:
            return L"Overflow";
        case RuntimeError::subscript:
            return L"Subscript out of range";
        case RuntimeError::typeMismatch:
            return L"Type mismatch";
        case RuntimeError::outOfStack:
            return L"Out of stack space";
        case RuntimeError::objectNotSet:
            return L"Object variable or With block variable not set";
        case RuntimeError::duplicateKey:
            return L"This key is already associated with an element of this collection";
    }
    return L"";
}

}  // namespace

const char* Error::what() const noexcept { return "automation error"; }

long Error::Number() const noexcept {
    const bool isRuntimeError = (m_code & ~0xFFFF) == runtimeBase;
    return isRuntimeError ? m_code & 0xFFFF : m_code;
}

Error MakeRuntimeError(RuntimeError number, std::wstring_view detail) {
    std::wstring text = RuntimeText(number);
    if (!detail.empty()) text.append(L": ").append(detail);
    return Error(runtimeBase + static_cast<HRESULT>(number), L"VTDL33", std::move(text));
}

void Check(HRESULT hr) {
    if (SUCCEEDED(hr)) return;
    if (hr == E_OUTOFMEMORY) throw std::bad_alloc();
    ComPtr<IErrorInfo> information;
    Bstr source, description;
    if (GetErrorInfo(0, information.put()) == S_OK) {
        information->GetSource(source.put());
        information->GetDescription(description.put());
    }
    if (description.view().empty()) description = Bstr(SystemText(hr));
    throw Error(hr, std::wstring(source.view()), std::wstring(description.view()));
}

void CheckConversion(HRESULT hr, std::wstring_view detail) {
    if (hr == DISP_E_OVERFLOW) throw MakeRuntimeError(RuntimeError::overflow, detail);
    if (hr == E_OUTOFMEMORY) throw std::bad_alloc();
    if (FAILED(hr)) throw MakeRuntimeError(RuntimeError::typeMismatch, detail);
}

void ThrowLastError(const wchar_t* call) {
    const HRESULT code = HRESULT_FROM_WIN32(GetLastError());
    throw Error(code, call, std::wstring(call) + L": " + SystemText(code));
}

Error CurrentError() noexcept {
    try {
        try {
            throw;
        } catch (const Error& error) {
            return error;
        } catch (const std::bad_alloc&) {
            return Error(E_OUTOFMEMORY, {}, {});  // its text would need memory
        } catch (const std::exception& exception) {
            const std::string_view text = exception.what();
            return Error(E_FAIL, {}, std::wstring(text.begin(), text.end()));
        }
    } catch (const std::bad_alloc&) {
        return Error(E_OUTOFMEMORY, {}, {});  // of copying the error's texts
    } catch (...) {
        return Error(E_UNEXPECTED, {}, {});
    }
}

HRESULT Raise(const Error& error) noexcept {
    ComPtr<ICreateErrorInfo> creator;
    if (SUCCEEDED(CreateErrorInfo(creator.put()))) {
        creator->SetSource(const_cast<LPOLESTR>(error.Source().c_str()));
        creator->SetDescription(const_cast<LPOLESTR>(error.Description().c_str()));
        if (const auto information = Query<IErrorInfo>(creator.get()))
            SetErrorInfo(0, information.get());
    }
    return error.Code();
}

HRESULT Report(const Error& error, EXCEPINFO& exception) noexcept {
    const auto textOf = [](const std::wstring& text) {
        return SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    };
    exception = {};
    exception.bstrSource = textOf(error.Source());
    exception.bstrDescription = textOf(error.Description());
    exception.scode = error.Code();
    return DISP_E_EXCEPTION;
}

HRESULT Raising(FunctionRef<void()> body) noexcept {
    try {
        body();
        return S_OK;
    } catch (...) {
        return Raise(CurrentError());
    }
}

HRESULT NullReference() noexcept {
    SetErrorInfo(0, nullptr);
    return E_POINTER;
}

}  // namespace vtdl::automation
