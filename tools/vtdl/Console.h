// The console: UTF-8 and LF as they are, and a progress bar on standard error.
#pragma once

#include <string>

namespace vtdl::host {

/// Sets the console to UTF-8 for the life of the program.
class Console {
public:
    Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    ~Console();

private:
    unsigned m_codePage;
};

/// Draws over what it drew before, on a terminal. What does not fit the window is cut off.
class Screen {
public:
    void Draw(const std::string& text);

    /// How many lines it can draw; 0 when standard output is no terminal.
    static std::size_t Rows();

private:
    std::size_t m_drawn = 0;  // lines
};

/// Throws Failure when standard output cannot take it all.
void Print(const std::string& text);

bool IsErrorTerminal();
bool IsOutputTerminal();

/// Draws over its last line, and leaves nothing behind.
class ProgressBar {
public:
    explicit ProgressBar(bool isShown) : m_isShown(isShown) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() { Draw(""); }

    void Draw(const std::string& line);

private:
    bool m_isShown;
    std::string m_drawn;
};

}  // namespace vtdl::host
