// The quotes as a DDE service: the topic is a ticker, the item one of its fields.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <string>

#include "Quotes.h"

namespace demo {

// One a process. It serves while its thread runs messages.
class Service {
public:
    // Throws std::runtime_error when there is no DDE.
    Service(const std::string& name, Quotes& quotes);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service();

    // Moves the quotes that were asked for so far, and tells the links what changed.
    void Move();

private:
    static HDDEDATA CALLBACK OnTransaction(UINT type, UINT format, HCONV, HSZ topic, HSZ item,
                                           HDDEDATA, ULONG_PTR, ULONG_PTR) noexcept;
    HDDEDATA Answer(HSZ topic, HSZ item) const;
    bool Has(HSZ topic, HSZ item) const;
    std::string NameOf(HSZ handle) const;
    HSZ Handle(const std::string& text) const;

    static Service* s_service;

    Quotes& m_quotes;
    DWORD m_instance = 0;
    Random m_random;
};

}  // namespace demo
