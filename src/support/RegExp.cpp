#include "support/RegExp.h"

#include <initializer_list>

#include "automation/ComPtr.h"
#include "automation/Error.h"
#include "automation/Variant.h"

namespace vtdl {
namespace {

using namespace automation;

// Late-bound: the runtime's interfaces differ between its versions, its names do not.
class Dispatch {
public:
    explicit Dispatch(ComPtr<IDispatch> object) : m_object(std::move(object)) {
        if (!m_object) throw runtimeError(RuntimeError::typeMismatch);
    }

    Variant call(const wchar_t* name, WORD flags, VARIANT* argument = nullptr) const {
        DISPID member = 0;
        DISPID assigned = DISPID_PROPERTYPUT;
        LPOLESTR names = const_cast<LPOLESTR>(name);
        check(m_object->GetIDsOfNames(GUID{}, &names, 1, LOCALE_NEUTRAL, &member));
        const bool isPut = flags == DISPATCH_PROPERTYPUT;
        DISPPARAMS parameters{argument, isPut ? &assigned : nullptr, argument ? 1U : 0U, isPut ? 1U : 0U};
        Variant result;
        check(m_object->Invoke(member, GUID{}, LOCALE_NEUTRAL, flags, &parameters,
                               isPut ? nullptr : result.put(), nullptr, nullptr));
        return result;
    }

    void set(const wchar_t* name, Variant value) const { call(name, DISPATCH_PROPERTYPUT, value.put()); }
    Variant get(const wchar_t* name) const { return call(name, DISPATCH_PROPERTYGET); }
    Dispatch object(const wchar_t* name, WORD flags, VARIANT* argument = nullptr) const {
        return Dispatch(query<IDispatch>(call(name, flags, argument).get().punkVal));
    }
    Variant item(long index) const {
        return call(L"Item", DISPATCH_PROPERTYGET, number(index).put());
    }
    long count() const { return toLong(get(L"Count").get()); }

private:
    static Variant number(long value) {
        VARIANT v;
        v.vt = VT_I4;
        v.lVal = value;
        return Variant(v);
    }

    ComPtr<IDispatch> m_object;
};

Variant truth(bool value) {
    VARIANT v;
    v.vt = VT_BOOL;
    v.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return Variant(v);
}

Dispatch newRegExp() {
    CLSID classId;
    ComPtr<IDispatch> object;
    check(CLSIDFromProgID(L"VBScript.RegExp", &classId));
    check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IDispatch),
                           reinterpret_cast<void**>(object.put())));
    return Dispatch(std::move(object));
}

std::wstring textOf(const Variant& value) { return std::wstring(toText(value.get()).view()); }

}  // namespace

std::vector<RegExpMatch> matchLines(std::wstring_view pattern, std::wstring_view text, bool all) {
    const Dispatch expression = newRegExp();
    expression.set(L"Global", truth(all));
    expression.set(L"Multiline", truth(true));
    expression.set(L"Pattern", Variant(pattern));
    const Dispatch matches = expression.object(L"Execute", DISPATCH_METHOD, Variant(text).put());

    std::vector<RegExpMatch> found;
    const long count = matches.count();
    for (long i = 0; i < count; ++i) {
        const Dispatch match(query<IDispatch>(matches.item(i).get().punkVal));
        const Dispatch groups = match.object(L"SubMatches", DISPATCH_PROPERTYGET);
        RegExpMatch result{textOf(match.get(L"Value")), {}};
        const long groupCount = groups.count();
        for (long k = 0; k < groupCount; ++k) result.groups.push_back(textOf(groups.item(k)));
        found.push_back(std::move(result));
    }
    return found;
}

}  // namespace vtdl
