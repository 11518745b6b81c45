#pragma once
// What makes a C++ class an automation object.

#include <ocidl.h>

#include <type_traits>

#include "automation/ComPtr.h"
#include "automation/Error.h"
#include "automation/LateCall.h"
#include "automation/Platform.h"
#include "automation/TypeInformation.h"

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

/// Implements the IDispatch half of a dual interface. A class with several dual interfaces has one
/// Dual for each, so that each face answers its own names.
template <class I>
class Dual : public I {
public:
    STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept final {
        if (!count) return NullReference();
        *count = 1;
        return S_OK;
    }

    STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** information) noexcept final {
        if (!information) return NullReference();
        *information = nullptr;
        return Guarded(nullptr, [&]() -> HRESULT {
            if (index != 0) return DISP_E_BADINDEX;
            *information = TypeInformationOf<I>();
            (*information)->AddRef();
            return S_OK;
        });
    }

    STDMETHODIMP GetIDsOfNames(REFIID asker, LPOLESTR* names, UINT count, LCID locale,
                               DISPID* identifiers) noexcept final {
        return Guarded(nullptr, [&] {
            const HRESULT hr = TypeInformationOf<I>()->GetIDsOfNames(names, count, identifiers);
            const auto other = OtherFace(asker, hr == DISP_E_UNKNOWNNAME);
            return other ? other->GetIDsOfNames(__uuidof(I), names, count, locale, identifiers)
                         : hr;
        });
    }

    STDMETHODIMP Invoke(DISPID member, REFIID asker, LCID locale, WORD flags,
                        DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument) noexcept final {
        return Guarded(exception, [&] {
            if (!parameters || HasNullReference(*parameters)) return E_POINTER;
            LateCall call(TypeInformationOf<I>(), member, flags, *parameters);
            if (InvokeOwn(member, flags, call.Parameters(), result)) return S_OK;
            const HRESULT hr =
                call.Make(static_cast<I*>(this), locale, result, exception, badArgument);
            const auto other = OtherFace(asker, hr == DISP_E_MEMBERNOTFOUND);
            return other ? other->Invoke(member, __uuidof(I), locale, flags, parameters, result,
                                         exception, badArgument)
                         : hr;
        });
    }

protected:
    /// Makes calls that the platform's dispatcher cannot make; false leaves the call to it. The
    /// arguments stand in reverse order, all by position. Throws what goes wrong.
    virtual bool InvokeOwn(DISPID, WORD, DISPPARAMS&, VARIANT*) { return false; }

    /// The face of the object whose names a late-bound host reaches through the default one, and
    /// the default one's through this.
    virtual IDispatch* AlsoAnswers() { return nullptr; }

private:
    // The reserved identifier, which is null in a host's calls, tells that the other face asks and
    // must not be asked again.
    ComPtr<IDispatch> OtherFace(REFIID asker, bool isNeeded) {
        IDispatch* const other = isNeeded && asker == GUID{} ? AlsoAnswers() : nullptr;
        const bool isOther = other != static_cast<IDispatch*>(static_cast<I*>(this));
        return isOther ? ComPtr<IDispatch>(other) : Query<IDispatch>(other);
    }

    // What a failure returns by its number alone must not find the texts of an earlier one.
    template <class Body>
    static HRESULT Guarded(EXCEPINFO* exception, Body&& body) noexcept {
        SetErrorInfo(0, nullptr);
        try {
            return body();
        } catch (...) {
            return exception ? Report(CurrentError(), *exception) : Raise(CurrentError());
        }
    }
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
