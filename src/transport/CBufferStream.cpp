#include "transport/CBufferStream.h"

#include <cstring>
#include <new>

#include "automation/Error.h"

namespace vtdl {

void CBufferStream::Data(std::wstring_view text) {
    m_text = text;
    const std::size_t bytes = text.size() * sizeof(wchar_t);
    std::memcpy(Allocate(bytes), m_text.c_str(), bytes + sizeof(wchar_t));
}

void CBufferStream::bufferSize(long bytes) {
    if (bytes < 0) throw automation::MakeRuntimeError(automation::RuntimeError::invalidCall);
    Allocate(static_cast<std::size_t>(bytes));
}

automation::ComPtr<::IStream> CBufferStream::IStream() const {
    automation::ComPtr<::IStream> stream;
    if (m_block) automation::Check(CreateStreamOnHGlobal(m_block.get(), FALSE, stream.put()));
    return stream;
}

// The old block goes only when there is a new one.
void* CBufferStream::Allocate(std::size_t bytes) {
    const HGLOBAL block = GlobalAlloc(GHND, bytes + sizeof(wchar_t));
    if (!block) throw std::bad_alloc();
    void* const memory = GlobalLock(block);
    if (!memory) {
        GlobalFree(block);
        automation::ThrowLastError(L"GlobalLock");
    }
    m_block = decltype(m_block)(block);
    return memory;
}

}  // namespace vtdl
