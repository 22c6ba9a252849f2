#include "screen/Terminal.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>

#include "base/System.h"
#include "base/Text.h"

namespace {

std::recursive_mutex g_mtxScreen;
CLiveLines* g_pLive = nullptr;

std::mutex g_mtxDiverted;
std::function<void(std::function<void()>)> g_fnTake;  ///< guarded by g_mtxDiverted

/// Has a text printed, or handed over.
void Print(void (*pPrint)(std::string_view), std::string_view strText) {
    {
        const std::lock_guard lock(g_mtxDiverted);
        if (g_fnTake) return g_fnTake([pPrint, str = std::string(strText)] { pPrint(str); });
    }
    pPrint(strText);
}

void PrintLineNow(std::string_view strText) {
    static const bool s_bTerminal = IsTerminal(outputStream::OUT);
    CLiveLines::Pause stPause;
    std::cout << strText << '\n';
    // Whoever reads events, or watches, sees them as they come.
    if (g_pLive || s_bTerminal) std::cout.flush();
}

}  // namespace

bool IsUtf8Locale() {
    for (const char* pName : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* pValue = std::getenv(pName);
        if (!pValue || !*pValue) continue;
        const std::string strValue = pValue;
        return strValue.find("UTF-8") != std::string::npos ||
               strValue.find("utf8") != std::string::npos;
    }
    return false;
}

bool WantsColour() {
    return IsTerminal(outputStream::OUT) && !std::getenv("NO_COLOR");
}

void DivertPrinting(std::function<void(std::function<void()>)> fnTake) {
    const std::lock_guard lock(g_mtxDiverted);
    g_fnTake = std::move(fnTake);
}

void PrintLine(std::string_view strText) {
    Print(PrintLineNow, strText);
}

void PrintMessage(std::string_view strText) {
    Print(PrintMessageNow, strText);
}

void PrintMessageNow(std::string_view strText) {
    CLiveLines::Pause stPause;
    std::cerr << "localstorage: " << strText << std::endl;
}

CLiveLines::CLiveLines() : m_bEnabled(IsTerminal(outputStream::ERR)) {
    const std::lock_guard stLock(g_mtxScreen);
    g_pLive = this;
}

CLiveLines::~CLiveLines() {
    const std::lock_guard stLock(g_mtxScreen);
    Erase();
    g_pLive = nullptr;
}

void CLiveLines::Show(std::vector<std::string> vLines) {
    if (!m_bEnabled) return;
    const std::lock_guard stLock(g_mtxScreen);
    Erase();
    m_vLines = std::move(vLines);
    const std::size_t nRoom = std::max(3u, TerminalSize(outputStream::ERR).nLines) - 1;
    if (m_vLines.size() > nRoom) {
        const std::size_t nMore = m_vLines.size() - (nRoom - 1);
        m_vLines.resize(nRoom - 1);
        m_vLines.push_back("  ... and " + std::to_string(nMore) + " more");
    }
    Draw();
}

void CLiveLines::Draw() const {
    const unsigned nColumns = TerminalSize(outputStream::ERR).nColumns;
    for (const std::string& strLine : m_vLines) {
        std::cerr << CutToWidth(strLine, nColumns - 1) << "\x1b[K\n";
    }
    std::cerr.flush();
}

void CLiveLines::Erase() const {
    if (m_vLines.empty()) return;
    std::cerr << "\r\x1b[" << m_vLines.size() << "A\x1b[J";
    std::cerr.flush();
}

CLiveLines::Pause::Pause() {
    g_mtxScreen.lock();
    if (g_pLive) g_pLive->Erase();
}

CLiveLines::Pause::~Pause() {
    if (g_pLive && !g_pLive->m_vLines.empty()) {
        std::cout.flush();
        g_pLive->Draw();
    }
    g_mtxScreen.unlock();
}

std::string ProgressBar(double fPart, unsigned nColumns) {
    const double fFull = std::clamp(fPart, 0.0, 1.0) * nColumns;
    const auto nFull = static_cast<std::size_t>(fFull);
    return "[" + std::string(nFull, '#') + std::string(nColumns - nFull, '.') + "]";
}

void CProgress::Show(std::uint64_t nDone, std::uint64_t nWhole, const std::string& strDetail) {
    const auto tNow = std::chrono::steady_clock::now();
    if (!m_objLines.Enabled() || tNow < m_tNext) return;
    m_tNext = tNow + std::chrono::milliseconds(100);
    const double fPart = nWhole ? static_cast<double>(nDone) / static_cast<double>(nWhole) : 0;
    char szPercent[16];
    std::snprintf(szPercent, sizeof(szPercent), "%3.0f %%", std::min(fPart, 1.0) * 100);
    m_objLines.Show(
        {m_strTitle + "  " + ProgressBar(fPart, 30) + " " + szPercent + "  " + strDetail});
}
