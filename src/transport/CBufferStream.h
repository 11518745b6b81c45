#pragma once
// Text as a stream.

#include <windows.h>

#include <objidl.h>

#include <string>
#include <string_view>

#include "automation/ComPtr.h"
#include "automation/UniqueHandle.h"

namespace vtdl {

/// Holds a block of global memory and gives out streams over it. The block is this object's: a
/// stream must not be used any more when the object is gone or has got another block.
class CBufferStream {
public:
    /// Puts the text's UTF-16 bytes and its terminator into a new block.
    void Data(std::wstring_view text);
    const std::wstring& GetData() const noexcept { return m_text; }
    /// A new block of zeros, with room for a terminator behind the bytes.
    void bufferSize(long bytes);
    /// A stream over the whole block; none without a block.
    automation::ComPtr<::IStream> IStream() const;

private:
    static void FreeBlock(HGLOBAL block) noexcept {
        GlobalUnlock(block);
        GlobalFree(block);
    }

    void* Allocate(std::size_t bytes);

    std::wstring m_text;
    automation::UniqueHandle<HGLOBAL, FreeBlock> m_block;
};

}  // namespace vtdl
