#pragma once
// The registered library, as any host sees it, in the tool's own values: texts in UTF-8, failures
// as exceptions.

#include <vtdl.h>

#include <string>
#include <string_view>
#include <vector>

#include "Parameters.h"
#include "Values.h"
#include "automation/Bstr.h"
#include "automation/ComPtr.h"

namespace vtdl::host {

using automation::Bstr;
using automation::ComPtr;

std::string ToUtf8(std::wstring_view text);
std::wstring ToWide(std::string_view text);

/// Throws Failure with what the failed call left as error information, else with the system's text.
void Check(HRESULT hr, const std::string& action);

class Variant {
public:
    Variant() noexcept { VariantInit(&m_value); }
    explicit Variant(const Value& value);
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant() { VariantClear(&m_value); }

    const VARIANT& get() const noexcept { return m_value; }
    VARIANT* put() noexcept { return &m_value; }

private:
    VARIANT m_value;
};

Value ToValue(const VARIANT& value);

/// The elements of an array, or the single value itself; nothing for an empty variant.
std::vector<Value> ToValues(const VARIANT& value);

/// A text property.
template <class I>
std::string TextOf(I* object, HRESULT (STDMETHODCALLTYPE I::*getter)(BSTR*)) {
    Bstr text;
    Check((object->*getter)(text.put()), "reading a text");
    return ToUtf8(text.view());
}

std::vector<ComPtr<IUnknown>> Enumerated(IUnknown* enumerator);

/// The items of one of the library's collections, in their order.
template <class I, class Collection>
std::vector<ComPtr<I>> ItemsOf(Collection* collection) {
    ComPtr<IUnknown> enumerator;
    Check(collection->NewEnum(enumerator.put()), "listing a collection");
    std::vector<ComPtr<I>> items;
    for (const ComPtr<IUnknown>& item : Enumerated(enumerator.get()))
        if (ComPtr<I> face = automation::Query<I>(item.get())) items.push_back(std::move(face));
    return items;
}

class Apartment {
public:
    Apartment();
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
    ~Apartment() { CoUninitialize(); }
};

/// The manager and its data sources. Throws Failure, with what to do, if it is not registered.
class Library {
public:
    Library();

    std::vector<ComPtr<_CDataSource>> Sources() const;
    /// Case does not matter; throws UsageError, with a suggestion, for an unknown name.
    ComPtr<_CDataSource> Source(const std::string& name) const;

private:
    Apartment m_apartment;  // first: it outlives the objects
    ComPtr<_CManager> m_manager;
};

using Parameters = std::vector<ComPtr<_CParameter>>;

/// Those of the source itself.
Parameters OwnParameters(_CDataSource* source, const std::string& name);

Parameter Describe(_CParameter* parameter);

/// Their names, types and choices, in the same order.
std::vector<Parameter> Describe(const Parameters& parameters);

/// Sets parameters from texts of the form NAME=VALUE; throws UsageError. The owner is for its text.
void Assign(const Parameters& parameters, const std::string& owner,
            const std::vector<std::string>& texts);

/// A source's own parameters, set for a while: the library saves those that the source has in the
/// end, and a password of one call is nothing to keep.
class SourceParameters {
public:
    SourceParameters(_CDataSource* source, const std::string& name,
                     const std::vector<std::string>& texts);
    SourceParameters(const SourceParameters&) = delete;
    SourceParameters& operator=(const SourceParameters&) = delete;
    ~SourceParameters();

private:
    Parameters m_parameters;
    std::vector<Value> m_before;
};

/// A source's new session and its parameters.
class Session {
public:
    Session(_CDataSource* source, std::string sourceName);

    const std::string& SourceName() const { return m_sourceName; }
    const host::Parameters& Parameters() const { return m_parameters; }
    /// The value of a parameter as text; empty when it has none of that name.
    std::string ValueOf(std::string_view parameter) const;
    /// Sets them from NAME=VALUE texts. Throws UsageError, also for a text that is still missing: a
    /// ticker, an item's names.
    void Assign(const std::vector<std::string>& texts) const;
    _CSession* get() const { return m_session.get(); }

private:
    void RefuseSourceParameters(const std::vector<std::string>& texts) const;

    std::string m_sourceName;
    ComPtr<_CSession> m_session;
    host::Parameters m_parameters, m_ownParameters;
};

/// Without blocks when nothing was delivered.
Result ResultOf(const Session& session);

/// What the session has recorded: 0 and no text without an error.
struct Fault {
    long number = 0;
    std::string text{};  ///< "Download failure (0x800C0008)"
};
Fault SessionFault(const Session& session);

}  // namespace vtdl::host
