#include "EngineBench.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "localstorage/LocalStorageLog.h"

namespace fs = std::filesystem;

namespace {

// Both sides of a row and the files before their removal.
constexpr std::uintmax_t ROOM = std::uintmax_t{4} << 30;

fs::path Base(scratchPlace ePlace) {
    const fs::path memory = "/dev/shm";
    std::error_code error;
    const bool bMemory =
        ePlace == scratchPlace::MEMORY && fs::space(memory, error).available >= ROOM && !error;
    return bMemory ? memory : fs::temp_directory_path();
}

}  // namespace

std::string SizeName(std::size_t nBytes) {
    return nBytes % 1024 == 0 ? std::to_string(nBytes / 1024) + " KiB"
                              : std::to_string(nBytes) + " B";
}

CScratchDir::CScratchDir(scratchPlace ePlace)
    : m_strPath(Base(ePlace) / "localstorage-bench-XXXXXX") {
    Demand(::mkdtemp(m_strPath.data()) != nullptr, "no scratch directory");
}

CScratchDir::~CScratchDir() {
    std::error_code error;
    fs::remove_all(m_strPath, error);
}

CBenchEngine::CBenchEngine(const std::string& strDir, tagStoreInfo& stInfo) {
    EnableTarget(LOG_TARGET_FILE, (strDir + "/log").c_str(), 0, 1);
    pathNode node;
    std::snprintf(node.szPath, sizeof(node.szPath), "%s/disk/", strDir.c_str());
    stInfo.lsRecDir.clear();
    stInfo.lsRecDir.push_back(node);
    m_stFile.stStartTime.wYear = m_stFile.stEndTime.wYear = 2024;
    Demand(NewLocalStorageClass(&m_pEngine) == 1, "no engine");
    Demand(m_pEngine->Initialize(stInfo), "the engine does not start");
}

CBenchEngine::~CBenchEngine() {
    DelLocalStorageClass(&m_pEngine);
}

void CBenchEngine::Open(const std::string& strCamera) {
    Demand(m_pEngine->OpenChannelRecord(std::string(strCamera).data(), nullptr, m_stFile),
           "a recording cannot be opened");
}

void CBenchEngine::Close(const std::string& strCamera) {
    Demand(m_pEngine->CloseChannelRecord(std::string(strCamera).data(), m_stFile),
           "a recording cannot be closed");
}

std::string ReadStream(const std::string& strName, std::size_t nSize) {
    const std::string strPath = STREAM_DIR "/" + strName;
    std::ifstream file(strPath, std::ios::binary);
    const std::string strOne{std::istreambuf_iterator<char>(file), {}};
    Demand(!strOne.empty(), (strPath + " cannot be read").c_str());
    std::string strStream;
    while (strStream.size() < nSize) strStream += strOne;
    return strStream;
}
