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

#include "support/TypeDescriptions.h"

namespace {

using namespace vtdl::tests;

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

std::uint64_t seed = 1, currentStep = 0;
int depth = 0;
unsigned long calls = 0, failures = 0;
bool isVerbose = false;
std::vector<CLSID> classes;
std::vector<Ptr<ITypeInfo>> interfaces;  // as dispatchers see them
std::array<Ptr<IUnknown>, 24> pool{};    // what the host holds
HRESULT(WINAPI* getClassObject)(REFCLSID, REFIID, void**);

void Step(Random& random);

Ptr<IUnknown> Held(Random& random) { return pool[random.Below(pool.size())]; }

// What was held instead goes when it is in the pool no more: its end may call back.
void Hold(Random& random, Ptr<IUnknown> object) {
    if (object) std::swap(pool[random.Below(pool.size())], object);
}

HRESULT AnyResult(Random& random) {
    constexpr HRESULT results[] = {
        S_OK, S_OK, S_OK, S_OK, E_FAIL, E_NOTIMPL, E_OUTOFMEMORY, static_cast<HRESULT>(0x800A000D)};
    return random.Of(results);
}

template <class I>
void Answer(Random& random, I** result) {
    *result = nullptr;
    if (const auto object = Held(random))
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
    const VARTYPE type = random.Of(types);
    if (type == VT_BSTR) value.bstrVal = AnyText(random);
    if (type == VT_DISPATCH) Answer(random, &value.pdispVal);
    if (type == VT_UNKNOWN) Answer(random, &value.punkVal);
    if (type == VT_ERROR) value.scode = DISP_E_PARAMNOTFOUND;
    value.vt = type;
    if (type == VT_ARRAY) {
        const VARTYPE element = random.Of(elements);
        value.vt = static_cast<VARTYPE>(VT_ARRAY | element);
        value.parray = random.OneIn(8) ? nullptr : AnyArray(random, element);
    } else if (type > VT_NULL && type != VT_BSTR && type != VT_DISPATCH && type != VT_UNKNOWN &&
               type != VT_ERROR) {
        value.vt = VT_R8;
        value.dblVal = random.Below(24) - (type == VT_UI1 ? 0 : 3.75);  // never long as a period
        VariantChangeType(&value, &value, 0, type);
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
Description<FUNCDESC> AnyFunction(Random& random, ITypeInfo* type) {
    constexpr UINT inherited = 7;  // of IUnknown and IDispatch
    const auto attributes = AttributesOf(type);
    const UINT first = attributes->typekind == TKIND_DISPATCH ? inherited : 0;
    if (attributes->cFuncs <= first) return {};
    auto function = FunctionOf(type, first + random.Below(attributes->cFuncs - first));
    const std::wstring name = NameOf(type, function->memid);
    unsigned rarity = name == L"SelectYahooInternalServer" ? 200 : 1;
    for (const wchar_t* slow : {L"Start", L"NextTick", L"Download", L"Done", L"CheckForNewVersion"})
        if (name == slow) rarity = 16;
    if (isVerbose)
        std::printf("%llu: %ls %s", currentStep, name.c_str(), depth ? "(nested)\n" : "\n");
    if ((function->wFuncFlags & FUNCFLAG_FRESTRICTED) || !random.OneIn(rarity)) return {};
    return function;
}

void Count(HRESULT hr) {
    ++calls;
    failures += FAILED(hr);
}

void CallByName(Random& random, IUnknown* object) {
    const Ptr<IDispatch> target(object);
    Ptr<ITypeInfo> type;
    if (!target || FAILED(target->GetTypeInfo(0, 0, &type)) || random.OneIn(4))
        type = interfaces[random.Below(interfaces.size())];
    const auto function = target ? AnyFunction(random, type) : nullptr;
    if (!function) return;
    const UINT declared = static_cast<UINT>(function->cParams);
    const UINT count = random.OneIn(3) ? random.Below(declared + 3) : declared;
    std::vector<VARIANT> storage(count), arguments(count);
    for (UINT i = 0; i < count; ++i) arguments[i] = AnyArgument(random, storage[i]);
    constexpr WORD flags[] = {DISPATCH_METHOD | DISPATCH_PROPERTYGET, DISPATCH_METHOD,
                              DISPATCH_PROPERTYGET, DISPATCH_PROPERTYPUT, DISPATCH_PROPERTYPUTREF};
    const WORD flag = random.OneIn(3) ? random.Of(flags) : static_cast<WORD>(function->invkind);
    const bool isPut = flag & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF);
    DISPID names[8] = {DISPID_PROPERTYPUT};
    UINT named = isPut && count > 0 ? 1 : 0;
    if (!isPut && random.OneIn(5)) {
        named = random.Below(std::min(count, 7u) + 1);
        for (UINT i = 0; i < named; ++i) names[i] = static_cast<DISPID>(random.Below(declared + 2));
    }
    DISPPARAMS parameters{arguments.data(), named ? names : nullptr, count, named};
    _variant_t result;
    EXCEPINFO exception{};
    UINT bad = 0;
    Count(target->Invoke(function->memid, IID{}, 0x409, flag, &parameters,
                         isPut ? nullptr : &result, random.OneIn(4) ? nullptr : &exception, &bad));
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    if (result.vt == VT_DISPATCH || result.vt == VT_UNKNOWN) Hold(random, result.punkVal);
    for (VARIANT& value : storage) VariantClear(&value);
}

/// What a parameter of a method in a vtable is given, and what becomes of it afterwards.
struct Argument {
    enum Kind { text, value, object, referredText, referredObject, referredArray, plain };
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
            if (const auto held = Held(random)) held->QueryInterface(id, &storage.byref);
            Refer(random, &storage.byref);
        } else if (target.vt == VT_USERDEFINED && IsInterface(type, target)) {
            kind = object;
            if (const auto held = Held(random))
                held->QueryInterface(InterfaceOf(type, given), &storage.byref);
            passed.byref = storage.byref;
        } else if (target.vt == VT_BSTR) {
            kind = referredText;
            storage.bstrVal = AnyText(random);
            Refer(random, &storage.bstrVal);
        } else if (target.vt == VT_VARIANT) {
            kind = value;
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
        if (kind == text) SysFreeString(passed.bstrVal);
        if (kind == value) VariantClear(&storage);
        if (kind == object) Ptr<IUnknown>(static_cast<IUnknown*>(storage.byref), false);
        if (kind == referredText) SysFreeString(storage.bstrVal);
        if (kind == referredObject) Hold(random, {static_cast<IUnknown*>(storage.byref), false});
        if (kind == referredArray) SafeArrayDestroy(storage.parray);
    }

private:
    void Refer(Random& random, void* place) { passed.byref = random.OneIn(30) ? nullptr : place; }

    void TakeValue(Random& random, const TYPEDESC& target) {
        passed.vt = target.vt == VT_USERDEFINED ? +VT_I4 : target.vt;
        if (target.vt == VT_BSTR) {
            kind = text;
            passed.bstrVal = AnyText(random);
        } else if (target.vt == VT_VARIANT) {
            kind = value;
            storage = AnyValue(random);
        } else {
            passed.lVal = static_cast<long>(random.Below(12)) - 2;
        }
    }

    static bool IsInterface(ITypeInfo* type, const TYPEDESC& target) {
        const TYPEKIND of = AttributesOf(Referred(type, target.hreftype))->typekind;
        return of == TKIND_DISPATCH || of == TKIND_INTERFACE;
    }

    static IID InterfaceOf(ITypeInfo* type, const TYPEDESC& target) {
        if (target.vt == VT_UNKNOWN) return __uuidof(IUnknown);
        if (target.vt == VT_DISPATCH) return __uuidof(IDispatch);
        return AttributesOf(Referred(type, target.lptdesc->hreftype))->guid;
    }
};

/// Calls one of the faces that the object has.
void CallThroughVtable(Random& random, IUnknown* object) {
    Ptr<ITypeInfo> type;
    void* found = nullptr;
    const std::size_t first = random.Below(interfaces.size());
    for (std::size_t i = 0; i < interfaces.size() && !found; ++i) {
        type = interfaces[(first + i) % interfaces.size()];
        object->QueryInterface(AttributesOf(type)->guid, &found);
    }
    if (!found) return;
    const Ptr<IUnknown> face(static_cast<IUnknown*>(found), false);
    type = Implemented(type);
    const auto function = AnyFunction(random, type);
    if (!function) return;
    const auto count = static_cast<std::size_t>(function->cParams);
    std::vector<Argument> arguments;
    arguments.reserve(count);
    std::vector<VARTYPE> types;
    std::vector<VARIANT*> values;
    for (std::size_t i = 0; i < count; ++i) {
        Argument& argument =
            arguments.emplace_back(random, type, function->lprgelemdescParam[i].tdesc);
        types.push_back(argument.passed.vt);
        values.push_back(argument.passed.vt == VT_VARIANT ? &argument.storage : &argument.passed);
    }
    VARIANT result;
    VariantInit(&result);
    if (SUCCEEDED(DispCallFunc(found, static_cast<ULONG_PTR>(function->oVft), CC_STDCALL, VT_ERROR,
                               static_cast<UINT>(count), types.data(), values.data(), &result)))
        Count(result.scode);
    for (Argument& argument : arguments) argument.Done(random);
}

void Create(Random& random) {
    if (random.OneIn(6)) {
        auto* const host = new HostObject;
        host->isSink = random.OneIn(2);
        return Hold(random, {static_cast<IUnknown*>(host), false});
    }
    Ptr<IClassFactory> factory;
    Ptr<IUnknown> object;
    getClassObject(classes[random.Below(classes.size())], __uuidof(IClassFactory),
                   reinterpret_cast<void**>(&factory));
    if (!factory) return;
    factory->CreateInstance(nullptr, __uuidof(IUnknown), reinterpret_cast<void**>(&object));
    Hold(random, object);
}

void Step(Random& random) {
    const unsigned kind = random.Below(64);
    if (kind < 2) return Create(random);
    Ptr<IUnknown>& place = pool[random.Below(pool.size())];
    if (kind == 2) {
        const Ptr<IUnknown> released = std::exchange(place, nullptr);
        return;
    }
    if (!place) return Create(random);
    // The library's own objects, not the host's; and held, as a host holds what it calls.
    const Ptr<IProvideClassInfo> own(place);
    if (!own) return;
    if (kind % 2)
        CallByName(random, own);
    else
        CallThroughVtable(random, own);
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
    Ptr<ITypeLib> library;
    getClassObject = reinterpret_cast<decltype(getClassObject)>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(path.c_str()), "DllGetClassObject")));
    _com_util::CheckError(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library));
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        Ptr<ITypeInfo> type;
        library->GetTypeInfo(i, &type);
        const auto attributes = AttributesOf(type);
        if (attributes->typekind == TKIND_DISPATCH) interfaces.push_back(type);
        if (attributes->typekind == TKIND_COCLASS) classes.push_back(attributes->guid);
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
    for (Ptr<IUnknown>& object : pool) Ptr<IUnknown> last = std::exchange(object, nullptr);
    std::printf("random_calls: %lu calls, %lu failed\n", calls, failures);
    std::filesystem::current_path(folder.parent_path());
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return calls > 0 ? 0 : 1;
}
