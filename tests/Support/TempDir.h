// A directory of a test's own, removed with everything in it.

#ifndef LOCALSTORAGE_TESTS_SUPPORT_TEMPDIR_H
#define LOCALSTORAGE_TESTS_SUPPORT_TEMPDIR_H

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <vector>

class CTempDir {
public:
    CTempDir() {
        std::string strPath = (std::filesystem::temp_directory_path() / "localstorage-XXXXXX");
        if (!::mkdtemp(strPath.data())) throw std::runtime_error("no temporary directory");
        m_strPath = strPath;
    }
    ~CTempDir() {
        std::error_code error;
        std::filesystem::remove_all(m_strPath, error);
    }
    CTempDir(const CTempDir&) = delete;
    CTempDir& operator=(const CTempDir&) = delete;

    /// The directory, without a trailing "/".
    const std::string& Path() const { return m_strPath; }
    /// Something in it.
    std::string operator/(const std::string& strName) const { return m_strPath + "/" + strName; }

private:
    std::string m_strPath;
};

/// Makes or replaces a file, with the directories above it.
inline void PutFile(const std::string& strPath, const std::string& strContent = "") {
    std::filesystem::create_directories(std::filesystem::path(strPath).parent_path());
    std::ofstream(strPath, std::ios::binary) << strContent;
}

/// The whole content of a file; empty when there is none.
inline std::string GetFile(const std::string& strPath) {
    std::ifstream file(strPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Every record file below a directory, in the order of their paths.
inline std::vector<std::string> RecordFilesBelow(const std::string& strDir) {
    std::vector<std::string> vPaths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(strDir)) {
        if (entry.path().extension() == ".mp4") vPaths.push_back(entry.path());
    }
    std::sort(vPaths.begin(), vPaths.end());
    return vPaths;
}

#endif  // LOCALSTORAGE_TESTS_SUPPORT_TEMPDIR_H
