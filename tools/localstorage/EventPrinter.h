// Tells the engine's messages on standard output as they come: in words, or as NDJSON.

#ifndef LOCALSTORAGE_TOOL_EVENTPRINTER_H
#define LOCALSTORAGE_TOOL_EVENTPRINTER_H

#include <chrono>
#include <map>
#include <string>

#include "Host.h"
#include "Output.h"

/// Any thread; the engine's messages come one at a time.
class CEventPrinter {
public:
    explicit CEventPrinter(bool bJson) : m_bJson(bJson) {}

    /// A message of the engine. Of a camera whose writes fail again and again, only one message in
    /// ten seconds is told.
    void Print(const hostEvent& stEvent);
    /// An event of the tool's own: its name, its camera, and its data in words and as JSON.
    void Print(const std::string& strName, const std::string& strCamera, const std::string& strText,
               const Json& jsData) const;

private:
    using Clock = std::chrono::steady_clock;

    bool IsToldAlready(const std::string& strCamera);

    bool m_bJson;
    std::map<std::string, Clock::time_point> m_mapQuietUntil;
};

#endif  // LOCALSTORAGE_TOOL_EVENTPRINTER_H
