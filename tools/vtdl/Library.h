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

/// A source's new session and its parameters.
class Session {
public:
    Session(_CDataSource* source, std::string sourceName);

    const std::string& SourceName() const { return m_sourceName; }
    const std::vector<ComPtr<_CParameter>>& Parameters() const { return m_parameters; }
    /// The parameters' names, types and choices, in the same order.
    std::vector<Parameter> Descriptions() const;
    _CSession* get() const { return m_session.get(); }

private:
    std::string m_sourceName;
    ComPtr<_CSession> m_session;
    std::vector<ComPtr<_CParameter>> m_parameters;
};

Parameter Describe(_CParameter* parameter);

}  // namespace vtdl::host
