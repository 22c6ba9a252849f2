#include "screen/TimelineBars.h"

#include <algorithm>
#include <cstdio>

#include "base/Text.h"
#include "base/Times.h"

namespace {

constexpr std::size_t SUM_COLUMNS = 8;  // 08:00:00
constexpr std::size_t LEAST_BAR = 24;
constexpr std::size_t WIDEST_NAME = 24;

/// From nothing recorded to all of it; one glyph for each quarter in between.
const char* Glyph(double fCovered, bool bAscii) {
    static const char* const ASCII[] = {".", "-", "=", "+", "#"};
    static const char* const BLOCKS[] = {"·", "░", "▒", "▓", "█"};
    const std::size_t n = fCovered <= 0 ? 0 : fCovered >= 1 ? 4 : 1 + std::size_t(fCovered * 3);
    return bAscii ? ASCII[n] : BLOCKS[n];
}

/// Terminal colours of the types; 0 is the client layout.
const char* Colour(unsigned nType) {
    static const char* const COLOURS[] = {"\x1b[36m", "\x1b[34m", "\x1b[33m",
                                          "\x1b[32m", "\x1b[31m", "\x1b[35m",
                                          "\x1b[94m", "\x1b[93m", "\x1b[91m"};
    return COLOURS[std::min<std::size_t>(nType, std::size(COLOURS) - 1)];
}

std::string Coloured(const std::string& strText, unsigned nType, const barStyle& stStyle) {
    return stStyle.bColour ? Colour(nType) + strText + "\x1b[0m" : strText;
}

std::size_t NameWidth(const timelineDay& stTimeline) {
    std::size_t nWidth = 10;  // the date stands above the names
    for (const timelineRow& st : stTimeline.vRows) {
        nWidth = std::max(nWidth, TextWidth(st.strCamera));
    }
    return std::min(nWidth, WIDEST_NAME);
}

/// The hours above the bars, as many as have room.
std::string HourLine(const timeSpan& stDay, std::size_t nColumns) {
    std::size_t nStep = 1;
    for (const std::size_t nTry : {1, 2, 3, 4, 6, 12}) {
        nStep = nTry;
        if (nColumns * nTry / 24 >= 4) break;
    }
    std::string strLine(nColumns + 4, ' ');
    for (std::size_t nHour = 0; nHour <= 24; nHour += nStep) {
        char szHour[8];
        std::snprintf(szHour, sizeof(szHour), "%02zu", nHour);
        const double fPlace = PlaceOfHour(stDay, nHour) * static_cast<double>(nColumns);
        strLine.replace(static_cast<std::size_t>(fPlace + 1e-6), 2, szHour);
    }
    return strLine;
}

std::string Bar(const timelineRow& stRow, const timeSpan& stDay, std::size_t nColumns,
                const barStyle& stStyle) {
    std::string strBar;
    for (const timelineCell& st : MakeCells(stRow, stDay, nColumns)) {
        const std::string strGlyph = Glyph(st.fCovered, stStyle.bAscii);
        strBar += st.fCovered > 0 ? Coloured(strGlyph, st.nType, stStyle) : strGlyph;
    }
    return strBar;
}

std::string Legend(bool bAscii) {
    return std::string(Glyph(1, bAscii)) + " recorded  " + Glyph(0.7, bAscii) + Glyph(0.4, bAscii) +
           Glyph(0.1, bAscii) + " in part  " + Glyph(0, bAscii) + " nothing";
}

/// The types in their colours, as many to a line as have room.
std::vector<std::string> ColourLegend(const timelineDay& stTimeline, const std::string& strIndent,
                                      const barStyle& stStyle) {
    std::vector<std::string> vLines;
    std::size_t nTaken = stStyle.nWidth;
    for (const unsigned nType : stTimeline.Types()) {
        const std::size_t nWidth = 2 + TypeName(nType).size() + 3;
        if (nTaken + nWidth > stStyle.nWidth) {
            vLines.push_back(strIndent);
            nTaken = strIndent.size();
        }
        vLines.back() +=
            Coloured(Glyph(1, stStyle.bAscii), nType, stStyle) + " " + TypeName(nType) + "   ";
        nTaken += nWidth;
    }
    return vLines;
}

}  // namespace

std::vector<std::string> DrawBars(const timelineDay& stTimeline, const barStyle& stStyle) {
    const std::size_t nName = NameWidth(stTimeline);
    const std::size_t nTaken = nName + 2 + 4 + SUM_COLUMNS;
    const std::size_t nColumns = std::max<std::size_t>(
        LEAST_BAR, stStyle.nWidth > nTaken + 1 ? stStyle.nWidth - nTaken - 1 : 0);
    std::vector<std::string> vLines;
    vLines.push_back(PadToWidth(DayText(stTimeline.stDay), nName) + "  " +
                     HourLine(stTimeline.stDay, nColumns) + "RECORDED");
    for (const timelineRow& st : stTimeline.vRows) {
        vLines.push_back(PadToWidth(CutToWidth(st.strCamera, nName), nName) + "  " +
                         Bar(st, stTimeline.stDay, nColumns, stStyle) + "    " +
                         FormatSpan(TotalLength(st.vCovered)));
    }
    const std::string strIndent(nName + 2, ' ');
    vLines.push_back(strIndent + Legend(stStyle.bAscii));
    if (!stStyle.bColour) return vLines;
    for (std::string& strLine : ColourLegend(stTimeline, strIndent, stStyle)) {
        vLines.push_back(std::move(strLine));
    }
    return vLines;
}
