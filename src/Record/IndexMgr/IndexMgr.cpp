#include "IndexMgr/IndexMgr.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/BackupFolder.h"
#include "IndexMgr/RecDirName.h"
#include "IndexMgr/RecordDisk.h"
#include "Log/LogText.h"
#include "Osl/Osl.h"
#include "RecordTree/Names.h"
#include "RecordTree/ReservedSpace.h"

CIndexMgr::CIndexMgr() : CIndexMgr(STORAGE_TYPE_RECORD) {}

CIndexMgr::CIndexMgr(StorageType enumStorageType, bool bRequireMount)
    : m_enumStorageType(enumStorageType),
      m_bRequireMount(bRequireMount),
      m_pFolder(RECORD_FOLDER) {}

CIndexMgr::~CIndexMgr() {
    for (const auto& [strPath, pDisk] : m_mDisks) pDisk->Abandon();
}

int CIndexMgr::Initialize(const std::list<std::string>& lsRecDir) {
    if (m_enumStorageType > STORAGE_TYPE_KESTREL) return 0;
    std::vector<DiskPtr> vDisks, vMet;
    for (const std::string& strRecDir : lsRecDir) {
        if (m_mDisks.contains(strRecDir)) continue;
        vDisks.push_back(std::make_shared<CRecordDisk>(
            strRecDir, m_enumStorageType == STORAGE_TYPE_KESTREL, m_bRequireMount));
        m_mDisks.emplace(strRecDir, vDisks.back());
        if (!vDisks.back()->Calls().Start()) return 1;
        // Those that hang do so at the same time.
        vDisks.back()->Calls().Post(DiskLane::Use, [strInside = strRecDir + "/"] {
            return OSL_AccessFile(strInside.c_str(), 0);
        });
    }
    for (const DiskPtr& pDisk : vDisks) {
        const int nResult = Meet(pDisk, vMet);
        if (nResult != 0) return nResult;
    }
    const int nResult = OpenIndexes();
    if (nResult == 0) BeginUse();
    return nResult;
}

// Before any file is opened: what a crash left reserved is given back.
void CIndexMgr::BeginUse() {
    std::vector<std::pair<DiskPtr, std::future<void>>> vBegun;
    for (const auto& [strPath, pDisk] : m_mDisks) {
        vBegun.emplace_back(pDisk,
                            pDisk->Calls().Post(DiskLane::Use, [p = pDisk] { p->BeginUse(); }));
    }
    for (auto& [pDisk, begun] : vBegun) {
        if (AwaitFirst(pDisk, begun)) begun.get();
    }
}

// False: the start goes on without the disk.
template <typename Result>
bool CIndexMgr::AwaitFirst(const DiskPtr& pDisk, const std::future<Result>& future) {
    if (pDisk->IsLate()) return false;
    if (pDisk->Calls().Await(DiskLane::Use, future, LAST_PATIENCE)) return true;
    pDisk->SetLate();
    LogText(
        "[wtb][CIndexMgr::Initialize] the disk gives no answer, goes on without it until it does, "
        "strRecDir [%s]",
        pDisk->Path().c_str());
    return false;
}

int CIndexMgr::Meet(const DiskPtr& pDisk, std::vector<DiskPtr>& vMet) {
    using Meeting = CRecordDisk::Meeting;
    auto met = pDisk->Calls().Post(DiskLane::Use, [pDisk, vMet] {
        DiskPtr pSame;
        const Meeting eMeeting = pDisk->Meet(vMet, pSame);
        return std::pair(eMeeting, pSame);
    });
    if (!AwaitFirst(pDisk, met)) return 0;
    const auto [eMeeting, pSame] = met.get();
    if (eMeeting == Meeting::Ready) {
        vMet.push_back(pDisk);
        return 0;
    }
    pDisk->Abandon();
    m_mDisks.erase(pDisk->Path());
    if (eMeeting == Meeting::IsNotThere) return 1;
    m_vAliases.emplace_back(pDisk->Path(), pSame);
    return 0;
}

// "RecordFile" comes first wherever there is one: what was recorded in "BackupFile" while it could
// not be used is moved into it. The client layout has no index that could be beyond repair.
int CIndexMgr::OpenIndexes() {
    const bool bClient = m_enumStorageType == STORAGE_TYPE_KESTREL;
    const bool bBackup = HasFolder(BACKUP_FOLDER);
    const bool bFresh = !bBackup && std::strcmp(RecDirName(), BACKUP_FOLDER) != 0;
    int nResult = 2;
    if (bClient || bFresh || HasFolder(RECORD_FOLDER)) {
        nResult = OpenBelow(RECORD_FOLDER, false);
        if (nResult == 0 && !MoveBackups()) nResult = 1;
        if (nResult == 2) nResult = SwitchToBackup(bBackup);
    } else {
        nResult = OpenBelow(BACKUP_FOLDER, true);
    }
    if (nResult != 0 || bClient) return nResult;
    SetRecDirName(m_pFolder);
    if (m_pFolder == BACKUP_FOLDER) {
        LogText(
            "[wtb][CIndexMgr::Initialize] BackupFile is used on all disks, what lies in RecordFile "
            "is neither found nor deleted");
    }
    return 0;
}

// A folder that nobody can tell of may be there.
bool CIndexMgr::HasFolder(const char* pFolder) const {
    return std::any_of(m_mDisks.begin(), m_mDisks.end(), [=](const auto& entry) {
        return entry.second->Calls()
            .Run(DiskLane::Use,
                 [strRecDir = entry.first, pFolder] {
                     OSL_FINFO_S stInfo;
                     return GetFolderAttribute(strRecDir, pFolder, stInfo) ||
                            OSL_GetSystemLastError() != ENOENT;
                 })
            .value_or(false);
    });
}

// All at once; the first that cannot be used tells the result. One that comes late is opened, too.
int CIndexMgr::OpenBelow(const char* pFolder, bool bAllTheSame) {
    m_pFolder = pFolder;
    std::vector<std::pair<DiskPtr, std::future<int>>> vOpened;
    for (const auto& [strPath, pDisk] : m_mDisks) {
        pDisk->SetFolder(pFolder);
        vOpened.emplace_back(pDisk, pDisk->Calls().Post(DiskLane::Use, [=, p = pDisk] {
            return p->Open(pFolder, bAllTheSame);
        }));
    }
    int nResult = 0;
    for (auto& [pDisk, opened] : vOpened) {
        if (!AwaitFirst(pDisk, opened)) continue;
        const int nOpened = opened.get();
        if (nResult != 0 || nOpened == 0) continue;
        nResult = nOpened;
        m_strFault = pDisk->Fault();
    }
    return nResult;
}

int CIndexMgr::SwitchToBackup(bool bAllTheSame) {
    LogText("[wtb][CIndexMgr::Initialize] RecordFile cannot be used, reason [%s]",
            m_strFault.c_str());
    return OpenBelow(BACKUP_FOLDER, bAllTheSame);
}

// False when the process lacks handles or memory for it.
bool CIndexMgr::MoveBackups() {
    std::vector<std::pair<DiskPtr, std::future<bool>>> vMoved;
    for (const auto& [strPath, pDisk] : m_mDisks) {
        vMoved.emplace_back(pDisk, pDisk->Calls().Post(DiskLane::Use, [p = pDisk] {
            return !p->IsOpen() || CBackupFolder(p).MoveToRecordFolder();
        }));
    }
    bool bMoved = true;
    for (auto& [pDisk, moved] : vMoved) {
        if (AwaitFirst(pDisk, moved)) bMoved &= moved.get();
    }
    return bMoved;
}

void CIndexMgr::Release() {
    std::set<std::string> setHung;
    Release(setHung);
}

// Each step on all disks at once, so that those that hang do so at the same time.
void CIndexMgr::Release(std::set<std::string>& setHung) {
    std::set<std::string> setLeft;
    const auto EndAll = [&](const char* pWhat, bool (CRecordDisk::*pfnEnd)(std::int64_t)) {
        for (const auto& [strPath, pDisk] : m_mDisks) {
            if (setLeft.contains(strPath)) continue;
            const bool bHung = setHung.contains(strPath);
            if ((*pDisk.*pfnEnd)(bHung ? NO_PATIENCE : LAST_PATIENCE)) continue;
            setHung.insert(strPath);
            setLeft.insert(strPath);
            LogText(
                "[wtb][CIndexMgr::Release] the disk gives no answer, %s is left behind until it "
                "does, strRecDir [%s]",
                pWhat, strPath.c_str());
        }
    };
    for (const auto& [strPath, pDisk] : m_mDisks) pDisk->BeginEnd();
    EndAll("its thread", &CRecordDisk::EndCalls);
    EndAll("its index", &CRecordDisk::EndIndex);
    EndAll("its lock", &CRecordDisk::EndUse);
    m_vAliases.clear();
    m_mDisks.clear();
}

std::shared_ptr<CRecordDisk> CIndexMgr::Disk(std::string_view strRecDir) const {
    const auto it = m_mDisks.find(strRecDir);
    if (it != m_mDisks.end()) return it->second;
    for (const auto& [strPath, pDisk] : m_vAliases) {
        if (strPath == strRecDir) return pDisk;
    }
    return nullptr;
}

void CIndexMgr::WriteIndex(const recordPath& stPath, IndexType eIndexType) {
    if (m_enumStorageType != STORAGE_TYPE_RECORD) return;
    if (const DiskPtr pDisk = Disk(stPath.RecDir())) {
        return pDisk->WriteIndex(stPath, static_cast<CIndex::IndexType>(eIndexType));
    }
    LogText(
        "[wtb][CIndexMgr::WriteIndex] m_mIndex.find(strPrevPath) == m_mIndex.end(), "
        "strPrevPath [%s]",
        std::string(stPath.RecDir()).c_str());
}

int CIndexMgr::QueryRecFile(const std::string& strChannel, RecFileType enumRecFileType,
                            const fileTimeInfo& stStart, const fileTimeInfo& stEnd,
                            std::list<std::string>& lsRecFile) {
    indexLevel2Body stChannel;
    if (m_enumStorageType != STORAGE_TYPE_RECORD ||
        !ConvertStrChannelToIndexLevel2Body(strChannel, stChannel)) {
        return 0;
    }
    int nFiles = 0;
    for (const auto& [strPath, pDisk] : m_mDisks) {
        CIndex* const pIndex = pDisk->Index();
        if (!pIndex) continue;
        std::list<std::string> lsFound;
        nFiles += pIndex->QueryRecFile(stChannel, enumRecFileType, stStart, stEnd, lsFound);
        // Recordings that begin together stand in the order in which they came.
        if (!std::is_sorted(lsFound.begin(), lsFound.end())) lsFound.sort();
        lsRecFile.merge(lsFound);
    }
    return nFiles;
}

bool CIndexMgr::QueryOldestRecFile(oldestDay& day, const passedOver& stPassedOver) {
    const char* const pMethod = m_enumStorageType == STORAGE_TYPE_KESTREL
                                    ? "QueryOldestRecFileForKESTREL"
                                    : "QueryOldestRecFileForRemoteBackup";
    return QueryOldestDay(STORE_FILE_RECORD, pMethod, stPassedOver, day);
}

bool CIndexMgr::QueryOldestImgFile(oldestDay& day, const passedOver& stPassedOver) {
    if (m_enumStorageType != STORAGE_TYPE_KESTREL) return false;
    return QueryOldestDay(STORE_FILE_IMAGE, "QueryOldestImgFileForKESTREL", stPassedOver, day);
}

namespace {

// A job of a pass. A shortage, which ends the pass, is thrown on the caller's thread.
template <typename Job>
auto RunForPass(CRecordDisk& disk, Job job) {
    const auto answer = disk.Calls().Run(DiskLane::CleanUp, [job = std::move(job)] {
        std::pair<decltype(job()), int> result;
        try {
            result.first = job();
        } catch (const std::system_error& shortage) {
            result.second = shortage.code().value();
        }
        return result;
    });
    if (answer && answer->second != 0) {
        throw std::system_error(answer->second, std::generic_category());
    }
    return answer ? answer->first : decltype(job())();
}

}  // namespace

// Asks every directory that is not passed over for its oldest day, and the one that is chosen for
// its files. One that does not answer has none to offer.
bool CIndexMgr::QueryOldestDay(StoreFileType eKind, const char* pMethod,
                               const passedOver& stPassedOver, oldestDay& day) {
    std::set<DiskPtr> setLeft;
    for (const std::string& strRecDir : stPassedOver.vRecDirs) setLeft.insert(Disk(strRecDir));
    std::vector<dayOffer> vOffers;
    std::vector<DiskPtr> vOffering;
    for (const auto& [strPath, pDisk] : m_mDisks) {
        if (setLeft.contains(pDisk) || !pDisk->IsOpen()) continue;
        auto offer = RunForPass(
            *pDisk,
            [p = pDisk, eKind, setDays = stPassedOver.setDays]() -> std::optional<dayOffer> {
                dayOffer stOffer;
                stOffer.nDisk = p->Disk();
                if (!p->GetDays(eKind).GetOldestDate(setDays, stOffer)) return std::nullopt;
                return stOffer;
            });
        if (!offer) continue;
        vOffers.push_back(std::move(*offer));
        vOffering.push_back(pDisk);
    }
    if (vOffers.empty()) {
        LogText("[wtb][CIndexMgr::%s] 0 == lsOldestDate.size()", pMethod);
        return false;
    }
    const std::size_t nChosen = ChooseOldestDay(vOffers);
    day.stDay = vOffers[nChosen].stDay;
    day.nDisk = vOffers[nChosen].nDisk;
    day.vFiles =
        RunForPass(*vOffering[nChosen], [p = vOffering[nChosen], eKind, stDay = day.stDay] {
            std::vector<recordPath> vFiles;
            p->GetDays(eKind).ListDay(stDay, vFiles);
            return vFiles;
        });
    return true;
}

bool CIndexMgr::IsOtherName(const std::string& strRecDir) const {
    return !m_mDisks.contains(strRecDir) && Disk(strRecDir) != nullptr;
}
