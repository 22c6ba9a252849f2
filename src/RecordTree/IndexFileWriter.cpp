// Index files from memory to disk, in place, under a marker (F1 to F3 of IndexFiles.h).

#include <cerrno>
#include <cstring>

#include "Osl/Osl.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/IndexMarker.h"

namespace {

class CIndexFileWriter {
public:
    CIndexFileWriter(const std::string& strFolder, indexFileFault& fault)
        : m_strFolder(strFolder), m_fault(fault) {}

    bool Write(const indexSnapshot& snapshot) {
        return snapshot.IsEmpty() || (SyncMarker() && WriteAll(snapshot) && Sync());
    }

private:
    // F1.
    bool SyncMarker() {
        return SyncIndexMarker(m_strFolder) ||
               Fail(IndexFileError::Sync, 1, m_strFolder + "/" + INDEX_DIRTY_MARKER);
    }

    // F2. Days and channels ascending as the snapshot has them.
    bool WriteAll(const indexSnapshot& snapshot) {
        for (const auto& channels : snapshot.vChannels) {
            Begin(channels.vBodies.size());
            Append(channels.vBodies.data(), channels.vBodies.size());
            if (!WriteOne(2, m_strFolder + "/" + channels.strDay + "/" + INDEX_FILE_LEVEL2)) {
                return false;
            }
        }
        for (const auto& files : snapshot.vFiles) {
            Begin(files.objFiles->size());
            files.objFiles->ForEach([this](const indexLevel3Body& stFile) { Append(&stFile, 1); });
            if (!WriteOne(3, m_strFolder + "/" + files.strDay + "/" + files.strChannel + "/" +
                                 INDEX_FILE_LEVEL3)) {
                return false;
            }
        }
        if (!snapshot.bDays) return true;
        Begin(snapshot.vDays.size());
        Append(snapshot.vDays.data(), snapshot.vDays.size());
        return WriteOne(1, m_strFolder + "/" + INDEX_FILE_LEVEL1);
    }

    // The heads of all levels have the same layout.
    void Begin(std::size_t nCount) {
        indexLevel3Head stHead;
        stHead.nRecFiles = static_cast<std::uint32_t>(nCount);
        m_vBytes.resize(sizeof(stHead));
        std::memcpy(m_vBytes.data(), &stHead, sizeof(stHead));
    }

    template <typename Body>
    void Append(const Body* pBodies, std::size_t nBodies) {
        const char* pBytes = reinterpret_cast<const char*>(pBodies);
        m_vBytes.insert(m_vBytes.end(), pBytes, pBytes + nBodies * sizeof(Body));
    }

    bool WriteOne(int nLevel, const std::string& strPath) {
        const OSL_FileHandle hFile = OpenToWrite(strPath.c_str());
        if (hFile == OSL_INVALID_FILE) return Fail(IndexFileError::Open, nLevel, strPath);
        std::size_t nWritten = 0;
        const bool bWritten =
            OSL_WriteFile(hFile, m_vBytes.data(), m_vBytes.size(), &nWritten) == 0 &&
            EndFile(hFile);
        if (!bWritten) {
            Fail(nWritten < sizeof(indexLevel3Head) ? IndexFileError::Head : IndexFileError::Body,
                 nLevel, strPath);
        }
        // A file system may keep its complaint for the close.
        const bool bClosed = OSL_CloseFile(hFile) == 0;
        if (bWritten && !bClosed) Fail(IndexFileError::Body, nLevel, strPath);
        return bWritten && bClosed;
    }

    // The file as it is, or a new one. What is there and cannot be written goes: a link, a file of
    // another user's, a pipe.
    static OSL_FileHandle OpenToWrite(const char* pPath) {
        const OSL_FileHandle hFile = OSL_OpenFile(pPath, OSL_OPEN_WRITE, 0);
        if (hFile != OSL_INVALID_FILE) return hFile;
        const int nError = OSL_GetSystemLastError();
        if (nError == ELOOP || nError == EACCES || nError == ENXIO) OSL_DeleteFile(pPath);
        return OSL_OpenFile(pPath, OSL_OPEN_NEW, OSL_FILE_SHARED);
    }

    // Cuts off what the file had behind the new content.
    bool EndFile(OSL_FileHandle hFile) {
        const auto nSize = static_cast<std::int64_t>(m_vBytes.size());
        std::int64_t nEnd = 0;
        return OSL_FileSeek(hFile, 0, 2, &nEnd) == 0 &&
               (nEnd == nSize || OSL_TruncateFile(hFile, nSize) == 0);
    }

    // F3.
    bool Sync() {
        return OSL_SyncFileSystem(m_strFolder.c_str()) == 0 ||
               Fail(IndexFileError::Sync, 1, m_strFolder);
    }

    bool Fail(IndexFileError eError, int nLevel, const std::string& strPath) {
        m_fault = {eError, nLevel, strPath, 0, OSL_GetSystemLastError()};
        return false;
    }

    const std::string& m_strFolder;
    indexFileFault& m_fault;
    std::vector<char> m_vBytes;  // of the file being written
};

}  // namespace

bool WriteIndexFiles(const std::string& strFolder, const indexSnapshot& snapshot,
                     indexFileFault& fault) {
    return CIndexFileWriter(strFolder, fault).Write(snapshot);
}
