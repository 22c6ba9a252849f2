#include "serve/Disks.h"

#include <algorithm>
#include <filesystem>

#include "Catalogue/Catalogue.h"
#include "RecordTree/RecordDirectory.h"
#include "base/Failure.h"

namespace {

/// Throws unless what the directory lists can be read. One whose disk was pulled is the system
/// disk's empty folder of that name.
void RefuseUnreadable(const std::string& strDir, bool bMounted) {
    if (bMounted && LiesOnRootDisk(strDir)) {
        throw std::system_error(std::make_error_code(std::errc::no_such_device), strDir);
    }
    std::filesystem::directory_iterator{strDir};
}

/// What is wrong with a directory at the start; empty: nothing.
std::string FaultOf(const std::string& strDir) {
    try {
        RefuseMissing(strDir);
        return {};
    } catch (const std::system_error& error) {
        return error.what();
    }
}

}  // namespace

bool CDiskThreads::running::IsSilent() {
    const std::lock_guard lock(mutex);
    return std::any_of(setThreads.begin(), setThreads.end(),
                       [](const Thread& p) { return p->Silence() >= PATIENCE; });
}

void CDiskThreads::running::Add(const Thread& pThread) {
    const std::lock_guard lock(mutex);
    setThreads.insert(pThread);
}

void CDiskThreads::running::Remove(const Thread& pThread) {
    const std::lock_guard lock(mutex);
    setThreads.erase(pThread);
}

CDiskThreads::Thread CDiskThreads::Start(std::function<void()> fnWork) const {
    if (m_pRunning->IsSilent()) return nullptr;
    const auto pThread = std::make_shared<OSL_WatchedThread>();
    const auto Work = [pRunning = m_pRunning, pThread, fnWork = std::move(fnWork)] {
        pRunning->Add(pThread);
        fnWork();
        pRunning->Remove(pThread);
    };
    if (!pThread->Start(Work)) throw CFailure("too many threads are running");
    return pThread;
}

CDisks::CDisks(const std::vector<std::string>& vDirs) : m_vDirs(PlainDirs(vDirs)) {
    for (const std::string& strDir : m_vDirs) m_mDisks.try_emplace(strDir);
    std::vector<std::string> vAnswered = m_vDirs;
    for (const std::string& strFault : Ask(vAnswered, FaultOf)) {
        if (!strFault.empty()) throw CFailure(strFault);
    }
    // The system's own disk would not have let the program start: what hangs is another.
    m_setMounted.insert(m_vDirs.begin(), m_vDirs.end());
    const auto vOnRoot = Ask(vAnswered, LiesOnRootDisk);
    for (std::size_t n = 0; n < vOnRoot.size(); ++n) {
        if (vOnRoot[n]) m_setMounted.erase(vAnswered[n]);
    }
}

std::vector<std::string> CDisks::Readable() const {
    std::vector<std::string> vDirs = m_vDirs;
    Ask(vDirs, [setMounted = m_setMounted](const std::string& strDir) {
        RefuseUnreadable(strDir, setMounted.contains(strDir));
        return true;
    });
    return vDirs;
}

std::vector<std::string> CDisks::AllBut(const std::vector<std::string>& vDirs) const {
    std::vector<std::string> vOthers = m_vDirs;
    std::erase_if(vOthers, [&](const std::string& strDir) {
        return std::find(vDirs.begin(), vDirs.end(), strDir) != vDirs.end();
    });
    return vOthers;
}

std::vector<std::shared_ptr<void>> CDisks::BeginWatching(
    const std::set<std::string>& setDirs) const {
    std::vector<std::shared_ptr<void>> vTurns;
    for (const std::string& strDir : setDirs) {
        const auto& pRoom = m_mDisks.at(strDir).pRoom;
        if (!pRoom->try_acquire()) {
            throw CFailure("too many are watching what is recorded in " + strDir);
        }
        vTurns.emplace_back(nullptr, [pRoom](void*) { pRoom->release(); });
    }
    return vTurns;
}
