#pragma once
// A host that loads the library itself, and what the ways to trouble it share.

#include <array>
#include <functional>
#include <random>

#include "support/Downloads.h"

namespace vtdl::tests {

/// Numbers of one step.
class Random {
public:
    Random(unsigned seed, unsigned step) : m_engine(seed * 0x9E3779B1u ^ step) {}
    unsigned Below(std::size_t bound) { return static_cast<unsigned>(m_engine() % bound); }
    bool OneIn(unsigned count) { return Below(count) == 0; }
    template <class T>
    auto Of(const T& choices) {
        return choices[Below(std::size(choices))];
    }

private:
    std::mt19937 m_engine;
};

std::wstring LibraryPath();

/// An object of the library by its class; null when it has no such class.
Ptr<IUnknown> New(const CLSID& id);

/// What has to hold; what does not is told, and the program fails.
bool Expect(bool holds, const std::string& what);

void DispatchAll();

/// A sink that lives as long as it is referred to, and answers every call alike.
class CallingSink final : public HostObject<_IProgressCallBack> {
public:
    explicit CallingSink(std::function<HRESULT()> answer) : m_answer(std::move(answer)) {}

    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = HostObject::Release();
        if (left == 0) delete this;
        return left;
    }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* member) override {
        return *member = 7, Call();
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                        UINT*) override {
        if (result) *result = VARIANT{};
        return Call();
    }
    STDMETHODIMP Start(IUnknown**) override { return Call(); }
    STDMETHODIMP Progress(IUnknown**, long, BSTR*) override { return Call(); }
    STDMETHODIMP DataReady(IUnknown**) override { return Call(); }
    STDMETHODIMP Done(IUnknown**, long) override { return Call(); }

private:
    // An object that is called is held, or its caller would be gone.
    HRESULT Call() {
        const Ptr<IUnknown> self(this);
        return m_answer();
    }

    const std::function<HRESULT()> m_answer;
};

enum class Face { any, names, vtables };

/// Calls everything at random; how often it did.
unsigned RandomCalls(Face face, unsigned count, unsigned seed, unsigned firstStep);

}  // namespace vtdl::tests
