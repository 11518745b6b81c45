// The registered library, as any host sees it.
#pragma once

#include <vtdl.h>

#include <string>
#include <vector>

#include "Com.h"
#include "Parameters.h"

namespace vtdl::host {

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
    std::string m_sourceName;
    ComPtr<_CSession> m_session;
    host::Parameters m_parameters;
};

}  // namespace vtdl::host
