// A host that calls every member of every class at random, by name and through vtables, with legal
// values, missing and null ones, and objects of its own that call back and answer anything. Each
// step draws from its own number alone, so that a run that ends badly can be repeated with some of
// its steps.

#include <ocidl.h>

#include <deque>
#include <utility>

#include "Soak.h"

namespace vtdl::tests {
namespace {

Face faces = Face::any;
unsigned runSeed = 1, currentStep = 0, callbacks = 0, calls = 0;
int nesting = 0;
const bool isVerbose = std::getenv("SOAK_VERBOSE") != nullptr;
std::vector<CLSID> classes;
std::vector<Ptr<ITypeInfo>> interfaces;  // as dispatchers see them
std::array<Ptr<IUnknown>, 24> pool{};    // what the host holds

void Step(Random& random);

// What was held instead goes when it is in the pool no more: its end may call back.
void Hold(Random& random, Ptr<IUnknown> object) {
    if (object) std::swap(pool[random.Below(pool.size())], object);
}

void* Held(Random& random, const IID& id) {
    void* object = nullptr;
    const Ptr<IUnknown> held = pool[random.Below(pool.size())];
    if (held) held->QueryInterface(id, &object);
    return object;
}

HRESULT CallBack() {
    constexpr HRESULT results[] = {S_OK, S_OK, S_OK, E_FAIL, E_OUTOFMEMORY, DISP_E_EXCEPTION};
    Random random(runSeed, currentStep * 1000 + ++callbacks);
    if (nesting < 3 && random.OneIn(3)) {
        ++nesting;
        Step(random);
        --nesting;
    }
    return random.Of(results);
}

BSTR AnyText(Random& random) {
    constexpr const wchar_t* texts[] = {
        L"TICKER",   L"PERIOD",    L"TYPE", L"TIMER",     L"REQUEST",
        L"DATA",     L"",          L"3",    L"STARTDATE", L"1.5",
        L"1/2/2004", L"YAHOOHIST", L"x'y",  L"CALLS",     L"settings.xml"};
    if (random.OneIn(12)) return nullptr;
    if (random.OneIn(40)) return SysAllocStringLen(nullptr, 3000);
    return SysAllocString(random.Of(texts));
}

/// Any value of a type; VT_VARIANT stands for any type, VT_ARRAY for any array.
VARIANT AnyValue(Random& random, VARTYPE type, const IID& id = __uuidof(IDispatch)) {
    constexpr VARTYPE types[] = {VT_EMPTY,   VT_NULL,  VT_I2,   VT_I4,   VT_I4,       VT_R8,
                                 VT_DATE,    VT_BOOL,  VT_BSTR, VT_BSTR, VT_DISPATCH, VT_DISPATCH,
                                 VT_UNKNOWN, VT_ERROR, VT_UI1,  VT_CY,   VT_ARRAY};
    constexpr VARTYPE elements[] = {VT_R8, VT_DATE, VT_BSTR, VT_VARIANT, VT_I4};
    if (type == VT_VARIANT) return AnyValue(random, random.Of(types));
    if (type == VT_ARRAY) type |= random.Of(elements);
    VARIANT value{};
    value.vt = type;
    if (type & VT_ARRAY) {
        if (random.OneIn(8)) return value;
        value.parray = SafeArrayCreateVector(type & VT_TYPEMASK, 0, random.Below(4));
        for (ULONG i = 0; type == (VT_ARRAY | VT_BSTR) && i < value.parray->rgsabound[0].cElements;
             ++i)
            static_cast<BSTR*>(value.parray->pvData)[i] = AnyText(random);
    } else if (type == VT_BSTR) {
        value.bstrVal = AnyText(random);
    } else if (type == VT_DISPATCH || type == VT_UNKNOWN) {
        value.byref = Held(random, id);
    } else if (type == VT_ERROR) {
        value.scode = DISP_E_PARAMNOTFOUND;
    } else if (type > VT_NULL) {
        value.vt = VT_R8;
        value.dblVal = random.Below(24) - (type == VT_UI1 ? 0 : 3.75);  // never long as a period
        VariantChangeType(&value, &value, 0, type);
    }
    return value;
}

/// What a parameter is given: a value or a reference to one, now and then a reference to nothing.
struct Argument {
    VARIANT storage{}, passed{};
    alignas(8) std::array<char, 64> record{};  // what is no value of a variant

    /// For a call by name.
    explicit Argument(Random& random) : storage(AnyValue(random, VT_VARIANT)), passed(storage) {
        const bool isToVariant = random.OneIn(2) || storage.vt <= VT_NULL;
        if (random.OneIn(2)) return;
        Refer(random, isToVariant ? static_cast<void*>(&storage) : &storage.byref);
        passed.vt = static_cast<VARTYPE>(VT_BYREF | (isToVariant ? +VT_VARIANT : storage.vt));
    }
    /// For a call through a vtable.
    Argument(Random& random, ITypeInfo* type, TYPEDESC given) {
        int references = 0;
        IID id = given.vt == VT_UNKNOWN ? __uuidof(IUnknown) : __uuidof(IDispatch);
        for (; given.vt == VT_PTR; given = *given.lptdesc) ++references;
        if (given.vt == VT_SAFEARRAY) given.vt = VT_ARRAY | VT_BSTR;
        if (given.vt == VT_USERDEFINED) {
            const auto attributes = AttributesOf(Referred(type, given.hreftype));
            const TYPEKIND kind = attributes->typekind;
            const bool isObject = kind == TKIND_DISPATCH || kind == TKIND_INTERFACE;
            references -= isObject;
            id = attributes->guid;
            given.vt = isObject ? VT_DISPATCH : kind == TKIND_ENUM ? VT_I4 : VT_RECORD;
        }
        if (given.vt != VT_RECORD) storage = AnyValue(random, given.vt, id);
        passed = storage;
        if (references == 0) return;
        void* place = &storage.byref;
        if (given.vt == VT_VARIANT) place = &storage;
        if (given.vt == VT_RECORD) place = record.data();
        Refer(random, place);
        passed.vt = VT_I4;
    }
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;
    ~Argument() { VariantClear(&storage); }

private:
    void Refer(Random& random, void* place) { passed.byref = random.OneIn(30) ? nullptr : place; }
};

/// A member, and how often it may come: those that go out to services take long.
Description<FUNCDESC> AnyFunction(Random& random, ITypeInfo* type) {
    constexpr UINT inherited = 7;  // of IUnknown and IDispatch
    const auto attributes = AttributesOf(type);
    const UINT first = attributes->typekind == TKIND_DISPATCH ? inherited : 0;
    if (attributes->cFuncs <= first) return {};
    auto function = FunctionOf(type, first + random.Below(attributes->cFuncs - first));
    const std::wstring name = NameOf(type, function->memid);
    const bool isSlow = name == L"Start" || name == L"NextTick" || name == L"Download" ||
                        name == L"Done" || name == L"CheckForNewVersion";
    const unsigned rarity = name == L"SelectYahooInternalServer" ? 200 : isSlow ? 16 : 1;
    if (isVerbose)
        std::printf("%u: %ls %s", currentStep, name.c_str(), nesting ? "(nested)\n" : "\n");
    if ((function->wFuncFlags & FUNCFLAG_FRESTRICTED) || !random.OneIn(rarity)) return {};
    return function;
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
    std::deque<Argument> given;
    std::vector<VARIANT> arguments;
    for (UINT i = 0; i < count; ++i) arguments.push_back(given.emplace_back(random).passed);
    constexpr WORD flags[] = {DISPATCH_METHOD | DISPATCH_PROPERTYGET, DISPATCH_PROPERTYGET,
                              DISPATCH_PROPERTYPUT, DISPATCH_PROPERTYPUTREF};
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
    target->Invoke(function->memid, IID{}, 0x409, flag, &parameters, isPut ? nullptr : &result,
                   random.OneIn(4) ? nullptr : &exception, nullptr);
    ++calls;
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    if (result.vt == VT_DISPATCH || result.vt == VT_UNKNOWN) Hold(random, result.punkVal);
}

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
    std::deque<Argument> arguments;
    std::vector<VARTYPE> types;
    std::vector<VARIANT*> values;
    for (int i = 0; i < function->cParams; ++i) {
        const TYPEDESC& given = function->lprgelemdescParam[i].tdesc;
        Argument& argument = arguments.emplace_back(random, type, given);
        types.push_back(given.vt == VT_VARIANT || given.vt == VT_BSTR ? given.vt : +VT_I4);
        values.push_back(given.vt == VT_VARIANT ? &argument.storage : &argument.passed);
    }
    VARIANT result{};
    calls += SUCCEEDED(DispCallFunc(found, static_cast<ULONG_PTR>(function->oVft), CC_STDCALL,
                                    VT_ERROR, static_cast<UINT>(types.size()), types.data(),
                                    values.data(), &result));
    for (Argument& argument : arguments)
        if (argument.storage.vt == VT_DISPATCH) Hold(random, argument.storage.punkVal);
}

void Create(Random& random) {
    if (random.OneIn(6)) return Hold(random, new CallingSink(CallBack));
    Hold(random, New(classes[random.Below(classes.size())]));
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
    if (faces == Face::names || (faces == Face::any && kind % 2))
        CallByName(random, own);
    else
        CallThroughVtable(random, own);
}

}  // namespace

unsigned RandomCalls(Face chosen, unsigned count, unsigned seed, unsigned first) {
    faces = chosen;
    runSeed = seed;
    Ptr<ITypeLib> library;
    _com_util::CheckError(LoadTypeLibEx(LibraryPath().c_str(), REGKIND_NONE, &library));
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        Ptr<ITypeInfo> type;
        library->GetTypeInfo(i, &type);
        const auto attributes = AttributesOf(type);
        if (attributes->typekind == TKIND_DISPATCH) interfaces.push_back(type);
        if (attributes->typekind == TKIND_COCLASS) classes.push_back(attributes->guid);
    }
    for (currentStep = first; calls < count; ++currentStep) {
        Random random(runSeed, currentStep);
        callbacks = 0;
        Step(random);
        if (currentStep % 64 == 0) DispatchAll();
    }
    for (Ptr<IUnknown>& object : pool)
        const Ptr<IUnknown> released = std::exchange(object, nullptr);
    return calls;
}

}  // namespace vtdl::tests
