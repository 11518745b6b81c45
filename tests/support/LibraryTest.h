#pragma once
// What the tests of the library's classes share.

#include <gtest/gtest.h>
#include <vtdl.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "automation/ClassTable.h"
#include "automation/Object.h"
#include "support/Com.h"

namespace vtdl::tests {

/// One test in a folder of its own, which is the current and the data folder. The error handler
/// answers "abort" and writes reports to its log. Afterwards no object may be alive, the call stack
/// has to be empty, and a log that the test did not take is a failure.
class LibraryTest : public testing::Test {
protected:
    LibraryTest();
    ~LibraryTest() override;

    /// The error log's bytes; taken.
    static std::string TakeLog();
    /// The reports so far; taken. Their first lines and call stacks are cut off.
    static std::wstring TakeErrors();

    /// Writes the settings file that managers and data sources load: section, key, value.
    static void WriteSettings(const std::vector<std::array<std::string, 3>>& values);

private:
    std::filesystem::path m_previousFolder;
    std::filesystem::path m_folder;
    long m_objects;
};

/// The bytes of a file, empty when there is none.
std::string ReadAll(const std::filesystem::path& file);
void WriteAll(const std::filesystem::path& file, const std::string& bytes);

/// A text that has to be a file of tests/data. One that differs is left in the temporary folder.
void ExpectAsRecorded(const std::string& text, const char* fileName);

/// The parts of a text between separators.
std::vector<std::wstring> Split(const std::wstring& text, wchar_t separator);

/// An object of one of the library's classes, by its coclass.
template <class Coclass, class I>
Ptr<I> New() {
    Ptr<I> object;
    _com_util::CheckError(automation::CreateInstance(__uuidof(Coclass), __uuidof(I),
                                                     reinterpret_cast<void**>(&object)));
    return object;
}

/// The same by the class's name, through its default interface's IDispatch.
Ptr<IDispatch> New(std::wstring_view className);

/// The date of a day, as an automation date.
double Day(int year, int month, int day);

}  // namespace vtdl::tests
