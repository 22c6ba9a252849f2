// The log files: LocalStorage_1_W.log while it is written, LocalStorage_1.log when it is finished.
//
// With cycling two files take turns, each of which replaces its own predecessor; without, they are
// numbered on without end. Not synchronised.

#ifndef LOCALSTORAGE_LOG_LOGFILE_H
#define LOCALSTORAGE_LOG_LOGFILE_H

#include <cstdint>

#include "Log/LineRing.h"
#include "Osl/Osl.h"
#include "localstorage/LocalStorageLog.h"

class CLogFile {
public:
    ~CLogFile() { StopWriteFile(); }

    /// Settles where to write and finds the file that was being written when the process last
    /// stopped; the file is opened with the first line. A directory that the host names is made
    /// with its parents at once, the default one with the first line. An open file is closed first.
    /// Parameters as in EnableTarget. LOG_ERR_PARAM: no such directory name can be, nothing has
    /// changed.
    int StartWriteFile(const char* pDir, std::uint32_t nSize, bool bCycle);

    /// Closes the file; what comes is dropped until the next start.
    void StopWriteFile();

    /// Appends lines, each as if it came alone: a line that does not fit any more goes into the
    /// next file, a line that cannot be written is lost, and the next is tried again. LOG_OK, or
    /// LOG_ERR_OPEN_FILE when some line found no file. A run of failures to open is reported to the
    /// debug output once.
    int InputDataToFile(LogLines stLines);

private:
    pathNode MakeFileName(bool bWriting) const;
    void SetCurFileIndex();
    void CloseFile();
    bool OpenFile();
    void Rotate();
    bool PrepareFile(std::size_t nFirstLine, std::int64_t& nRoom);

    bool m_bOn = false;
    bool m_bOpenFailed = false;  ///< and reported
    OSL_FileHandle m_hFile = OSL_INVALID_FILE;
    std::uint32_t m_nFileIndex = 0;  ///< of the current file, from 0
    bool m_bCycle = true;
    std::uint32_t m_nMaxFileSize = 0;              ///< bytes
    char m_szLogDir[LOCALSTORAGE_PATH_SIZE] = {};  ///< ends in "/"
};

#endif  // LOCALSTORAGE_LOG_LOGFILE_H
