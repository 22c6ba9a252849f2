#include "host/Expiry.h"

#include <algorithm>

#include "records/OldFiles.h"

namespace {

bool KeepsForEver(const keepRules& st) {
    return st.nDays == 0 && std::all_of(st.mOfCameras.begin(), st.mOfCameras.end(),
                                        [](const auto& stOne) { return stOne.second == 0; });
}

}  // namespace

CExpiry::CExpiry(std::vector<std::string> vDirs, PathFunction fnDeleted, TextFunction fnTrouble)
    : m_vDirs(std::move(vDirs)),
      m_fnDeleted(std::move(fnDeleted)),
      m_fnTrouble(std::move(fnTrouble)) {}

void CExpiry::SetPlan(const keepPlan& stPlan) {
    const std::lock_guard lock(m_mtx);
    m_stPlan = stPlan;
}

void CExpiry::OnEvent(const hostEvent& stEvent) {
    const std::lock_guard lock(m_mtx);
    if (stEvent.nMessage == MESSAGEVALUE_CREATEFILE) m_setOpen.insert(stEvent.strPath);
    if (stEvent.nMessage == MESSAGEVALUE_CLOSEFILE) m_setOpen.erase(stEvent.strPath);
}

bool CExpiry::IsOpen(const std::string& strPath) {
    const std::lock_guard lock(m_mtx);
    return m_setOpen.contains(strPath);
}

void CExpiry::DeleteOld() {
    keepPlan stPlan;
    {
        const std::lock_guard lock(m_mtx);
        stPlan = m_stPlan;
    }
    try {
        DeleteOld(STORE_FILE_RECORD, stPlan.stRecordings);
        DeleteOld(STORE_FILE_IMAGE, stPlan.stPictures);
    } catch (const std::exception& error) {
        m_fnTrouble(std::string("old files stay for now: ") + error.what());
    }
}

void CExpiry::DeleteOld(StoreFileType eKind, const keepRules& stRules) {
    if (KeepsForEver(stRules)) return;
    const LocalTime tNow = ToLocal(Now());
    auto vFiles =
        OlderThanKept(EarlierThanToday(FindOldFiles(m_vDirs, eKind), tNow), stRules, tNow);
    std::erase_if(vFiles, [this](const oldFile& st) { return IsOpen(st.Path()); });
    DeleteOldFiles(vFiles, [this](const oldFile& st, const std::error_code& stError) {
        if (!stError) return m_fnDeleted(st.Path());
        m_fnTrouble("cannot delete " + st.Path() + ": " + stError.message());
    });
}
