// Who switches the library's log on, when the library is loaded, and off, with an engine's end.

#ifndef LOCALSTORAGE_RECORD_LOGOWNER_H
#define LOCALSTORAGE_RECORD_LOGOWNER_H

class CLogService {
public:
    /// Begins the use of the runtime and enables the file target with its defaults. The writer
    /// thread starts with the first message.
    CLogService();

    /// Outputs what is queued and stops the log. Deliberate: the file target stays off from then
    /// on, until somebody calls EnableTarget.
    void StopLog();
};

/// The one of the process. Nothing of it is destroyed when the process ends.
extern CLogService g_objLogService;

#endif  // LOCALSTORAGE_RECORD_LOGOWNER_H
