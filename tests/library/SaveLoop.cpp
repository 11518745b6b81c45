#include "SaveLoop.h"

#include "support/LibraryTest.h"

namespace vtdl::tests {

int RunSaveLoop(const char* fileName) {
    if (FAILED(CoInitialize(nullptr))) return 1;
    const auto settings = New<::CXMLSettings, _CXMLSettings>();
    const _bstr_t file(std::filesystem::path(fileName).c_str()), section(L"section"), key(L"key");
    const _bstr_t values[] = {std::wstring(3000, L'a').c_str(), std::wstring(70000, L'b').c_str()};
    if (FAILED(settings->put_FileName(file)) || FAILED(settings->LoadFile())) return 1;
    for (int i = 0;; i = 1 - i) {
        if (FAILED(settings->SaveSetting(section, key, values[i])) ||
            FAILED(settings->SaveFile(nullptr)))
            return 1;
    }
}

}  // namespace vtdl::tests
