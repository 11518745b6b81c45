#include "support/RunTests.h"

#include <gtest/gtest.h>
#include <winsock2.h>

#include <objbase.h>

#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

namespace vtdl::tests {
namespace {

class Watchdog : public testing::EmptyTestEventListener {
public:
    Watchdog() {
        std::thread([this] {
            for (;; Sleep(200)) Look();
        }).detach();
    }

    void OnTestStart(const testing::TestInfo& test) override {
        const std::lock_guard lock(m_mutex);
        m_test = std::string(test.test_suite_name()) + "." + test.name();
        m_deadline = GetTickCount64() + 60'000;
    }
    void OnTestEnd(const testing::TestInfo&) override {
        const std::lock_guard lock(m_mutex);
        m_deadline = 0;
    }

private:
    void Look() {
        const std::lock_guard lock(m_mutex);
        if (m_deadline == 0 || GetTickCount64() < m_deadline) return;
        std::fprintf(stderr, "%s has hung for a minute\n", m_test.c_str());
        std::fflush(stderr);
        TerminateProcess(GetCurrentProcess(), 42);
    }

    std::mutex m_mutex;
    std::string m_test;
    ULONGLONG m_deadline = 0;
};

// Nobody is there to look at a debugger's window.
LONG CALLBACK EndAtOnce(EXCEPTION_POINTERS* fault) {
    std::fprintf(stderr, "exception 0x%08lX at %p\n", fault->ExceptionRecord->ExceptionCode,
                 fault->ExceptionRecord->ExceptionAddress);
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 43);
    return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

int RunTests(int argc, char** argv) {
    SetUnhandledExceptionFilter(EndAtOnce);
    testing::InitGoogleTest(&argc, argv);
    WSADATA sockets;
    if (WSAStartup(MAKEWORD(2, 2), &sockets) != 0 || FAILED(CoInitialize(nullptr))) return 1;
    testing::UnitTest::GetInstance()->listeners().Append(new Watchdog);
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    WSACleanup();
    return result;
}

}  // namespace vtdl::tests
