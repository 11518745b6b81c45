#include "server/Registration.h"

#include <algorithm>
#include <string>
#include <vector>

#include "automation/Bstr.h"
#include "automation/ClassTable.h"
#include "automation/Platform.h"
#include "automation/RegistryKey.h"
#include "automation/TypeInformation.h"

namespace vtdl::server {
namespace {

using namespace automation;

constexpr wchar_t classesKey[] = L"Software\\Classes\\";
constexpr wchar_t automationMarshaler[] = L"{00020424-0000-0000-C000-000000000046}";

// Programs of both bitnesses may use libraries of their own. On 64-bit Windows these have classes
// and interfaces apart, each in its view of the registry, and share everything else.
constexpr bool is64Bit = sizeof(void*) == 8;
constexpr REGSAM ownView = is64Bit ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
constexpr REGSAM otherView = is64Bit ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
constexpr const wchar_t* platformKey = is64Bit ? L"\\0\\win64" : L"\\0\\win32";

// A text value of a key; an empty name is the key's default value.
struct Entry {
    std::wstring key;
    std::wstring name;
    std::wstring text;
};

void AddClass(const ClassEntry& entry, const std::wstring& library, std::vector<Entry>& entries) {
    const std::wstring progId = std::wstring(L"vtdl.") + entry.name;
    const std::wstring versioned = progId + L".4";
    const std::wstring classId = TextOf(entry.identifier);
    const std::wstring classKey = L"CLSID\\" + classId;
    entries.insert(entries.end(),
                   {
                       {classKey, L"", entry.description},
                       {classKey + L"\\InprocServer32", L"", ModulePath()},
                       {classKey + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
                       {classKey + L"\\ProgID", L"", versioned},
                       {classKey + L"\\VersionIndependentProgID", L"", progId},
                       {classKey + L"\\TypeLib", L"", library},
                       {classKey + L"\\Version", L"", L"4.1"},
                       {classKey + L"\\Programmable", L"", L""},
                       {progId, L"", entry.description},
                       {progId + L"\\CLSID", L"", classId},
                       {progId + L"\\CurVer", L"", versioned},
                       {versioned, L"", entry.description},
                       {versioned + L"\\CLSID", L"", classId},
                   });
}

// The type library in the module's resource of the given number, and its interfaces, which the
// platform's marshaler serves.
void AddTypeLibrary(int resource, std::vector<Entry>& entries) {
    const std::wstring path =
        resource == 1 ? ModulePath() : ModulePath() + L"\\" + std::to_wstring(resource);
    ComPtr<ITypeLib> library;
    Check(LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()));
    TLIBATTR* attributes = nullptr;
    Check(library->GetLibAttr(&attributes));
    const std::wstring identifier = TextOf(attributes->guid);
    const std::wstring version = std::to_wstring(attributes->wMajorVerNum) + L"." +
                                 std::to_wstring(attributes->wMinorVerNum);
    library->ReleaseTLibAttr(attributes);

    Bstr title;
    Check(library->GetDocumentation(-1, nullptr, title.put(), nullptr, nullptr));
    const std::wstring key = L"TypeLib\\" + identifier + L"\\" + version;
    const std::wstring folder = ModulePath().substr(0, ModulePath().rfind(L'\\'));
    entries.push_back({key, L"", std::wstring(title.view())});
    entries.push_back({key + platformKey, L"", path});
    entries.push_back({key + L"\\FLAGS", L"", L"0"});
    entries.push_back({key + L"\\HELPDIR", L"", folder});

    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        TYPEKIND kind;
        Check(library->GetTypeInfoType(i, &kind));
        if (kind != TKIND_DISPATCH && kind != TKIND_INTERFACE) continue;
        ComPtr<ITypeInfo> type;
        TYPEATTR* typeAttributes = nullptr;
        Bstr name;
        Check(library->GetTypeInfo(i, type.put()));
        Check(type->GetDocumentation(MEMBERID_NIL, name.put(), nullptr, nullptr, nullptr));
        Check(type->GetTypeAttr(&typeAttributes));
        const std::wstring interfaceKey = L"Interface\\" + TextOf(typeAttributes->guid);
        type->ReleaseTypeAttr(typeAttributes);
        entries.push_back({interfaceKey, L"", std::wstring(name.view())});
        entries.push_back({interfaceKey + L"\\ProxyStubClsid32", L"", automationMarshaler});
        entries.push_back({interfaceKey + L"\\TypeLib", L"", identifier});
        entries.push_back({interfaceKey + L"\\TypeLib", L"Version", version});
    }
}

std::vector<Entry> EntriesOfLibrary() {
    TLIBATTR* attributes = nullptr;
    Check(TypeLibrary()->GetLibAttr(&attributes));
    const std::wstring library = TextOf(attributes->guid);
    TypeLibrary()->ReleaseTLibAttr(attributes);

    std::vector<Entry> entries;
    for (const ClassEntry& entry : ClassTable()) AddClass(entry, library, entries);
    AddTypeLibrary(1, entries);
    AddTypeLibrary(2, entries);
    return entries;
}

void CheckStatus(LSTATUS status, const wchar_t* call) {
    if (status == ERROR_SUCCESS) return;
    SetLastError(static_cast<DWORD>(status));
    ThrowLastError(call);
}

HKEY RootOf(Scope scope) { return scope == Scope::user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }

void SetText(HKEY key, const std::wstring& name, const std::wstring& text, DWORD type = REG_SZ) {
    CheckStatus(
        RegSetValueExW(key, name.c_str(), 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
        L"RegSetValueEx");
}

RegistryKey CreateKey(HKEY root, const std::wstring& path) {
    HKEY handle = nullptr;
    CheckStatus(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &handle,
                                nullptr),
                L"RegCreateKeyEx");
    return RegistryKey(handle);
}

void Write(HKEY root, const Entry& entry) {
    SetText(CreateKey(root, classesKey + entry.key).get(), entry.name, entry.text);
}

bool IsShared(const Entry& entry) {
    return !entry.key.starts_with(L"CLSID\\") && !entry.key.starts_with(L"Interface\\") &&
           !entry.key.ends_with(platformKey);
}

// True when the key is gone afterwards, so that its parent may be empty now.
bool DeleteIfEmpty(HKEY root, const std::wstring& path, REGSAM view) {
    const RegistryKey opened = OpenKey(root, path, KEY_QUERY_VALUE | view);
    if (!opened) return true;
    DWORD keys = 0, values = 0;
    RegQueryInfoKeyW(opened.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values,
                     nullptr, nullptr, nullptr, nullptr);
    return keys == 0 && values == 0 &&
           RegDeleteKeyExW(root, path.c_str(), view, 0) == ERROR_SUCCESS;
}

void Remove(HKEY root, const std::vector<Entry>& entries, REGSAM view) {
    for (const Entry& entry : entries) {
        const RegistryKey key = OpenKey(root, classesKey + entry.key, KEY_SET_VALUE | view);
        if (key) RegDeleteValueW(key.get(), entry.name.c_str());
    }
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        std::wstring key = entry->key;
        while (!key.empty() && DeleteIfEmpty(root, classesKey + key, view)) {
            const std::size_t parent = key.rfind(L'\\');
            key.resize(parent == std::wstring::npos ? 0 : parent);
        }
    }
}

// True when nothing of the library is left; false when the other bitness still needs what is
// shared.
bool Remove(HKEY root, std::vector<Entry> entries) {
    const auto shared = std::stable_partition(entries.begin(), entries.end(),
                                              [](const Entry& entry) { return !IsShared(entry); });
    const std::vector<Entry> rest(shared, entries.end());
    entries.erase(shared, entries.end());
    Remove(root, entries, ownView);
    // A 32-bit system has one view, from which this class is gone by now.
    if (OpenKey(root, classesKey + entries.front().key, KEY_READ | otherView)) return false;
    // Some systems (Wine) keep two of what should be shared.
    Remove(root, rest, ownView);
    Remove(root, rest, otherView);
    return true;
}

// The event viewer finds a report's text through its source, which only exists for the machine.
constexpr wchar_t eventSourceKey[] =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\VTDL";

void RegisterEventSource() {
    const RegistryKey key = CreateKey(HKEY_LOCAL_MACHINE, eventSourceKey);
    const DWORD types = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
    SetText(key.get(), L"EventMessageFile", ModulePath());
    CheckStatus(RegSetValueExW(key.get(), L"TypesSupported", 0, REG_DWORD,
                               reinterpret_cast<const BYTE*>(&types), sizeof types),
                L"RegSetValueEx");
}

// Settings and logs need a folder in which users may write; the default one is a drive's root. What
// somebody has chosen stays, and so does a choice made since.
constexpr wchar_t settingsKey[] = L"Software\\Vestora\\VTDL";
constexpr wchar_t registeredFolder[] = L"RegisteredDataFolder";

void ProvideDataFolder(HKEY root) {
    // Settings that were made there would be lost from sight.
    if (GetFileAttributesW(L"C:\\VTDL33.Settings.xml") != INVALID_FILE_ATTRIBUTES) return;
    for (const HKEY chosen : {root, HKEY_LOCAL_MACHINE})
        if (!ReadText(chosen, settingsKey, L"DataFolder").empty()) return;
    const RegistryKey key = CreateKey(root, settingsKey);
    for (const wchar_t* name : {L"DataFolder", registeredFolder})
        SetText(key.get(), name, L"%LOCALAPPDATA%\\Vestora\\VTDL", REG_EXPAND_SZ);
}

void ForgetDataFolder(HKEY root) {
    const std::wstring registered = ReadText(root, settingsKey, registeredFolder);
    if (registered.empty()) return;
    {
        const RegistryKey key = OpenKey(root, settingsKey, KEY_SET_VALUE);
        if (ReadText(root, settingsKey, L"DataFolder") == registered)
            RegDeleteValueW(key.get(), L"DataFolder");
        RegDeleteValueW(key.get(), registeredFolder);
    }
    if (DeleteIfEmpty(root, settingsKey, ownView))
        DeleteIfEmpty(root, L"Software\\Vestora", ownView);
}

}  // namespace

void RegisterLibrary(Scope scope) {
    const std::vector<Entry> entries = EntriesOfLibrary();
    try {
        for (const Entry& entry : entries) Write(RootOf(scope), entry);
        if (scope == Scope::machine) RegisterEventSource();
        ProvideDataFolder(RootOf(scope));
    } catch (...) {
        Remove(RootOf(scope), entries);
        throw;
    }
}

void UnregisterLibrary(Scope scope) {
    const bool isGone = Remove(RootOf(scope), EntriesOfLibrary());
    // A user's settings are the other bitness's too; of the machine's each has its own.
    if (isGone || scope == Scope::machine) ForgetDataFolder(RootOf(scope));
    if (isGone && scope == Scope::machine) RegDeleteKeyW(HKEY_LOCAL_MACHINE, eventSourceKey);
}

}  // namespace vtdl::server
