#pragma once
// An owning reference to a COM object.

#include <unknwn.h>

#include <utility>

namespace vtdl::automation {

/// Copying adds a reference, the destructor releases one. attach takes a reference over, detach
/// gives it away, put is for out-parameters.
template <class I>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(I* object) noexcept : m_object(object) {
        if (m_object) m_object->AddRef();
    }
    ComPtr(const ComPtr& other) noexcept : ComPtr(other.m_object) {}
    ComPtr(ComPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <class Other>
    ComPtr(const ComPtr<Other>& other) noexcept : ComPtr(static_cast<I*>(other.get())) {}
    ~ComPtr() { reset(); }

    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    static ComPtr attach(I* object) noexcept {
        ComPtr owner;
        owner.m_object = object;
        return owner;
    }

    // The member is cleared first: releasing the object may run code that looks at it.
    void reset() noexcept {
        if (I* object = std::exchange(m_object, nullptr)) object->Release();
    }

    I* get() const noexcept { return m_object; }
    I* operator->() const noexcept { return m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }
    I* detach() noexcept { return std::exchange(m_object, nullptr); }
    I** put() noexcept {
        reset();
        return &m_object;
    }

    /// For by-reference arguments: the callee may release the reference and leave another one.
    I** InOut() noexcept { return &m_object; }

    /// A new reference for an out-parameter.
    I* AddRefed() const noexcept {
        if (m_object) m_object->AddRef();
        return m_object;
    }

private:
    I* m_object = nullptr;
};

/// The object's other face, or nothing when it has none.
template <class I>
ComPtr<I> Query(IUnknown* object) noexcept {
    ComPtr<I> face;
    if (object) object->QueryInterface(__uuidof(I), reinterpret_cast<void**>(face.put()));
    return face;
}

}  // namespace vtdl::automation
