// What becomes of cameras, as records, and who is told.

#ifndef LOCALSTORAGE_TOOL_HOST_CAMERALISTENER_H
#define LOCALSTORAGE_TOOL_HOST_CAMERALISTENER_H

#include <chrono>
#include <cstdint>
#include <string>

enum class ECameraState {
    Connecting,
    Connected,  ///< pictures come
    Lost,       ///< the stream ended or failed, or could not be opened
    Stalled,    ///< nothing came for too long
    Ended       ///< for good
};

/// As events and numbers call it.
const char* NameOf(ECameraState eState);

/// What has been of a camera since it was started.
struct cameraCounts {
    unsigned nTries = 0;        ///< since pictures came last
    unsigned nConnections = 0;  ///< that brought pictures
    unsigned Reconnections() const { return nConnections > 1 ? nConnections - 1 : 0; }
    std::uint64_t nBytes = 0, nFiles = 0;
};

/// What can be told of a camera at any time.
struct liveCamera {
    std::string strCamera;
    ECameraState eState = ECameraState::Connecting;
    unsigned nReconnections = 0;
    std::uint64_t nBytes = 0, nFiles = 0;
    std::chrono::system_clock::time_point tLastWrite;  ///< the epoch: none yet
};

/// A camera has gone over to a state.
struct cameraChange {
    std::string strCamera;
    ECameraState eState = ECameraState::Connecting;
    std::string strWhy;  ///< of Lost, Stalled and Ended; of Connecting: why the last try failed
    cameraCounts stCounts;
    std::chrono::milliseconds nWait{0};  ///< of Lost and Stalled: until the next try
};

/// Is told what becomes of cameras, each from its own thread.
class CCameraListener {
public:
    virtual ~CCameraListener() = default;
    virtual void OnChange(const cameraChange& stChange) = 0;
    virtual void OnSnapshot(const std::string& strCamera, const std::string& strPath,
                            std::uint64_t nBytes) = 0;
    /// Something failed, in words.
    virtual void OnTrouble(const std::string& strCamera, const std::string& strText) = 0;
};

#endif  // LOCALSTORAGE_TOOL_HOST_CAMERALISTENER_H
