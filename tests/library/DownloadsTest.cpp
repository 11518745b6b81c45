// Single downloads as tests/data/downloads.txt has them: what is asked, what arrives, what is
// reported.

#include <fstream>

#include "support/Downloads.h"

namespace vtdl::tests {
namespace {

/// "\r", "\n", "\t", "\0" and bytes as "\xE4" stand for themselves.
std::string Unescaped(const std::string& text) {
    static const std::string letters = "rnt0", bytes("\r\n\t\0", 4);
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\')
            plain += text[i];
        else if (text[++i] != 'x')
            plain += bytes.at(letters.find(text[i]));
        else
            plain += static_cast<char>(
                std::stoi(text.substr(std::exchange(i, i + 2) + 1, 2), nullptr, 16));
    }
    return plain;
}

// Byte by byte.
std::wstring Wide(const std::string& text) {
    std::wstring wide;
    for (const char c : text) wide += static_cast<unsigned char>(c);
    return wide;
}
std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

std::wstring ValuesText(const _variant_t& data) {
    if (data.vt == VT_EMPTY) return L"empty";
    if (!(data.vt & VT_ARRAY)) return TextOf(data);
    std::wstring text;
    for (ULONG i = 0; i < data.parray->rgsabound[0].cElements; ++i) {
        _variant_t value;
        value.vt = data.vt & VT_TYPEMASK;
        long index = static_cast<long>(i);
        SafeArrayGetElement(data.parray, &index, &value.llVal);
        text += (i ? L" " : L"") + TextOf(value);
    }
    return std::to_wstring(data.vt & VT_TYPEMASK) + L"[" + text + L"]";
}

std::wstring BlocksText(_CSession* session) {
    const auto data = Read(session, &_CSession::get_Data);
    if (!data) return L"  no data\n";
    std::wstring text;
    for (IDispatch* const block : Walk(EnumeratorOf(GetObject(data, L"Values")))) {
        const _variant_t fields = Get(block, L"Value");
        text += L"  " + TextOf(Get(block, L"Name")) + L"\n";
        if (fields.vt != VT_DISPATCH) continue;
        for (IDispatch* const column : Walk(EnumeratorOf(fields.pdispVal)))
            text += L"    " + TextOf(Get(column, L"Name")) + L" " +
                    TextOf(Get(column, L"DataType")) + L" " + ValuesText(Get(column, L"Data")) +
                    L"\n";
    }
    return text;
}

class DownloadsTest : public LibraryTest {
protected:
    /// What comes of a case's three lines.
    std::string Run(const std::string& service, const std::string& parameters,
                    const std::string& reply) {
        const std::vector<std::wstring> words = Split(Wide(service), L' ');
        const std::vector<std::wstring> parts = Split(Wide(Unescaped(reply)), L'|');
        std::string head, sent = Narrow(parts[2]);
        for (const int i : {0, 1})
            if (!parts[i].empty()) head += Narrow(parts[i]) + "\r\n";
        if (!parts[0].empty()) head += "\r\n";
        LoopbackServer server([&](const std::string&) { return head + sent; });
        WriteSettings({{"hosts", Narrow(words[1]), server.Host()},
                       {"hosts", "vestora", server.Host()},
                       {"http", "strict", words.size() > 2 ? "1" : "0"},
                       {"pcquote/parameters", "user", "secret1"},
                       {"pcquote/parameters", "password", "secret2"}});
        Job job(Ptr<_CDataSource>(New(words[0])));
        for (const std::wstring& set : Split(Wide(parameters), L'|'))
            job.Set(set.substr(0, set.find(L'=')).c_str(), set.substr(set.find(L'=') + 1).c_str());
        job.Start();
        std::wstring text = L"  " + ErrorOf(job.session) + L", " + job.LastEvent() + L"\n" +
                            BlocksText(job.session);
        std::string log = ReadAll("Error Log.txt");
        const std::size_t program = log.find("library_tests.exe "), host = log.find(server.Host());
        if (host != log.npos) log.replace(host, server.Host().size(), "HOST");
        log = program == log.npos ? "" : "  " + log.substr(log.find(": ", program) + 2);
        std::erase(log, '\r');
        for (const std::wstring& report : Split(TakeErrors(), L'\n'))
            if (!report.empty()) text += L"  " + report + L"\n";
        std::vector<std::string> paths = server.TakePaths();
        std::erase(paths, "GET /files/VTDL.version");
        return "  " + (paths.empty() ? "no request" : paths.back()) + "\n" + Narrow(text) + log;
    }
};

TEST_F(DownloadsTest, GiveWhatTheFileSays) {
    std::string service, parameters, reply, actual;
    std::ifstream lines(VTDL_TEST_DATA "/downloads.txt", std::ios::binary);
    while (std::getline(lines, service)) {
        if (service.starts_with("#") || service.empty()) actual += service + "\n";
        if (service.starts_with("#") || service.starts_with("  ") || service.empty()) continue;
        std::getline(lines, parameters) && std::getline(lines, reply);
        actual +=
            service + "\n" + parameters + "\n" + reply + "\n" + Run(service, parameters, reply);
    }
    ExpectAsRecorded(actual, "downloads.txt");
}

}  // namespace
}  // namespace vtdl::tests
