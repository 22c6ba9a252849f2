#include "records/OldFiles.h"

#include <filesystem>
#include <map>
#include <set>

#include "Catalogue/FolderInUse.h"
#include "RecordTree/Names.h"
#include "RecordTree/Tidying.h"

std::vector<oldFile> FindOldFiles(const std::vector<std::string>& vDirs, StoreFileType eKind) {
    std::vector<oldFile> vFiles;
    if (eKind == STORE_FILE_IMAGE) {
        for (const picture& st : FindPictures(vDirs)) {
            vFiles.push_back({st.strDir, st.strDir + "/" + IMAGE_FOLDER, st.strDay, st.strCamera,
                              st.strName, st.nBytes, st.tTime});
        }
        return vFiles;
    }
    const CFolderInUse objFolder(vDirs);
    std::map<std::string, std::string> mFolders;
    for (const std::string& strDir : vDirs) mFolders[strDir] = objFolder.In(strDir);
    for (const recording& st :
         FindRecordings(vDirs, {.stExact = SinceMidnight(Now()), .bEmpty = true})) {
        if (st.strFolder != mFolders[st.strDir]) continue;
        vFiles.push_back({st.strDir, st.strDir + "/" + st.strFolder, st.strDay, st.strCamera,
                          st.strName, st.nBytes, ToLocal(st.tEnd)});
    }
    return vFiles;
}

void DeleteOldFiles(const std::vector<oldFile>& vFiles,
                    const std::function<void(const oldFile&, const std::error_code&)>& fnTold) {
    std::set<std::string> setCameras, setDays;
    for (const oldFile& st : vFiles) {
        std::error_code stError;
        if (std::filesystem::remove(st.Path(), stError) || stError) fnTold(st, stError);
        setCameras.insert(st.CameraPath());
        setDays.insert(st.DayPath());
    }
    for (const std::string& strPath : setCameras) RemoveIfIndexOnly(strPath, TreeLevel::Channel);
    for (const std::string& strPath : setDays) RemoveIfIndexOnly(strPath, TreeLevel::Day);
}
