#include "Service.h"

#include <stdexcept>

namespace demo {
namespace {

HDDEDATA Truth(bool isSo) { return reinterpret_cast<HDDEDATA>(isSo ? LONG_PTR{1} : LONG_PTR{0}); }

}  // namespace

Service* Service::s_service = nullptr;

Service::Service(const std::string& name, Quotes& quotes) : m_quotes(quotes) {
    s_service = this;
    if (DdeInitializeA(&m_instance, OnTransaction, APPCLASS_STANDARD | CBF_FAIL_SELFCONNECTIONS,
                       0) != DMLERR_NO_ERROR)
        throw std::runtime_error("DDE is not available");
    // Registered for the instance's whole life, as the names of links are below.
    if (!DdeNameService(m_instance, Handle(name), nullptr, DNS_REGISTER))
        throw std::runtime_error("the service " + name + " cannot be registered");
}

Service::~Service() { DdeUninitialize(m_instance); }

void Service::Move() {
    for (auto& [ticker, quote] : m_quotes.Known())
        for (const std::string& field : quote.Move(m_random)) {
            const HSZ topic = Handle(ticker), item = Handle(field);
            DdePostAdvise(m_instance, topic, item);
            DdeFreeStringHandle(m_instance, topic);
            DdeFreeStringHandle(m_instance, item);
        }
}

HDDEDATA CALLBACK Service::OnTransaction(UINT type, UINT format, HCONV, HSZ topic, HSZ item,
                                         HDDEDATA, ULONG_PTR, ULONG_PTR) noexcept {
    Service& self = *s_service;
    // In this order for a connection; a field of a ticker in all others.
    if (type == XTYP_CONNECT) return Truth(self.m_quotes.Find(self.NameOf(topic)));
    if (format != CF_TEXT) return nullptr;
    if (type == XTYP_REQUEST || type == XTYP_ADVREQ) return self.Answer(topic, item);
    return Truth(type == XTYP_ADVSTART && self.Has(topic, item));
}

HDDEDATA Service::Answer(HSZ topic, HSZ item) const {
    const Quote* const quote = m_quotes.Find(NameOf(topic));
    const auto field = quote ? quote->Field(NameOf(item)) : std::nullopt;
    if (!field) return nullptr;
    std::string line = *field + "\r\n";
    return DdeCreateDataHandle(m_instance, reinterpret_cast<BYTE*>(line.data()),
                               static_cast<DWORD>(line.size() + 1), 0, item, CF_TEXT, 0);
}

bool Service::Has(HSZ topic, HSZ item) const {
    const Quote* const quote = m_quotes.Find(NameOf(topic));
    return quote && quote->Field(NameOf(item));
}

std::string Service::NameOf(HSZ handle) const {
    char text[256] = "";
    DdeQueryStringA(m_instance, handle, text, sizeof text, CP_WINANSI);
    return UpperCase(text);
}

HSZ Service::Handle(const std::string& text) const {
    return DdeCreateStringHandleA(m_instance, text.c_str(), CP_WINANSI);
}

}  // namespace demo
