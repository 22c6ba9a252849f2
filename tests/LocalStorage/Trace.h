// What the engine says, in order: its log lines and the host's messages in one list.
//
// The engine's tests are linked with this recorder in place of the log room, so a test sees at
// once, and in their order, every line and every message.

#ifndef LOCALSTORAGE_TESTS_LOCALSTORAGE_TRACE_H
#define LOCALSTORAGE_TESTS_LOCALSTORAGE_TRACE_H

#include <string>
#include <vector>

using Trace = std::vector<std::string>;

/// One message of the host callback.
struct HostMessage {
    int nType = 0;
    std::string strCamera;
    std::string strPath;            ///< file, deleted file or disk
    std::string strTime;            ///< of a file event, as 14 digits
    unsigned long long nValue = 0;  ///< usable space, or the error number
    unsigned nLength = 0;
    void* pUser = nullptr;
};

/// The callback to give to the engine. Any thread.
int RecordMessage(int nMsgType, void* pData, unsigned int nDataLen, void* pUser);

/// Lines of the engine itself and messages (as "-> 3 cam01 /path"), with `strDir` written as "$".
/// Forgets them.
Trace TakeTrace(const std::string& strDir);
/// The lines that contain `strPart`, messages not among them.
Trace LinesWith(const std::string& strPart);
/// The messages so far; forgets nothing.
std::vector<HostMessage> Messages();
/// The paths of the messages of one type.
Trace PathsOf(int nMsgType);
void ClearTrace();
/// Long runs keep messages only.
void KeepLines(bool bKeep);

#endif  // LOCALSTORAGE_TESTS_LOCALSTORAGE_TRACE_H
