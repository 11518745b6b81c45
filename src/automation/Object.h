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

/// One dual interface of an object, and what calls by name need of it. The members are what
/// IDispatch demands, for every interface.
class Face {
public:
    /// Makes calls that the platform's dispatcher cannot make; false leaves the call to it. The
    /// arguments stand in reverse order, all by position. Throws what goes wrong.
    using OwnInvoke = FunctionRef<bool(DISPPARAMS& parameters)>;

    /// The other one's names are reached by a late-bound host through this one, if there is
    /// another.
    Face(IDispatch* self, REFIID id, ITypeInfo* (*type)(), IDispatch* other) noexcept
        : m_self(self), m_id(id), m_type(type), m_other(other) {}

    HRESULT GetTypeInfo(UINT index, ITypeInfo** information) const noexcept;
    HRESULT GetIDsOfNames(REFIID asker, LPOLESTR* names, UINT count, LCID locale,
                          DISPID* identifiers) const noexcept;
    HRESULT Invoke(DISPID member, REFIID asker, LCID locale, WORD flags, DISPPARAMS* parameters,
                   VARIANT* result, EXCEPINFO* exception, UINT* badArgument,
                   OwnInvoke own) const noexcept;

private:
    ComPtr<IDispatch> OtherFace(REFIID asker, bool isNeeded) const noexcept;

    IDispatch* m_self;
    REFIID m_id;
    ITypeInfo* (*m_type)();
    IDispatch* m_other;
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
        return Own().GetTypeInfo(index, information);
    }

    STDMETHODIMP GetIDsOfNames(REFIID asker, LPOLESTR* names, UINT count, LCID locale,
                               DISPID* identifiers) noexcept final {
        return Own().GetIDsOfNames(asker, names, count, locale, identifiers);
    }

    STDMETHODIMP Invoke(DISPID member, REFIID asker, LCID locale, WORD flags,
                        DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument) noexcept final {
        return Own().Invoke(
            member, asker, locale, flags, parameters, result, exception, badArgument,
            [&](DISPPARAMS& arguments) { return InvokeOwn(member, flags, arguments, result); });
    }

protected:
    /// Face::OwnInvoke of a class that has one.
    virtual bool InvokeOwn(DISPID, WORD, DISPPARAMS&, VARIANT*) { return false; }

    /// The face of the object whose names a late-bound host reaches through the default one, and
    /// the default one's through this.
    virtual IDispatch* AlsoAnswers() { return nullptr; }

private:
    Face Own() noexcept {
        return {static_cast<I*>(this), __uuidof(I), TypeInformationOf<I>, AlsoAnswers()};
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
        return automation::Raising([&] {
            *information = TypeInformationOf<Coclass>();
            (*information)->AddRef();
        });
    }

private:
    long m_references = 1;
};

template <class D, class... Arguments>
ComPtr<D> Make(Arguments&&... arguments) {
    return ComPtr<D>::attach(new D(std::forward<Arguments>(arguments)...));
}

}  // namespace vtdl::automation
