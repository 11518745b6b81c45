#include "Console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>

#include "Failure.h"

namespace vtdl::host {

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

void Print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw Failure("standard output cannot be written");
}

// A console has a mode; pipes, files and NUL have none.
bool IsErrorTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
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
