// What the engine says, in order: its log lines and the host's messages in one list.
//
// The engine's tests are linked with this recorder in place of the log room, so a test sees at
// once, and in their order, every line and every message.

#ifndef LOCALSTORAGE_TESTS_LOCALSTORAGE_TRACE_H
#define LOCALSTORAGE_TESTS_LOCALSTORAGE_TRACE_H

#include <functional>
#include <string>
#include <vector>

using Trace = std::vector<std::string>;

/// One message of the host callback.
struct HostMessage {
    int nType = 0;
    std::string strPath;  ///< file or disk; empty for the other kinds
};

/// The callback to give to the engine. A recording's `pUser` must point to a text. Any thread.
int RecordMessage(int nMsgType, void* pData, unsigned int nDataLen, void* pUser);

/// Lines of the engine itself and messages, with `strDir` written as "$". A message is "-> ", its
/// type, all that came with it (camera, path, time, number, size of the record) and its user: for
/// example "-> 3 cam01 $/file 20240305080000 [396] user". Forgets them.
Trace TakeTrace(const std::string& strDir);
/// The lines that contain `strPart`, messages not among them.
Trace LinesWith(const std::string& strPart);
/// The messages so far; forgets nothing.
std::vector<HostMessage> Messages();
/// The paths of the messages of one type.
Trace PathsOf(int nMsgType);
void ClearTrace();
/// From now on runs with every message, on its thread; null: nothing does.
void OnMessage(std::function<void(const HostMessage&)> run);
/// Long runs keep messages only.
void KeepLines(bool bKeep);

#endif  // LOCALSTORAGE_TESTS_LOCALSTORAGE_TRACE_H
