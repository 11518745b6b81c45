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
        if (!m_object) throw MakeRuntimeError(RuntimeError::typeMismatch);
    }

    Variant Call(const wchar_t* name, WORD flags, VARIANT* argument = nullptr) const {
        DISPID member = 0;
        DISPID assigned = DISPID_PROPERTYPUT;
        LPOLESTR names = const_cast<LPOLESTR>(name);
        Check(m_object->GetIDsOfNames(GUID{}, &names, 1, LOCALE_NEUTRAL, &member));
        const bool isPut = flags == DISPATCH_PROPERTYPUT;
        DISPPARAMS parameters{argument, isPut ? &assigned : nullptr, argument ? 1U : 0U,
                              isPut ? 1U : 0U};
        Variant result;
        Check(m_object->Invoke(member, GUID{}, LOCALE_NEUTRAL, flags, &parameters,
                               isPut ? nullptr : result.put(), nullptr, nullptr));
        return result;
    }

    void Set(const wchar_t* name, Variant value) const {
        Call(name, DISPATCH_PROPERTYPUT, value.put());
    }
    Variant get(const wchar_t* name) const { return Call(name, DISPATCH_PROPERTYGET); }
    Dispatch Object(const wchar_t* name, WORD flags, VARIANT* argument = nullptr) const {
        return Dispatch(Query<IDispatch>(Call(name, flags, argument).get().punkVal));
    }
    Variant Item(long index) const {
        return Call(L"Item", DISPATCH_PROPERTYGET, Variant::Long(index).put());
    }
    long count() const { return ToLong(get(L"Count").get()); }

private:
    ComPtr<IDispatch> m_object;
};

Dispatch NewRegExp() {
    CLSID classId;
    ComPtr<IDispatch> object;
    Check(CLSIDFromProgID(L"VBScript.RegExp", &classId));
    Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IDispatch),
                           reinterpret_cast<void**>(object.put())));
    return Dispatch(std::move(object));
}

std::wstring TextOf(const Variant& value) { return std::wstring(ToText(value.get()).view()); }

}  // namespace

std::vector<RegExpMatch> MatchLines(std::wstring_view pattern, std::wstring_view text, bool all) {
    const Dispatch expression = NewRegExp();
    expression.Set(L"Global", Variant::Bool(all));
    expression.Set(L"Multiline", Variant::Bool(true));
    expression.Set(L"Pattern", Variant(pattern));
    const Dispatch matches = expression.Object(L"Execute", DISPATCH_METHOD, Variant(text).put());

    std::vector<RegExpMatch> found;
    const long count = matches.count();
    for (long i = 0; i < count; ++i) {
        const Dispatch match(Query<IDispatch>(matches.Item(i).get().punkVal));
        const Dispatch groups = match.Object(L"SubMatches", DISPATCH_PROPERTYGET);
        RegExpMatch result{TextOf(match.get(L"Value")), {}};
        const long groupCount = groups.count();
        for (long k = 0; k < groupCount; ++k) result.groups.push_back(TextOf(groups.Item(k)));
        found.push_back(std::move(result));
    }
    return found;
}

}  // namespace vtdl
