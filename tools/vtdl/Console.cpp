#include "Console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>

#include "Output.h"
#include "Values.h"

namespace vtdl::host {
namespace {

// A console has a mode; pipes, files and NUL have none.
bool IsTerminal(DWORD stream) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

}  // namespace

Console::Console() : m_codePage(GetConsoleOutputCP()) {
    SetConsoleOutputCP(CP_UTF8);
    for (std::FILE* stream : {stdout, stderr}) {
        _setmode(_fileno(stream), _O_BINARY);
        // A console gets each line or page in one piece, not character by character.
        std::setvbuf(stream, nullptr, _IOFBF, 1 << 16);
    }
}

Console::~Console() {
    if (m_codePage != 0) SetConsoleOutputCP(m_codePage);
}

void Print(const std::string& all) {
    const std::string text = IsOutputTerminal() ? Printable(all, "\n\t") : all;
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw Failure("standard output cannot be written");
}

bool IsErrorTerminal() { return IsTerminal(STD_ERROR_HANDLE); }

bool IsOutputTerminal() { return IsTerminal(STD_OUTPUT_HANDLE); }

std::size_t Screen::Rows() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return 0;
    return static_cast<std::size_t>(info.srWindow.Bottom - info.srWindow.Top);
}

// Counted from the cursor, which stays below what was drawn, for the window may have scrolled.
void Screen::Draw(const std::string& text) {
    const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(console, &info)) return Print(text);
    const auto columns = static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left);
    const auto rows = static_cast<std::size_t>(info.srWindow.Bottom - info.srWindow.Top);
    const std::vector<std::string> lines = Fitted(text, columns, rows, m_drawn);
    const auto up =
        static_cast<SHORT>(std::min(m_drawn, static_cast<std::size_t>(info.dwCursorPosition.Y)));
    SetConsoleCursorPosition(console, {0, static_cast<SHORT>(info.dwCursorPosition.Y - up)});
    m_drawn = lines.size();
    std::string all;
    for (const std::string& line : lines) all.append(line).append(1, '\n');
    Print(all);
}

void ProgressBar::Draw(const std::string& line) {
    if (!m_isShown || line == m_drawn) return;
    std::string text = "\r" + line;
    text.append(m_drawn.size() - std::min(m_drawn.size(), line.size()), ' ');
    if (line.empty()) text += '\r';
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    m_drawn = line;
}

}  // namespace vtdl::host
