// Index files from memory to disk: a set of them is replaced as one (F1 to F3 of IndexFiles.h).

#include <cstring>

#include "Osl/Osl.h"
#include "RecordTree/IndexFiles.h"

namespace {

class CIndexFileWriter {
public:
    CIndexFileWriter(const std::string& strFolder, indexFileFault& fault)
        : m_strFolder(strFolder), m_fault(fault) {}

    bool Write(const indexSnapshot& snapshot) {
        const bool bDone = WriteAll(snapshot) && Sync() && RenameAll();
        if (!bDone) RemoveLeftOvers();
        return bDone;
    }

private:
    // F1. The order is that of the levels, days and channels ascending as the snapshot has them.
    bool WriteAll(const indexSnapshot& snapshot) {
        if (snapshot.bDays) {
            Begin(snapshot.vDays.size());
            Append(snapshot.vDays.data(), snapshot.vDays.size());
            if (!WriteOne(1, m_strFolder + "/" + INDEX_FILE_LEVEL1)) return false;
        }
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
        return true;
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
        const std::string strNew = strPath + INDEX_NEW_SUFFIX;
        const OSL_FileHandle hFile = OSL_OpenFile(strNew.c_str(), OSL_OPEN_NEW, OSL_FILE_SHARED);
        if (hFile == OSL_INVALID_FILE) return Fail(IndexFileError::Open, nLevel, strPath);
        m_vPaths.push_back(strPath);
        std::size_t nWritten = 0;
        const bool bWritten =
            OSL_WriteFile(hFile, m_vBytes.data(), m_vBytes.size(), &nWritten) == 0;
        if (!bWritten) {
            Fail(nWritten < sizeof(indexLevel3Head) ? IndexFileError::Head : IndexFileError::Body,
                 nLevel, strPath);
        }
        // A file system may keep its complaint for the close.
        const bool bClosed = OSL_CloseFile(hFile) == 0;
        if (bWritten && !bClosed) Fail(IndexFileError::Body, nLevel, strPath);
        return bWritten && bClosed;
    }

    // F2.
    bool Sync() {
        if (m_vPaths.empty() || OSL_SyncFileSystem(m_strFolder.c_str()) == 0) return true;
        return Fail(IndexFileError::Sync, 1, m_strFolder);
    }

    // F3. From the last to the first, so index01.bin comes last.
    bool RenameAll() {
        while (!m_vPaths.empty()) {
            const std::string& strPath = m_vPaths.back();
            if (OSL_RenameFile((strPath + INDEX_NEW_SUFFIX).c_str(), strPath.c_str()) != 0) {
                return Fail(IndexFileError::Rename, 1, strPath);
            }
            m_vPaths.pop_back();
        }
        return true;
    }

    void RemoveLeftOvers() {
        for (const std::string& strPath : m_vPaths) {
            OSL_DeleteFile((strPath + INDEX_NEW_SUFFIX).c_str());
        }
    }

    bool Fail(IndexFileError eError, int nLevel, const std::string& strPath) {
        m_fault = {eError, nLevel, strPath, 0, OSL_GetSystemLastError()};
        return false;
    }

    const std::string& m_strFolder;
    indexFileFault& m_fault;
    std::vector<std::string> m_vPaths;  // written under their new names, not yet renamed
    std::vector<char> m_vBytes;         // of the file being written
};

}  // namespace

bool WriteIndexFiles(const std::string& strFolder, const indexSnapshot& snapshot,
                     indexFileFault& fault) {
    return CIndexFileWriter(strFolder, fault).Write(snapshot);
}
