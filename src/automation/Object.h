#pragma once
// What makes a C++ class an automation object.

#include <ocidl.h>

#include <type_traits>

#include "automation/ComPtr.h"
#include "automation/Dual.h"

namespace vtdl::automation {

/// Counts the objects that are alive; the library may be unloaded when there are none.
class LiveObject {
public:
    static long Count() noexcept { return s_count; }
    static void Lock() noexcept { InterlockedIncrement(&s_count); }
    static void Unlock() noexcept { InterlockedDecrement(&s_count); }

    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;

protected:
    LiveObject() noexcept { Lock(); }
    ~LiveObject() { Unlock(); }

private:
    static inline long s_count = 0;
};

template <class I, bool IsDual = std::is_base_of_v<IDispatch, I>>
struct FaceOf {
    using type = I;
};
template <class I>
struct FaceOf<I, true> {
    using type = Dual<I>;
};

/// Base of every automation object D of the published class Coclass (its tag in the type library's
/// header): IUnknown, error and class information, and the IDispatch of each dual interface. The
/// first interface is the default one. Objects are made by Make<D>() and count their references.
template <class D, class Coclass, class Default, class... More>
class Object : public FaceOf<Default>::type,
               public FaceOf<More>::type...,
               public ISupportErrorInfo,
               public IProvideClassInfo,
               private LiveObject {
public:
    STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept final {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (id == __uuidof(IUnknown) || id == __uuidof(IDispatch) || id == __uuidof(Default))
            *object = static_cast<Default*>(this);
        else if (id == __uuidof(ISupportErrorInfo))
            *object = static_cast<ISupportErrorInfo*>(this);
        else if (id == __uuidof(IProvideClassInfo))
            *object = static_cast<IProvideClassInfo*>(this);
        else
            (void)((id == __uuidof(More) && (*object = static_cast<More*>(this))) || ...);
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP_(ULONG) AddRef() noexcept final {
        return static_cast<ULONG>(InterlockedIncrement(&m_references));
    }

    STDMETHODIMP_(ULONG) Release() noexcept final {
        const long left = InterlockedDecrement(&m_references);
        if (left == 0) {
            // What the destructor does may take and release references to this object.
            m_references = 1;
            delete static_cast<D*>(this);
        }
        return static_cast<ULONG>(left);
    }

    STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) noexcept final {
        return id == __uuidof(Default) || ((id == __uuidof(More)) || ...) ? S_OK : S_FALSE;
    }

    STDMETHODIMP GetClassInfo(ITypeInfo** information) noexcept final {
        if (!information) return NullReference();
        *information = nullptr;
        return Raising([&] {
            *information = TypeInformationOf<Coclass>();
            (*information)->AddRef();
        });
    }

protected:
    /// Runs the body of a member that raises its errors to the caller.
    template <class Body>
    static HRESULT Raising(Body&& body) noexcept {
        try {
            body();
            return S_OK;
        } catch (...) {
            return Raise(CurrentError());
        }
    }

private:
    long m_references = 1;
};

template <class D, class... Arguments>
ComPtr<D> Make(Arguments&&... arguments) {
    return ComPtr<D>::attach(new D(std::forward<Arguments>(arguments)...));
}

}  // namespace vtdl::automation
