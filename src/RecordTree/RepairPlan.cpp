#include "RecordTree/RepairPlan.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "FileSystem/FileSystem.h"
#include "FileSystem/ForEachEntry.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/Names.h"

namespace {

bool ByTimes(const indexLevel3Body& a, const indexLevel3Body& b) {
    return a.stStartTime < b.stStartTime ||
           (a.stStartTime == b.stStartTime && a.stEndTime < b.stEndTime);
}

class CTreeScan {
public:
    explicit CTreeScan(repairPlan& plan) : m_plan(plan) {}

    bool ScanRecordFolder(const std::string& strFolder) {
        std::vector<std::string> vDays;
        const bool bRead = Walk(TreeLevel::RecordFolder, strFolder,
                                [&](std::string_view strName) { vDays.emplace_back(strName); });
        if (!bRead) return false;
        std::sort(vDays.begin(), vDays.end());
        m_plan.nDays = vDays.size();
        for (const std::string& strDay : vDays) ScanDay(strFolder + "/" + strDay, strDay);
        return true;
    }

private:
    // Channels without files and days without channels are not entered.
    void ScanDay(const std::string& strPath, const std::string& strDay) {
        indexLevel1Body stDay;
        ConvertStrDateToIndexLevel1Body(strDay, stDay);
        std::vector<std::string> vChannels;
        if (!Walk(TreeLevel::Day, strPath,
                  [&](std::string_view strName) { vChannels.emplace_back(strName); })) {
            return;
        }
        indexDay* pDay = nullptr;
        const std::size_t nUnreadable = m_plan.vUnreadable.size();
        for (const std::string& strChannel : vChannels) {
            ScanChannel(strPath + "/" + strChannel, strDay, strChannel);
            if (m_vFiles.empty()) continue;
            if (!pDay) pDay = m_plan.objTree.NewDay(stDay);
            indexLevel2Body stChannel;
            ConvertStrChannelToIndexLevel2Body(strChannel, stChannel);
            CFileList& files = m_plan.objTree.NewChannel(*pDay, stChannel)->objFiles.Change();
            files.AppendAll(m_vFiles.data(), m_vFiles.size());
        }
        const bool bRead = m_plan.vUnreadable.size() == nUnreadable;
        if (!pDay && bRead) AddLeftOver(strPath, INDEX_FILE_LEVEL2);
    }

    // Leaves the channel's recordings, in order, in m_vFiles; none of one that cannot be read.
    void ScanChannel(const std::string& strPath, const std::string& strDay,
                     const std::string& strChannel) {
        m_vFiles.clear();
        const std::size_t nFindings = m_plan.vFindings.size();
        if (!Walk(TreeLevel::Channel, strPath, [&](std::string_view strName) {
                ConvertStrRecFileToIndexLevel3Body(strName, m_vFiles.emplace_back());
            })) {
            m_vFiles.clear();
            return;
        }
        const bool bNeedsFile =
            JudgeEntry(TreeLevel::Day, strChannel, true) == EntryVerdict::KeepIfRecorded;
        if (m_vFiles.empty() && bNeedsFile) {
            m_plan.vFindings.resize(nFindings);  // they go with the folder
            m_plan.vFindings.push_back({EntryVerdict::NotRecorded, strPath, true});
            return;
        }
        ++m_plan.nChannels;
        if (m_vFiles.empty()) AddLeftOver(strPath, INDEX_FILE_LEVEL3);
        SortFiles(strDay + "/" + strChannel + "/");
        ThinOut(strDay + "/" + strChannel + "/");
    }

    // Two recordings with the same times are one entry: the first stays.
    void SortFiles(const std::string& strFolder) {
        std::stable_sort(m_vFiles.begin(), m_vFiles.end(), ByTimes);
        const auto isTwin = [&](const indexLevel3Body& stFirst, const indexLevel3Body& stFile) {
            if (!(stFirst == stFile)) return false;
            m_plan.setTwins.insert(strFolder + GetRecFileName(stFile));
            return true;
        };
        m_vFiles.erase(std::unique(m_vFiles.begin(), m_vFiles.end(), isTwin), m_vFiles.end());
    }

    // Of those that begin together the index takes so many and no more.
    void ThinOut(const std::string& strFolder) {
        auto itEnd = m_vFiles.begin();
        std::size_t nTogether = 0;
        for (const indexLevel3Body& stFile : m_vFiles) {
            const bool bTogether =
                itEnd != m_vFiles.begin() && std::prev(itEnd)->stStartTime == stFile.stStartTime;
            nTogether = bTogether ? nTogether + 1 : 1;
            if (nTogether > CFileList::MAX_TOGETHER) {
                m_plan.vCrowded.push_back(strFolder + GetRecFileName(stFile));
            } else {
                *itEnd++ = stFile;
            }
        }
        m_vFiles.erase(itEnd, m_vFiles.end());
    }

    // Tells the names that stay and notes the findings among the others. A record folder may be a
    // link to where it was moved; nothing in it is followed.
    template <typename F>
    bool Walk(TreeLevel eLevel, const std::string& strPath, F keep) {
        const auto judge = [&](const OSL_FIND_DATA& stData) {
            const std::string_view strName = stData.szName;
            const bool bDirectory = stData.wFileType == OSL_TYPE_DIR;
            const EntryVerdict eVerdict = JudgeEntry(eLevel, strName, bDirectory);
            if (eVerdict == EntryVerdict::Keep || eVerdict == EntryVerdict::KeepIfRecorded) {
                keep(strName);
            } else if (eVerdict != EntryVerdict::IndexFile) {
                m_plan.vFindings.push_back({eVerdict, strPath + "/" + stData.szName, bDirectory});
            }
        };
        const bool bRead = ForEachEntry(
            strPath, judge,
            eLevel == TreeLevel::RecordFolder ? OSL_LastLink::IsFollowed : OSL_LastLink::Fails);
        if (!bRead) m_plan.vUnreadable.push_back({strPath, OSL_GetSystemLastError()});
        return bRead;
    }

    // Whatever has the name, a link that leads nowhere included; a folder is none of the index's.
    void AddLeftOver(const std::string& strFolder, const char* pName) {
        OSL_FINFO_S stInfo;
        if (GetFolderAttribute(strFolder, pName, stInfo) && stInfo.wFileType != OSL_TYPE_DIR) {
            m_plan.vFindings.push_back({EntryVerdict::LeftOver, strFolder + "/" + pName, false});
        }
    }

    repairPlan& m_plan;
    std::vector<indexLevel3Body> m_vFiles;
};

void Measure(const std::string& strPath, bool bDirectory, findingSize& size) {
    if (bDirectory) {
        ForEachEntry(strPath, [&](const OSL_FIND_DATA& stData) {
            Measure(strPath + "/" + stData.szName, stData.wFileType == OSL_TYPE_DIR, size);
        });
        return;
    }
    OSL_FINFO_S stInfo;
    if (OSL_GetFileInfo(strPath.c_str(), stInfo) != 0) return;
    size.nBytes += stInfo.nSize;
    size.nLargest = std::max(size.nLargest, stInfo.nSize);
    ++size.nFiles;
}

// Calls f(day's date, channel's name, file, "day/channel/") for every recording of an index.
template <typename F>
void ForEachRecording(const CIndexTree& tree, F f) {
    for (const auto& entry : tree.GetDays()) {
        for (const indexChannel& channel : entry.second.lsChannels) {
            const std::string strFolder = entry.second.strName + "/" + channel.strName + "/";
            channel.objFiles->ForEach([&](const indexLevel3Body& stFile) {
                f(entry.first, channel.strName, stFile, strFolder);
            });
        }
    }
}

EntryVerdict JudgeFile(std::string_view strName, std::string_view strIndexFile,
                       EntryVerdict eOtherwise) {
    if (strName == strIndexFile) return EntryVerdict::IndexFile;
    const bool bLeftOver = strName.substr(0, strIndexFile.size()) == strIndexFile &&
                           strName.substr(strIndexFile.size()) == INDEX_NEW_SUFFIX;
    return bLeftOver ? EntryVerdict::LeftOver : eOtherwise;
}

EntryVerdict JudgeChannelFolder(std::string_view strName) {
    switch (ClassifyChannel(strName)) {
        case ChannelForm::Numbered:
            return EntryVerdict::Keep;
        case ChannelForm::Bare:
            return EntryVerdict::KeepIfRecorded;
        default:
            return EntryVerdict::NotAChannel;
    }
}

}  // namespace

EntryVerdict JudgeEntry(TreeLevel eLevel, std::string_view strName, bool bDirectory) {
    switch (eLevel) {
        case TreeLevel::RecordFolder:
            if (strName == INDEX_DIRTY_MARKER) return EntryVerdict::IndexFile;
            if (bDirectory) {
                return VerifyDateDir(strName) ? EntryVerdict::Keep : EntryVerdict::NotADay;
            }
            return JudgeFile(strName, INDEX_FILE_LEVEL1, EntryVerdict::OutsideChannel);
        case TreeLevel::Day:
            if (bDirectory) return JudgeChannelFolder(strName);
            return JudgeFile(strName, INDEX_FILE_LEVEL2, EntryVerdict::OutsideChannel);
        default:
            if (bDirectory) return EntryVerdict::FolderInChannel;
            if (VerifyRecFile(strName)) return EntryVerdict::Keep;
            return JudgeFile(strName, INDEX_FILE_LEVEL3, EntryVerdict::NotARecording);
    }
}

const char* VerdictText(EntryVerdict eVerdict) {
    switch (eVerdict) {
        case EntryVerdict::Keep:
        case EntryVerdict::KeepIfRecorded:
            return "kept";
        case EntryVerdict::IndexFile:
            return "file of the index";
        case EntryVerdict::NotADay:
            return "folder whose name is no day";
        case EntryVerdict::NotAChannel:
            return "folder whose name is no channel";
        case EntryVerdict::NotRecorded:
            return "folder without a recording";
        case EntryVerdict::OutsideChannel:
            return "file outside every channel";
        case EntryVerdict::FolderInChannel:
            return "folder inside a channel";
        case EntryVerdict::NotARecording:
            return "file whose name is no recording's";
        case EntryVerdict::LeftOver:
            return "left over from the index";
    }
    return "unknown";
}

findingSize MeasureFinding(const repairFinding& finding) {
    findingSize size;
    Measure(finding.strPath, finding.bDirectory, size);
    return size;
}

bool MakeRepairPlan(const std::string& strFolder, repairPlan& plan) {
    return CTreeScan(plan).ScanRecordFolder(strFolder);
}

std::optional<treeFault> RemoveFindings(const repairPlan& plan) {
    std::optional<treeFault> fault;
    for (const repairFinding& finding : plan.vFindings) {
        const bool bGone = finding.bDirectory ? DeleteDirectory(finding.strPath)
                                              : OSL_DeleteFile(finding.strPath.c_str()) == 0 ||
                                                    OSL_GetSystemLastError() == ENOENT;
        if (!bGone && !fault && finding.eVerdict != EntryVerdict::LeftOver) {
            fault = treeFault{finding.strPath, OSL_GetSystemLastError()};
        }
    }
    return fault;
}

indexDifference CompareWithTree(const CIndexTree& index, const repairPlan& plan) {
    indexDifference difference;
    const auto isTwin = [&](const std::string& strPath) {
        return plan.setTwins.count(strPath) > 0;
    };
    ForEachRecording(index, [&](const dateInfo& stDate, const std::string& strChannel,
                                const indexLevel3Body& stFile, const std::string& strFolder) {
        indexLevel3Body stThere = stFile;
        const std::string strPath = strFolder + GetRecFileName(stFile);
        const bool bThere = plan.objTree.Find(stDate, strChannel, stThere) &&
                            stThere.enumRecFileType == stFile.enumRecFileType;
        if (!bThere && !isTwin(strPath)) difference.vGone.push_back(strPath);
    });
    ForEachRecording(plan.objTree,
                     [&](const dateInfo& stDate, const std::string& strChannel,
                         const indexLevel3Body& stFile, const std::string& strFolder) {
                         indexLevel3Body stEntry = stFile;
                         const bool bListed = index.Find(stDate, strChannel, stEntry) &&
                                              (stEntry.enumRecFileType == stFile.enumRecFileType ||
                                               isTwin(strFolder + GetRecFileName(stEntry)));
                         if (!bListed) {
                             difference.vUnlisted.push_back(strFolder + GetRecFileName(stFile));
                         }
                     });
    return difference;
}
