#pragma once
// Opening documents, folders, addresses and programs through the system's shell.

#include <windows.h>

#include <string>

namespace vtdl {

/// Turns the shell's failure codes into errors, which are raised to the caller. File names may hold
/// blanks; a name that is too long for the shell is a component failure.
class CShell {
public:
    static constexpr HRESULT fileNotFound = static_cast<HRESULT>(0x80044679);
    static constexpr HRESULT cannotCreateProcess = static_cast<HRESULT>(0x80044685);
    static constexpr HRESULT cannotShowProperties = static_cast<HRESULT>(0x80044686);
    static constexpr HRESULT componentFailure = static_cast<HRESULT>(0x80044687);

    /// Opens a message in the mail program; what the shell cannot find is ignored.
    void SendMail(const std::wstring& to, const std::wstring& cc, const std::wstring& subject,
                  const std::wstring& body) const;
    void ExploreFolder(const std::wstring& path) const;
    /// Starts a program, and waits for its end when asked.
    void RunProgram(const std::wstring& file, const std::wstring& parameters, bool wait,
                    const std::wstring& directory) const;
    /// Opens a file with the open verb registered for its type, in its own folder. A file without
    /// extension, or of a type without that verb, is not opened; that is no error.
    void OpenFile(const std::wstring& file) const;
    void OpenDocument(const std::wstring& file) const;
    /// Opens an address; what the shell cannot find is ignored.
    void OpenURL(const std::wstring& target) const;
    /// Shows the shell's property sheet; without an owner the desktop is it.
    void ShowProperties(const std::wstring& file, HWND owner) const;
};

}  // namespace vtdl
