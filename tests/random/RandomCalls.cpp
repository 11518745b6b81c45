// A host that calls every member of every class at random, by name and through vtables, with legal
// values, missing and null ones, and objects of its own that call back and answer anything.
//
//     random_calls [SEED [STEPS [FIRST LAST]...]]
//
// Each step draws from its own number alone, so that a run that ends badly can be repeated with
// fewer ranges of its steps. Runs in an empty folder of its own; prints what it did.

#include <windows.h>

#include <ocidl.h>
#include <vtdl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

namespace {

/// One step's numbers (splitmix64).
class Random {
public:
    Random(std::uint64_t seed, std::uint64_t step) : m_state(seed * 0x9E3779B97F4A7C15u ^ step) {}
    unsigned Below(std::size_t bound) {
        std::uint64_t z = m_state += 0x9E3779B97F4A7C15u;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return static_cast<unsigned>((z ^ (z >> 31)) % bound);
    }
    bool OneIn(unsigned count) { return Below(count) == 0; }
    template <class T, std::size_t Size>
    T Of(const T (&choices)[Size]) {
        return choices[Below(Size)];
    }

private:
    std::uint64_t m_state;
};

struct Class {
    std::wstring name;
    CLSID identifier;
};

std::uint64_t seed = 1, currentStep = 0;
int depth = 0;
unsigned long calls = 0, failures = 0;
bool isVerbose = false;
std::vector<Class> classes;
std::vector<ITypeInfo*> interfaces;  // as dispatchers see them
std::array<IUnknown*, 24> pool{};    // what the host holds
HRESULT(WINAPI* getClassObject)(REFCLSID, REFIID, void**);
ITypeLib* library = nullptr;

void Step(Random& random);

void Hold(Random& random, IUnknown* object) {
    if (!object) return;
    IUnknown* const old = std::exchange(pool[random.Below(pool.size())], object);
    if (old) old->Release();
}

IUnknown* Held(Random& random) { return pool[random.Below(pool.size())]; }

HRESULT AnyResult(Random& random) {
    constexpr HRESULT results[] = {
        S_OK, S_OK, S_OK, S_OK, E_FAIL, E_NOTIMPL, E_OUTOFMEMORY, static_cast<HRESULT>(0x800A000D)};
    return random.Of(results);
}

template <class I>
void Answer(Random& random, I** result) {
    *result = nullptr;
    if (IUnknown* object = Held(random))
        object->QueryInterface(__uuidof(I), reinterpret_cast<void**>(result));
}

/// An object of the host: every interface that the library calls, and calls back from each.
class HostObject final : public _IProgressCallBack {
public:
    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        const bool isKnown = id == __uuidof(IUnknown) || id == __uuidof(IDispatch) ||
                             (isSink && id == __uuidof(_IProgressCallBack));
        if (id == __uuidof(_CDataSource)) return source.QueryInterface(id, object);
        if (id == __uuidof(_CSession)) return session.QueryInterface(id, object);
        *object = isKnown ? this : nullptr;
        if (isKnown) AddRef();
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --references;
        if (left == 0) delete this;
        return left;
    }
    STDMETHODIMP GetTypeInfoCount(UINT* count) override { return *count = 0, S_OK; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* member) override {
        *member = 7;
        return CallBack();
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                        UINT*) override {
        if (result) VariantInit(result);
        return CallBack();
    }
    STDMETHODIMP Start(IUnknown**) override { return CallBack(); }
    STDMETHODIMP Progress(IUnknown**, long, BSTR*) override { return CallBack(); }
    STDMETHODIMP DataReady(IUnknown**) override { return CallBack(); }
    STDMETHODIMP Done(IUnknown**, long) override { return CallBack(); }

    bool isSink = true;

private:
    template <class I>
    struct Face : I {
        explicit Face(HostObject& object) : owner(object) {}
        STDMETHODIMP QueryInterface(REFIID id, void** object) override {
            if (id != __uuidof(I)) return owner.QueryInterface(id, object);
            *object = static_cast<I*>(this);
            owner.AddRef();
            return S_OK;
        }
        STDMETHODIMP_(ULONG) AddRef() override { return owner.AddRef(); }
        STDMETHODIMP_(ULONG) Release() override { return owner.Release(); }
        STDMETHODIMP GetTypeInfoCount(UINT* count) override {
            return owner.GetTypeInfoCount(count);
        }
        STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
        STDMETHODIMP GetIDsOfNames(REFIID id, LPOLESTR* names, UINT count, LCID locale,
                                   DISPID* member) override {
            return owner.GetIDsOfNames(id, names, count, locale, member);
        }
        STDMETHODIMP Invoke(DISPID member, REFIID id, LCID locale, WORD flags,
                            DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                            UINT* bad) override {
            return owner.Invoke(member, id, locale, flags, parameters, result, exception, bad);
        }
        template <class T>
        HRESULT Give(T** result) {
            Random random(seed, ++owner.serial);
            Answer(random, result);
            return owner.CallBack();
        }
        template <class T>
        HRESULT Value(T* result) {
            *result = T{};
            return owner.CallBack();
        }
        HostObject& owner;
    };
    struct Source final : Face<_CDataSource> {
        using Face::Face;
        STDMETHODIMP get_PriceDataType(vtdlPriceDataType* result) override { return Value(result); }
        STDMETHODIMP get_DataFields(_CDataFields** result) override { return Give(result); }
        STDMETHODIMP get_Description(BSTR* result) override { return Value(result); }
        STDMETHODIMP get_Name(BSTR* result) override { return Value(result); }
        STDMETHODIMP get_Parameters(_CParameters** result) override { return Give(result); }
        STDMETHODIMP Download(_CSession**) override { return owner.CallBack(); }
        STDMETHODIMP Abort() override { return owner.CallBack(); }
        STDMETHODIMP Search(_CParameters**, BSTR* result) override { return Value(result); }
        STDMETHODIMP CreateSession(_CSession** result) override { return Give(result); }
        STDMETHODIMP Clone(_CDataSource** result) override { return Give(result); }
    };
    struct Session final : Face<_CSession> {
        using Face::Face;
        STDMETHODIMP get_Error(vtdlSessionError* result) override { return Value(result); }
        STDMETHODIMP get_Status(vtdlSessionStatus* result) override { return Value(result); }
        STDMETHODIMP get_UserData(VARIANT* result) override { return Value(result); }
        STDMETHODIMP putref_UserData(VARIANT) override { return owner.CallBack(); }
        STDMETHODIMP put_UserData(VARIANT) override { return owner.CallBack(); }
        STDMETHODIMP get_Tag(VARIANT* result) override { return Value(result); }
        STDMETHODIMP put_Tag(VARIANT) override { return owner.CallBack(); }
        STDMETHODIMP putref_Tag(VARIANT) override { return owner.CallBack(); }
        STDMETHODIMP putref_Progressor(_IProgressCallBack*) override { return owner.CallBack(); }
        STDMETHODIMP get_Progressor(_IProgressCallBack** result) override { return Give(result); }
        STDMETHODIMP get_ID(long* result) override { return Value(result); }
        STDMETHODIMP get_DataSource(_CDataSource** result) override { return Give(result); }
        STDMETHODIMP putref_DataSource(_CDataSource*) override { return owner.CallBack(); }
        STDMETHODIMP get_Parameters(_CParameters** result) override { return Give(result); }
        STDMETHODIMP Start() override { return owner.CallBack(); }
        STDMETHODIMP get_Data(_CData** result) override { return Give(result); }
        STDMETHODIMP putref_Data(_CData*) override { return owner.CallBack(); }
        STDMETHODIMP NextTick() override { return owner.CallBack(); }
        STDMETHODIMP Abort() override { return owner.CallBack(); }
        STDMETHODIMP Done() override { return owner.CallBack(); }
    };

    // Steps of its own; an object that is called is held, or its caller would be gone.
    HRESULT CallBack() {
        Random random(seed, currentStep * 1000 + ++serial);
        AddRef();
        if (depth < 3 && random.OneIn(3)) {
            ++depth;
            Step(random);
            --depth;
        }
        const HRESULT hr = AnyResult(random);
        Release();
        return hr;
    }

    ULONG references = 1;
    std::uint64_t serial = 0;
    Source source{*this};
    Session session{*this};
};

BSTR AnyText(Random& random) {
    constexpr const wchar_t* texts[] = {
        L"TICKER",    L"PERIOD", L"TYPE",  L"TIMER",        L"REQUEST",     L"DATA",
        L"A",         L"",       L"3",     L"1.5",          L"STARTDATE",   L"1/2/2004",
        L"YAHOOHIST", L"x'y",    L"CALLS", L"settings.xml", L"\u00E4\u4E00"};
    if (random.OneIn(12)) return nullptr;
    if (random.OneIn(40)) return SysAllocStringLen(nullptr, 3000);
    return SysAllocString(random.Of(texts));
}

SAFEARRAY* AnyArray(Random& random, VARTYPE type) {
    SAFEARRAY* const array = SafeArrayCreateVector(type, 0, random.Below(4));
    for (ULONG i = 0; type == VT_BSTR && i < array->rgsabound[0].cElements; ++i)
        static_cast<BSTR*>(array->pvData)[i] = AnyText(random);
    return array;
}

VARIANT AnyValue(Random& random) {
    constexpr VARTYPE types[] = {VT_EMPTY,   VT_NULL,  VT_I2,   VT_I4,   VT_I4,       VT_R8,
                                 VT_DATE,    VT_BOOL,  VT_BSTR, VT_BSTR, VT_DISPATCH, VT_DISPATCH,
                                 VT_UNKNOWN, VT_ERROR, VT_UI1,  VT_CY,   VT_ARRAY};
    constexpr VARTYPE elements[] = {VT_R8, VT_DATE, VT_BSTR, VT_VARIANT, VT_I4};
    VARIANT value;
    VariantInit(&value);
    value.vt = random.Of(types);
    const int number = static_cast<int>(random.Below(24)) - 4;  // never long as a period
    switch (value.vt) {
        case VT_I2:
            value.iVal = static_cast<short>(number);
            break;
        case VT_UI1:
            value.bVal = static_cast<BYTE>(random.Below(20));
            break;
        case VT_I4:
            value.lVal = number;
            break;
        case VT_CY:
            value.cyVal.int64 = number * 10000;
            break;
        case VT_R8:
        case VT_DATE:
            value.dblVal = number + 0.25;
            break;
        case VT_BOOL:
            value.boolVal = random.OneIn(2) ? VARIANT_TRUE : VARIANT_FALSE;
            break;
        case VT_BSTR:
            value.bstrVal = AnyText(random);
            break;
        case VT_ERROR:
            value.scode = DISP_E_PARAMNOTFOUND;
            break;
        case VT_DISPATCH:
            Answer(random, &value.pdispVal);
            break;
        case VT_UNKNOWN:
            Answer(random, &value.punkVal);
            break;
        case VT_ARRAY: {
            const VARTYPE element = random.Of(elements);
            value.vt = static_cast<VARTYPE>(VT_ARRAY | element);
            value.parray = random.OneIn(8) ? nullptr : AnyArray(random, element);
            break;
        }
    }
    return value;
}

/// A value or a reference to one in the storage; now and then a reference to nothing.
VARIANT AnyArgument(Random& random, VARIANT& storage) {
    VARIANT argument;
    storage = AnyValue(random);
    if (random.OneIn(2)) return storage;
    VariantInit(&argument);
    const bool isToVariant = random.OneIn(2) || storage.vt <= VT_NULL;
    argument.vt = static_cast<VARTYPE>(VT_BYREF | (isToVariant ? +VT_VARIANT : storage.vt));
    argument.byref = isToVariant ? static_cast<void*>(&storage) : &storage.byref;
    if (random.OneIn(30)) argument.byref = nullptr;
    return argument;
}

/// A member, and how often it may come: those that go out to services take long.
FUNCDESC* AnyFunction(Random& random, ITypeInfo* type) {
    TYPEATTR* attributes = nullptr;
    FUNCDESC* function = nullptr;
    type->GetTypeAttr(&attributes);
    constexpr UINT inherited = 7;  // of IUnknown and IDispatch
    const UINT first = attributes->typekind == TKIND_DISPATCH ? inherited : 0;
    const UINT count = attributes->cFuncs;
    type->ReleaseTypeAttr(attributes);
    if (count <= first || FAILED(type->GetFuncDesc(first + random.Below(count - first), &function)))
        return nullptr;
    BSTR name = nullptr;
    type->GetDocumentation(function->memid, &name, nullptr, nullptr, nullptr);
    unsigned rarity = 1;
    for (const wchar_t* slow : {L"Start", L"NextTick", L"Download", L"Done", L"CheckForNewVersion"})
        if (name && wcscmp(name, slow) == 0) rarity = 16;
    if (name && wcscmp(name, L"SelectYahooInternalServer") == 0) rarity = 200;
    if (isVerbose)
        std::printf("%llu: %ls %s", currentStep, name ? name : L"?", depth ? "(nested)\n" : "\n");
    SysFreeString(name);
    if ((function->wFuncFlags & FUNCFLAG_FRESTRICTED) || !random.OneIn(rarity)) {
        type->ReleaseFuncDesc(function);
        return nullptr;
    }
    return function;
}

void Count(HRESULT hr) {
    ++calls;
    failures += FAILED(hr);
}

void CallByName(Random& random, IUnknown* object) {
    IDispatch* target = nullptr;
    ITypeInfo* type = nullptr;
    object->QueryInterface(__uuidof(IDispatch), reinterpret_cast<void**>(&target));
    if (target && FAILED(target->GetTypeInfo(0, 0, &type))) type = nullptr;
    ITypeInfo* const described =
        type && !random.OneIn(4) ? type : interfaces[random.Below(interfaces.size())];
    FUNCDESC* const function = target ? AnyFunction(random, described) : nullptr;
    if (function) {
        const UINT declared = static_cast<UINT>(function->cParams);
        const UINT count = random.OneIn(3) ? random.Below(declared + 3) : declared;
        std::vector<VARIANT> storage(count), arguments(count);
        for (UINT i = 0; i < count; ++i) arguments[i] = AnyArgument(random, storage[i]);
        constexpr WORD flags[] = {DISPATCH_METHOD | DISPATCH_PROPERTYGET, DISPATCH_METHOD,
                                  DISPATCH_PROPERTYGET, DISPATCH_PROPERTYPUT,
                                  DISPATCH_PROPERTYPUTREF};
        const WORD flag = random.OneIn(3) ? random.Of(flags) : static_cast<WORD>(function->invkind);
        const bool isPut = flag & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF);
        DISPID names[8] = {DISPID_PROPERTYPUT};
        UINT named = isPut && count > 0 ? 1 : 0;
        if (!isPut && random.OneIn(5)) {
            named = random.Below(std::min(count, 7u) + 1);
            for (UINT i = 0; i < named; ++i)
                names[i] = static_cast<DISPID>(random.Below(declared + 2));
        }
        DISPPARAMS parameters{arguments.data(), named ? names : nullptr, count, named};
        VARIANT result;
        EXCEPINFO exception{};
        UINT bad = 0;
        VariantInit(&result);
        Count(target->Invoke(function->memid, IID{}, 0x409, flag, &parameters,
                             isPut ? nullptr : &result, random.OneIn(4) ? nullptr : &exception,
                             &bad));
        SysFreeString(exception.bstrSource);
        SysFreeString(exception.bstrDescription);
        if (result.vt == VT_DISPATCH || result.vt == VT_UNKNOWN)
            Hold(random, std::exchange(result.punkVal, nullptr));
        VariantClear(&result);
        for (VARIANT& value : storage) VariantClear(&value);
        described->ReleaseFuncDesc(function);
    }
    if (type) type->Release();
    if (target) target->Release();
}

/// What a parameter of a method in a vtable is given, and what becomes of it afterwards.
struct Argument {
    enum Kind {
        number,
        text,
        value,
        object,
        referredText,
        referredValue,
        referredObject,
        referredArray,
        plain
    };
    Kind kind = plain;
    VARIANT passed{};
    VARIANT storage{};
    alignas(8) std::array<char, 64> record{};

    Argument(Random& random, ITypeInfo* type, const TYPEDESC& given) {
        const bool isReference = given.vt == VT_PTR;
        const TYPEDESC& target = isReference ? *given.lptdesc : given;
        passed.vt = sizeof(void*) == 8 ? VT_I8 : VT_I4;
        if (!isReference) {
            TakeValue(random, target);
            return;
        }
        if (target.vt == VT_PTR || target.vt == VT_UNKNOWN || target.vt == VT_DISPATCH) {
            const IID id = InterfaceOf(type, target);
            kind = referredObject;
            if (IUnknown* held = Held(random)) held->QueryInterface(id, &storage.byref);
            Refer(random, &storage.byref);
        } else if (target.vt == VT_USERDEFINED && IsInterface(type, target)) {
            kind = object;
            void* face = nullptr;
            if (IUnknown* held = Held(random))
                held->QueryInterface(InterfaceOf(type, given), &face);
            storage.byref = face;
            passed.byref = face;
        } else if (target.vt == VT_BSTR) {
            kind = referredText;
            storage.bstrVal = AnyText(random);
            Refer(random, &storage.bstrVal);
        } else if (target.vt == VT_VARIANT) {
            kind = referredValue;
            storage = AnyValue(random);
            Refer(random, &storage);
        } else if (target.vt == VT_SAFEARRAY) {
            kind = referredArray;
            storage.parray = random.OneIn(2) ? nullptr : AnyArray(random, VT_BSTR);
            Refer(random, &storage.parray);
        } else {
            Refer(random, record.data());
        }
    }

    void Done(Random& random) {
        switch (kind) {
            case text:
                SysFreeString(passed.bstrVal);
                break;
            case value:
                VariantClear(&storage);
                break;
            case object:
                if (storage.byref) static_cast<IUnknown*>(storage.byref)->Release();
                break;
            case referredText:
                SysFreeString(storage.bstrVal);
                break;
            case referredValue:
                VariantClear(&storage);
                break;
            case referredObject:
                Hold(random, static_cast<IUnknown*>(storage.byref));
                break;
            case referredArray:
                SafeArrayDestroy(storage.parray);
                break;
            default:
                break;
        }
    }

private:
    void Refer(Random& random, void* place) { passed.byref = random.OneIn(30) ? nullptr : place; }

    void TakeValue(Random& random, const TYPEDESC& target) {
        kind = number;
        if (target.vt == VT_BSTR) {
            kind = text;
            passed.vt = VT_BSTR;
            passed.bstrVal = AnyText(random);
        } else if (target.vt == VT_VARIANT) {
            kind = value;
            storage = AnyValue(random);
            passed.vt = VT_VARIANT;
        } else {
            passed.vt = target.vt == VT_USERDEFINED ? +VT_I4 : target.vt;
            passed.lVal = static_cast<long>(random.Below(12)) - 2;
        }
    }

    static ITypeInfo* Referred(ITypeInfo* type, const TYPEDESC& target) {
        ITypeInfo* referred = nullptr;
        type->GetRefTypeInfo(target.hreftype, &referred);
        return referred;
    }

    static TYPEATTR Attributes(ITypeInfo* type, const TYPEDESC& target) {
        ITypeInfo* const referred = Referred(type, target);
        TYPEATTR* attributes = nullptr;
        referred->GetTypeAttr(&attributes);
        const TYPEATTR copy = *attributes;
        referred->ReleaseTypeAttr(attributes);
        referred->Release();
        return copy;
    }

    static bool IsInterface(ITypeInfo* type, const TYPEDESC& target) {
        const TYPEKIND kind = Attributes(type, target).typekind;
        return kind == TKIND_DISPATCH || kind == TKIND_INTERFACE;
    }

    static IID InterfaceOf(ITypeInfo* type, const TYPEDESC& target) {
        if (target.vt == VT_UNKNOWN) return __uuidof(IUnknown);
        if (target.vt == VT_DISPATCH) return __uuidof(IDispatch);
        return Attributes(type, *target.lptdesc).guid;
    }
};

/// One of the faces that the object has, and its description.
ITypeInfo* AnyFace(Random& random, IUnknown* object, void*& face) {
    const std::size_t first = random.Below(interfaces.size());
    for (std::size_t i = 0; i < interfaces.size(); ++i) {
        ITypeInfo* const type = interfaces[(first + i) % interfaces.size()];
        TYPEATTR* attributes = nullptr;
        type->GetTypeAttr(&attributes);
        const IID id = attributes->guid;
        type->ReleaseTypeAttr(attributes);
        if (SUCCEEDED(object->QueryInterface(id, &face))) return type;
    }
    return nullptr;
}

void CallThroughVtable(Random& random, IUnknown* object) {
    void* face = nullptr;
    ITypeInfo* const dispatcher = AnyFace(random, object, face);
    if (!dispatcher) return;
    HREFTYPE reference = 0;
    ITypeInfo* type = nullptr;
    dispatcher->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference);
    dispatcher->GetRefTypeInfo(reference, &type);
    if (FUNCDESC* const function = AnyFunction(random, type)) {
        const auto count = static_cast<std::size_t>(function->cParams);
        std::vector<Argument> arguments;
        arguments.reserve(count);
        for (std::size_t i = 0; i < count; ++i)
            arguments.emplace_back(random, type, function->lprgelemdescParam[i].tdesc);
        std::vector<VARTYPE> types;
        std::vector<VARIANT> wrapped(count);
        std::vector<VARIANT*> values;
        for (std::size_t i = 0; i < count; ++i) {
            Argument& argument = arguments[i];
            types.push_back(argument.passed.vt);
            values.push_back(argument.kind == Argument::value ? &argument.storage
                                                              : &argument.passed);
        }
        VARIANT result;
        VariantInit(&result);
        if (SUCCEEDED(DispCallFunc(face, static_cast<ULONG_PTR>(function->oVft), CC_STDCALL,
                                   VT_ERROR, static_cast<UINT>(count), types.data(), values.data(),
                                   &result)))
            Count(result.scode);
        for (Argument& argument : arguments) argument.Done(random);
        type->ReleaseFuncDesc(function);
    }
    type->Release();
    static_cast<IUnknown*>(face)->Release();
}

void Create(Random& random) {
    if (random.OneIn(6)) {
        auto* const host = new HostObject;
        host->isSink = random.OneIn(2);
        return Hold(random, host);
    }
    IClassFactory* factory = nullptr;
    IUnknown* object = nullptr;
    const Class& chosen = classes[random.Below(classes.size())];
    if (FAILED(getClassObject(chosen.identifier, __uuidof(IClassFactory),
                              reinterpret_cast<void**>(&factory))))
        return;
    factory->CreateInstance(nullptr, __uuidof(IUnknown), reinterpret_cast<void**>(&object));
    factory->Release();
    Hold(random, object);
}

void Step(Random& random) {
    const unsigned kind = random.Below(64);
    if (kind < 2) return Create(random);
    if (kind == 2) {
        IUnknown* const released = std::exchange(pool[random.Below(pool.size())], nullptr);
        if (released) released->Release();
        return;
    }
    IUnknown* const object = Held(random);
    if (!object) return Create(random);
    // The library's own objects, not the host's; and held, as a host holds what it calls.
    IProvideClassInfo* own = nullptr;
    object->QueryInterface(__uuidof(IProvideClassInfo), reinterpret_cast<void**>(&own));
    if (!own) return;
    if (kind % 2)
        CallByName(random, own);
    else
        CallThroughVtable(random, own);
    own->Release();
}

void LetMessagesRun() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

LONG WINAPI Crashed(EXCEPTION_POINTERS* pointers) {
    std::printf("random_calls: exception 0x%08lX at %p (library at %p) in step %llu of seed %llu\n",
                pointers->ExceptionRecord->ExceptionCode,
                pointers->ExceptionRecord->ExceptionAddress,
                static_cast<void*>(GetModuleHandleW(L"VTDL33.dll")), currentStep, seed);
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
}

void Load(const std::wstring& path) {
    const HMODULE module = LoadLibraryW(path.c_str());
    getClassObject = reinterpret_cast<decltype(getClassObject)>(
        reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        ITypeInfo* type = nullptr;
        TYPEATTR* attributes = nullptr;
        library->GetTypeInfo(i, &type);
        type->GetTypeAttr(&attributes);
        if (attributes->typekind == TKIND_DISPATCH) interfaces.push_back(type);
        if (attributes->typekind == TKIND_COCLASS) classes.push_back({L"", attributes->guid});
        type->ReleaseTypeAttr(attributes);
    }
}

}  // namespace

int main(int argc, char** argv) {
    SetUnhandledExceptionFilter(Crashed);
    isVerbose = std::getenv("RANDOM_CALLS_VERBOSE") != nullptr;
    if (isVerbose) std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (argc > 1) seed = std::strtoull(argv[1], nullptr, 10);
    std::vector<std::uint64_t> ranges{1, argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 100'000};
    for (int i = 3; i < argc; ++i) {
        if (i == 3) ranges.clear();
        ranges.push_back(std::strtoull(argv[i], nullptr, 10));
    }

    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const std::filesystem::path dll = std::filesystem::path(program).parent_path() / L"VTDL33.dll";
    const std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                         (L"vtdl-random-" + std::to_wstring(GetCurrentProcessId()));
    std::filesystem::create_directories(folder);
    std::filesystem::current_path(folder);
    SetEnvironmentVariableW(L"VTDL_DATA", folder.c_str());
    std::ofstream(folder / L"VTDL33.Settings.xml")
        << "<sections name=\"XML settings file\"><section name=\"errorhandler\"><key "
           "name=\"actions\">2</key>"
           "<key name=\"errorlog\">NUL</key></section></sections>";

    CoInitialize(nullptr);
    Load(dll.wstring());
    std::printf("random_calls: seed %llu\n", seed);
    std::fflush(stdout);
    for (std::size_t i = 0; i + 1 < ranges.size(); i += 2) {
        for (currentStep = ranges[i]; currentStep <= ranges[i + 1]; ++currentStep) {
            Random random(seed, currentStep);
            Step(random);
            if (currentStep % 64 == 0) LetMessagesRun();
        }
    }
    for (IUnknown*& object : pool)
        if (IUnknown* const last = std::exchange(object, nullptr)) last->Release();
    std::printf("random_calls: %lu calls, %lu failed\n", calls, failures);
    std::filesystem::current_path(folder.parent_path());
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return calls > 0 ? 0 : 1;
}
