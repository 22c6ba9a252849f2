// The recordings of a camera one after the other, the one that is being written among them.

#ifndef LOCALSTORAGE_TOOL_SERVE_FOLLOW_H
#define LOCALSTORAGE_TOOL_SERVE_FOLLOW_H

#include <chrono>
#include <functional>
#include <optional>

#include "Catalogue/Catalogue.h"

/// Used by one thread.
class CFollow {
public:
    /// Finds the recordings of the camera that reach into a range, sorted.
    using FindFunction = std::function<std::vector<recording>(const timeSpan&)>;

    /// Behind `stLast`, the last one that is known.
    CFollow(FindFunction fnFind, recording stLast)
        : m_fnFind(std::move(fnFind)), m_stLast(std::move(stLast)) {}

    /// Whether to wait for more of a recording that was changed last then: until the camera's next
    /// one has begun, or the camera has been silent for CAMERA_SILENCE.
    bool Grows(const recording& st, UtcTime tChange);
    /// The next recording; nothing: the camera has stopped.
    std::optional<recording> Next();

private:
    std::optional<recording> FindBehind(const recording& st) const;

    const FindFunction m_fnFind;
    recording m_stLast;
    std::chrono::steady_clock::time_point m_tNextLook = {};
};

#endif  // LOCALSTORAGE_TOOL_SERVE_FOLLOW_H
