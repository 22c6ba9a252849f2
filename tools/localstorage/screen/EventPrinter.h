// Tells what becomes of cameras and the engine's messages on standard output as they come: in
// words, or as NDJSON.

#ifndef LOCALSTORAGE_TOOL_SCREEN_EVENTPRINTER_H
#define LOCALSTORAGE_TOOL_SCREEN_EVENTPRINTER_H

#include <chrono>
#include <map>
#include <string>

#include "host/CameraListener.h"
#include "host/Host.h"
#include "screen/Json.h"

/// Any thread; the engine's messages come one at a time.
class CEventPrinter : public CCameraListener {
public:
    explicit CEventPrinter(bool bJson) : m_bJson(bJson) {}

    /// A message of the engine. Of a camera whose writes fail again and again, only one message in
    /// ten seconds is told.
    void Print(const hostEvent& stEvent);

    void OnChange(const cameraChange& stChange) override;
    void OnSnapshot(const std::string& strCamera, const std::string& strPath,
                    std::uint64_t nBytes) override;
    void OnTrouble(const std::string& strCamera, const std::string& strText) override;

private:
    using Clock = std::chrono::steady_clock;

    /// Prints an event: its name, its camera, and its data in words and as JSON.
    void Print(const std::string& strName, const std::string& strCamera, const std::string& strText,
               const JsonObject& vData) const;
    bool IsToldAlready(const std::string& strCamera);

    bool m_bJson;
    std::map<std::string, Clock::time_point> m_mQuietUntil;
};

#endif  // LOCALSTORAGE_TOOL_SCREEN_EVENTPRINTER_H
