// Tells what becomes of cameras and the engine's messages on standard output as they come: in
// words, or as NDJSON.

#ifndef LOCALSTORAGE_TOOL_SCREEN_EVENTPRINTER_H
#define LOCALSTORAGE_TOOL_SCREEN_EVENTPRINTER_H

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "host/CameraListener.h"
#include "host/EventHook.h"
#include "host/Host.h"
#include "screen/Json.h"

/// Any thread; the engine's messages come one at a time.
class CEventPrinter : public CCameraListener {
public:
    /// In words, with the time of day where `bTimes`; or as NDJSON. `pHook`, unless null, gets the
    /// same events and must outlive the object.
    explicit CEventPrinter(bool bJson, bool bTimes = true, CEventHook* pHook = nullptr)
        : m_bJson(bJson), m_bTimes(bTimes), m_pHook(pHook) {}

    /// A message of the engine. Of a camera whose writes fail again and again, only one message in
    /// ten seconds is told.
    void Print(const hostEvent& stEvent);

    void OnChange(const cameraChange& stChange) override;
    void OnSnapshot(const std::string& strCamera, const std::string& strPath,
                    std::uint64_t nBytes) override;
    void OnTrouble(const std::string& strCamera, const std::string& strText) override;

private:
    using Clock = std::chrono::steady_clock;

    struct event {
        std::string strName, strCamera = {};
        std::string strText = {};  ///< its data, in words
        std::string strPath = {};
        std::optional<std::uint64_t> optBytes = {};
        JsonObject vMore = {};
    };

    void Tell(const event& st) const;
    bool IsToldAlready(const std::string& strCamera);

    const bool m_bJson, m_bTimes;
    CEventHook* const m_pHook;
    std::map<std::string, Clock::time_point> m_mQuietUntil;
};

#endif  // LOCALSTORAGE_TOOL_SCREEN_EVENTPRINTER_H
