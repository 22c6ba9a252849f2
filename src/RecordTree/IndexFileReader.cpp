// Index files from disk into memory. Nothing read is trusted before it is checked.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <span>

#include "Osl/Osl.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/Names.h"

namespace {

constexpr std::size_t HEAD_SIZE = 8;
constexpr std::size_t PIECE_SIZE = std::size_t{1} << 17;

// Reads index files one after the other through one buffer.
class CIndexFileReader {
public:
    CIndexFileReader(IndexLength eLength, indexFileFault& fault)
        : m_eLength(eLength), m_fault(fault), m_vBuffer(PIECE_SIZE) {}

    // Calls take(const Body*, number) with the elements of a file, piece by piece; it returns false
    // for elements that no index can hold.
    template <typename Body, typename F>
    bool Read(int nLevel, const std::string& strPath, F take) {
        m_fault.nLevel = nLevel;
        m_fault.strPath = strPath;
        m_fault.nCount = 0;
        m_fault.nSystemError = 0;
        m_fault.eError = ReadBodies<Body>(strPath, take);
        return m_fault.eError == IndexFileError::None;
    }

private:
    // Index files are small: one read brings a whole file, and that it is short tells its length.
    template <typename Body, typename F>
    IndexFileError ReadBodies(const std::string& strPath, F take) {
        const OSL_OwnFile file(OSL_OpenFile(strPath.c_str(), OSL_OPEN_READ, 0));
        if (file.Get() == OSL_INVALID_FILE) {
            m_fault.nSystemError = OSL_GetSystemLastError();
            const bool bMissing = m_fault.nSystemError == ENOENT || m_fault.nSystemError == ENOTDIR;
            return bMissing ? IndexFileError::NotExist : IndexFileError::Open;
        }
        constexpr std::size_t nPiece = (PIECE_SIZE - HEAD_SIZE) / sizeof(Body) * sizeof(Body);
        std::size_t nRead = 0;
        if (!ReadPiece(file, HEAD_SIZE + nPiece, nRead)) return IndexFileError::Head;
        if (nRead <= HEAD_SIZE) return IndexFileError::Silent;
        std::memcpy(&m_fault.nCount, m_vBuffer.data(), sizeof(m_fault.nCount));
        std::uint64_t nLeft = std::uint64_t{m_fault.nCount} * sizeof(Body);

        std::uint64_t nLength = nRead;
        if (nRead == HEAD_SIZE + nPiece && !Measure(file, nRead, nLength)) {
            return IndexFileError::Silent;
        }
        if (m_eLength == IndexLength::Exact && nLength != nLeft + HEAD_SIZE) {
            return IndexFileError::Length;
        }
        const char* pPiece = m_vBuffer.data() + HEAD_SIZE;
        nRead -= HEAD_SIZE;
        while (true) {
            const std::size_t nUse =
                static_cast<std::size_t>(std::min<std::uint64_t>(nRead, nLeft));
            if (!take(reinterpret_cast<const Body*>(pPiece), nUse / sizeof(Body))) {
                return IndexFileError::Element;
            }
            nLeft -= nUse;
            if (nLeft == 0) return IndexFileError::None;
            if (nUse < nPiece) return IndexFileError::Body;  // the file ends here
            pPiece = m_vBuffer.data();
            if (!ReadPiece(file, nPiece, nRead)) return IndexFileError::Body;
        }
    }

    bool ReadPiece(const OSL_OwnFile& file, std::size_t nSize, std::size_t& nRead) {
        if (OSL_ReadFile(file.Get(), m_vBuffer.data(), nSize, &nRead) == 0) return true;
        m_fault.nSystemError = OSL_GetSystemLastError();
        return false;
    }

    // The length of a file of which `nRead` bytes are read; the position stays behind them.
    bool Measure(const OSL_OwnFile& file, std::size_t nRead, std::uint64_t& nLength) {
        std::int64_t nEnd = 0;
        if (OSL_FileSeek(file.Get(), 0, 2, &nEnd) != 0 ||
            OSL_FileSeek(file.Get(), static_cast<std::int64_t>(nRead), 0, nullptr) != 0) {
            m_fault.nSystemError = OSL_GetSystemLastError();
            return false;
        }
        nLength = static_cast<std::uint64_t>(nEnd);
        return true;
    }

    const IndexLength m_eLength;
    indexFileFault& m_fault;
    std::vector<char> m_vBuffer;
};

// No path is built from an identifier that may name no folder.
bool IsUsable(const indexLevel2Body& stChannel) {
    return std::memchr(stChannel.szCameraID, 0, sizeof(stChannel.szCameraID)) != nullptr &&
           IsFolderName(GetDirName(stChannel));
}

// Fills days of a tree from index files. Several may fill different days at the same time.
class CIndexLoader {
public:
    CIndexLoader(const std::string& strFolder, IndexLength eLength, CIndexTree& tree,
                 indexFileFault& fault)
        : m_strFolder(strFolder), m_fault(fault), m_reader(eLength, fault), m_tree(tree) {}

    // Enters the days and tells them in the order of the file.
    bool ReadDays(std::vector<indexDay*>& vDays) {
        const auto takeDays = [&](const indexLevel1Body* pDays, std::size_t nDays) {
            return std::all_of(pDays, pDays + nDays, [&](const indexLevel1Body& stDay) {
                return vDays.emplace_back(m_tree.NewDay(stDay)) != nullptr;
            });
        };
        return m_reader.Read<indexLevel1Body>(1, m_strFolder + "/" + INDEX_FILE_LEVEL1, takeDays);
    }

    // Remembers what became of it.
    void LoadDays(std::span<indexDay* const> days) {
        try {
            m_bLoaded = std::all_of(days.begin(), days.end(),
                                    [this](indexDay* pDay) { return LoadDay(*pDay); });
        } catch (const std::bad_alloc&) {
            m_fault.eError = IndexFileError::Memory;
            m_bLoaded = false;
        }
    }
    bool IsLoaded() const { return m_bLoaded; }
    // Some files were not in order: what a flush would write differs from them.
    bool IsMended() const { return m_bMended; }

private:
    bool LoadDay(indexDay& day) {
        std::string strPath = m_strFolder + "/" + day.strName + "/";
        const std::size_t nDay = strPath.size();
        const auto takeChannels = [&](const indexLevel2Body* pChannels, std::size_t nChannels) {
            return std::all_of(pChannels, pChannels + nChannels, [&](const indexLevel2Body& st) {
                return IsUsable(st) && m_tree.NewChannel(day, st) != nullptr;
            });
        };
        if (!m_reader.Read<indexLevel2Body>(2, strPath.append(INDEX_FILE_LEVEL2), takeChannels)) {
            return false;
        }
        for (indexChannel& channel : day.lsChannels) {
            strPath.resize(nDay);
            strPath.append(channel.strName).append("/").append(INDEX_FILE_LEVEL3);
            if (!LoadChannel(channel, strPath)) return false;
        }
        return true;
    }

    bool LoadChannel(indexChannel& channel, const std::string& strPath) {
        const auto takeFiles = [&](const indexLevel3Body* pFiles, std::size_t nFiles) {
            const auto eOrder = channel.objFiles.Change().AppendAll(pFiles, nFiles);
            if (eOrder == CFileList::Order::Mended) {
                channel.nVersion = m_tree.GetVersion() + 1;
                m_bMended = true;
            }
            return eOrder != CFileList::Order::Doubled;
        };
        return m_reader.Read<indexLevel3Body>(3, strPath, takeFiles);
    }

    const std::string& m_strFolder;
    indexFileFault& m_fault;
    CIndexFileReader m_reader;
    CIndexTree& m_tree;
    bool m_bLoaded = true;
    bool m_bMended = false;
};

bool EndsWith(std::string_view strText, std::string_view strEnd) {
    return strText.size() >= strEnd.size() &&
           strText.substr(strText.size() - strEnd.size()) == strEnd;
}

}  // namespace

bool LoadIndex(const std::string& strFolder, IndexLength eLength, CIndexTree& tree,
               indexFileFault& fault, RunBoth runBoth) {
    try {
        indexFileFault secondFault;
        CIndexLoader first(strFolder, eLength, tree, fault);
        CIndexLoader second(strFolder, eLength, tree, secondFault);
        std::vector<indexDay*> vDays;
        if (!first.ReadDays(vDays)) return false;
        const std::span<indexDay* const> days = vDays;
        runBoth([&] { first.LoadDays(days.first(days.size() / 2)); },
                [&] { second.LoadDays(days.subspan(days.size() / 2)); });
        if (first.IsMended() || second.IsMended()) tree.NewVersion();
        if (first.IsLoaded() && !second.IsLoaded()) fault = secondFault;
        return first.IsLoaded() && second.IsLoaded();
    } catch (const std::bad_alloc&) {
        fault.eError = IndexFileError::Memory;
        return false;
    }
}

bool ReadIndexFile(const std::string& strPath, const indexFileVisitor& visitor,
                   indexFileFault& fault) {
    CIndexFileReader reader(IndexLength::Exact, fault);
    const auto each = [](const auto& visit) {
        return [&visit](const auto* pBodies, std::size_t nBodies) {
            return std::all_of(pBodies, pBodies + nBodies, visit);
        };
    };
    if (EndsWith(strPath, INDEX_FILE_LEVEL1)) {
        return reader.Read<indexLevel1Body>(1, strPath, each(visitor.onDay));
    }
    if (EndsWith(strPath, INDEX_FILE_LEVEL2)) {
        return reader.Read<indexLevel2Body>(2, strPath, each(visitor.onChannel));
    }
    return reader.Read<indexLevel3Body>(3, strPath, each(visitor.onFile));
}
