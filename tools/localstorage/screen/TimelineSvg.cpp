#include "screen/TimelineSvg.h"

#include <algorithm>
#include <cstdio>

#include "base/Text.h"
#include "base/Times.h"

namespace {

constexpr double BAR_WIDTH = 24 * 40;
constexpr double MARGIN = 24;
constexpr double TOP = 76;  // title and hours
constexpr double ROW_HEIGHT = 30;
constexpr double BAR_HEIGHT = 18;
constexpr double BAR_TOP = (ROW_HEIGHT - BAR_HEIGHT) / 2;
constexpr double SUM_WIDTH = 84;
constexpr double LEGEND_HEIGHT = 52;

/// Colours that colour-blind readers can tell apart; 0 is the client layout.
const char* Fill(unsigned nType) {
    static const char* const FILLS[] = {"#0f766e", "#0072b2", "#e69f00", "#009e73", "#d55e00",
                                        "#cc79a7", "#56b4e9", "#b8a800", "#5b4ba0"};
    return FILLS[std::min<std::size_t>(nType, std::size(FILLS) - 1)];
}

std::string Number(double fValue) {
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%.2f", fValue);
    return szText;
}

std::string Escaped(const std::string& strText) {
    std::string strOut;
    for (const char c : strText) {
        switch (c) {
            case '&':
                strOut += "&amp;";
                break;
            case '<':
                strOut += "&lt;";
                break;
            case '>':
                strOut += "&gt;";
                break;
            case '"':
                strOut += "&quot;";
                break;
            default:
                strOut += c;
        }
    }
    return strOut;
}

std::string Rect(double fX, double fY, double fWidth, double fHeight, const std::string& strFill,
                 const std::string& strTip = "") {
    const std::string strHead = "<rect x=\"" + Number(fX) + "\" y=\"" + Number(fY) + "\" width=\"" +
                                Number(fWidth) + "\" height=\"" + Number(fHeight) + "\" fill=\"" +
                                strFill + "\"";
    if (strTip.empty()) return strHead + "/>\n";
    return strHead + "><title>" + Escaped(strTip) + "</title></rect>\n";
}

std::string Text(double fX, double fY, const std::string& strClass, const std::string& strText) {
    return "<text x=\"" + Number(fX) + "\" y=\"" + Number(fY) + "\" class=\"" + strClass + "\">" +
           Escaped(strText) + "</text>\n";
}

/// The picture's measures, which depend on what stands in it.
struct frame {
    double fLeft = 0;    ///< of the bars
    double fBottom = 0;  ///< of the rows
    double fWidth = 0, fHeight = 0;
};

frame Measure(const timelineDay& stTimeline) {
    std::size_t nName = 6;
    for (const timelineRow& st : stTimeline.vRows) {
        nName = std::max(nName, TextWidth(st.strCamera));
    }
    frame st;
    st.fLeft = MARGIN + 7.6 * static_cast<double>(nName) + 14;
    st.fBottom = TOP + ROW_HEIGHT * static_cast<double>(stTimeline.vRows.size());
    st.fWidth = st.fLeft + BAR_WIDTH + SUM_WIDTH + MARGIN;
    st.fHeight = st.fBottom + LEGEND_HEIGHT;
    return st;
}

std::string Head(const frame& st) {
    const std::string strSize = Number(st.fWidth) + " " + Number(st.fHeight);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + strSize + "\" width=\"" +
           Number(st.fWidth) + "\" height=\"" + Number(st.fHeight) +
           "\" font-family=\"sans-serif\" font-size=\"13\">\n"
           "<style>.title{font-size:18px;font-weight:bold;fill:#1f2933}.name{fill:#1f2933}"
           ".hour{fill:#616e7c;font-size:11px;text-anchor:middle}"
           ".sum{fill:#616e7c;text-anchor:end}.key{fill:#1f2933;font-size:12px}</style>\n" +
           Rect(0, 0, st.fWidth, st.fHeight, "#ffffff");
}

std::string Hours(const timeSpan& stDay, const frame& st) {
    std::string strOut;
    for (unsigned nHour = 0; nHour <= 24; ++nHour) {
        const double fX = st.fLeft + PlaceOfHour(stDay, nHour) * BAR_WIDTH;
        strOut += "<line x1=\"" + Number(fX) + "\" y1=\"" + Number(TOP - 6) + "\" x2=\"" +
                  Number(fX) + "\" y2=\"" + Number(st.fBottom) + "\" stroke=\"" +
                  (nHour % 6 == 0 ? "#9aa5b1" : "#e4e7eb") + "\"/>\n";
        char szHour[8];
        std::snprintf(szHour, sizeof(szHour), "%02u", nHour);
        strOut += Text(fX, TOP - 12, "hour", szHour);
    }
    return strOut;
}

/// A camera's name, the empty bar and the sum.
std::string RowFrame(const timelineRow& stRow, const frame& stFrame, double fTop) {
    const double fBase = fTop + ROW_HEIGHT / 2 + 4.5;
    return Text(MARGIN, fBase, "name", stRow.strCamera) +
           Rect(stFrame.fLeft, fTop + BAR_TOP, BAR_WIDTH, BAR_HEIGHT, "#f0f2f5") +
           Text(stFrame.fLeft + BAR_WIDTH + SUM_WIDTH, fBase, "sum",
                FormatSpan(TotalLength(stRow.vCovered)));
}

/// What is recorded of a camera.
std::string RowSpans(const timelineRow& stRow, const timeSpan& stDay, const frame& stFrame,
                     double fTop) {
    const auto Place = [&](UtcTime t) { return PlaceIn(stDay, t) * BAR_WIDTH; };
    std::string strOut;
    for (const typedSpan& st : stRow.vSpans) {
        const double fX = Place(st.stSpan.tStart);
        const double fWidth = std::max(0.5, Place(st.stSpan.tEnd) - fX);
        strOut += Rect(stFrame.fLeft + fX, fTop + BAR_TOP, fWidth, BAR_HEIGHT, Fill(st.nType),
                       stRow.strCamera + "  " + FormatClock(st.stSpan.tStart) + " - " +
                           FormatClock(st.stSpan.tEnd) + "  " + TypeName(st.nType));
    }
    return strOut;
}

std::string Legend(const timelineDay& stTimeline, const frame& stFrame) {
    double fX = stFrame.fLeft;
    const double fY = stFrame.fBottom + 20;
    std::string strOut;
    const auto Key = [&](const char* pFill, const std::string& strText) {
        strOut += Rect(fX, fY, 14, 14, pFill) + Text(fX + 20, fY + 11.5, "key", strText);
        fX += 20 + 7.5 * static_cast<double>(strText.size()) + 24;
    };
    for (const unsigned nType : stTimeline.Types()) Key(Fill(nType), TypeName(nType));
    Key("#f0f2f5", "nothing recorded");
    return strOut;
}

}  // namespace

std::string DrawSvg(const timelineDay& stTimeline) {
    const frame stFrame = Measure(stTimeline);
    std::string strSvg = Head(stFrame) +
                         Text(MARGIN, 34, "title", "Recordings of " + DayText(stTimeline.stDay)) +
                         Text(stFrame.fLeft + BAR_WIDTH + SUM_WIDTH, TOP - 12, "sum", "recorded");
    std::string strSpans;
    double fTop = TOP;
    for (const timelineRow& st : stTimeline.vRows) {
        strSvg += RowFrame(st, stFrame, fTop);
        strSpans += RowSpans(st, stTimeline.stDay, stFrame, fTop);
        fTop += ROW_HEIGHT;
    }
    // The hours lie between the empty bars and what is recorded.
    return strSvg + Hours(stTimeline.stDay, stFrame) + strSpans + Legend(stTimeline, stFrame) +
           "</svg>\n";
}
