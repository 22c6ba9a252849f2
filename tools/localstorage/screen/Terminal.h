// The terminal: live lines below what has been printed, and a progress bar. Without a terminal both
// stay silent.

#ifndef LOCALSTORAGE_TOOL_SCREEN_TERMINAL_H
#define LOCALSTORAGE_TOOL_SCREEN_TERMINAL_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Whether the user's locale has UTF-8.
bool IsUtf8Locale();

/// Whether standard output is a terminal whose user wants colours.
bool WantsColour();

/// Prints one line to standard output, above the live lines. Any thread.
void PrintLine(std::string_view strText);
/// Prints "localstorage: TEXT" to standard error, above the live lines. Any thread.
void PrintMessage(std::string_view strText);

/// From now on both only hand over what prints, to be called by one thread; nothing: they print
/// again. See CPrintQueue.
void DivertPrinting(std::function<void(std::function<void()>)> fnTake);
/// As PrintMessage, but at once.
void PrintMessageNow(std::string_view strText);

/// Lines at the bottom of the terminal on standard error that are drawn again and again. One
/// instance at a time; any thread.
class CLiveLines {
public:
    CLiveLines();
    ~CLiveLines();
    CLiveLines(const CLiveLines&) = delete;
    CLiveLines& operator=(const CLiveLines&) = delete;

    bool Enabled() const { return m_bEnabled; }
    /// Draws these lines in place of the last ones, as many as the terminal has room for, each cut
    /// to its width.
    void Show(std::vector<std::string> vLines);

    /// While it lives nobody else prints, and the live lines are off the screen.
    class Pause {
    public:
        Pause();
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
    };

private:
    void Draw() const;
    void Erase() const;

    bool m_bEnabled;
    std::vector<std::string> m_vLines;
};

/// A bar such as "[#####.....]" for a part of a whole.
std::string ProgressBar(double fPart, unsigned nColumns);

/// One live line with a bar, drawn at most ten times a second.
class CProgress {
public:
    explicit CProgress(std::string strTitle) : m_strTitle(std::move(strTitle)) {}

    void Show(std::uint64_t nDone, std::uint64_t nWhole, const std::string& strDetail);

private:
    std::string m_strTitle;
    CLiveLines m_objLines;
    std::chrono::steady_clock::time_point m_tNext;
};

#endif  // LOCALSTORAGE_TOOL_SCREEN_TERMINAL_H
