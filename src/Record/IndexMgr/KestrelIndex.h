// The oldest day of one record directory in the client layout, where no index exists: every
// question is answered by scanning.
//
// Scans remove entries that do not follow the (loose) naming rules, so nothing else may write into
// the tree under other names. No state, no lock; only the disk-check thread calls it.

#ifndef LOCALSTORAGE_INDEXMGR_KESTRELINDEX_H
#define LOCALSTORAGE_INDEXMGR_KESTRELINDEX_H

#include <list>
#include <string>
#include <string_view>

#include "IndexMgr/OldestDay.h"
#include "IndexMgr/RecordDir.h"

class CKestrelIndex {
public:
    /// `strRecDir` without a trailing "/". `pRecordDir` (may be null: always present) tells whether
    /// the disk is there; it must outlive this object.
    explicit CKestrelIndex(const std::string& strRecDir, CRecordDir* pRecordDir = nullptr);
    virtual ~CKestrelIndex() = default;

    /// The first day folder, by name, that is not passed over, with its modification time. False:
    /// there is none, it could not be read, or the disk is not there.
    bool GetOldestDate(std::string& strDate, long& lTime, const PassedOverDays& setPassedOver = {});
    bool GetOldestImgDate(std::string& strDate, long& lTime,
                          const PassedOverDays& setPassedOver = {});

    /// Appends the paths of all files of that day; `strOldestDir` receives its folder. Returns how
    /// many.
    int QueryOldestRecFile(std::string& strOldestDir, std::list<std::string>& lsRecFile,
                           const PassedOverDays& setPassedOver = {});
    int QueryOldestImgFile(std::string& strOldestDir, std::list<std::string>& lsImgFile,
                           const PassedOverDays& setPassedOver = {});

    // --- Scanners: append the valid names of a directory and remove all others. A directory that
    // cannot be read to its end gives nothing and loses nothing.

    static void GetDateList(const std::string& strPath, std::list<std::string>& lsDate);
    static void GetChannelList(const std::string& strPath, std::list<std::string>& lsChannel);
    static void GetRecFileList(const std::string& strPath, std::list<std::string>& lsRecFile);
    static void GetImgFileList(const std::string& strPath, std::list<std::string>& lsImgFile);

    // --- Validators. Deliberate: looser than those of the other layout.

    /// Any eight characters.
    static bool VerifyDateDir(std::string_view strName);
    /// Everything.
    static bool VerifyChannelDir(std::string_view strName);
    /// Eight characters, "_", anything, ".mp4".
    static bool VerifyRecFile(std::string_view strName);
    /// Eight characters, "_", anything, ".jpg".
    static bool VerifyImgFile(std::string_view strName);

private:
    using ListFiles = void (*)(const std::string&, std::list<std::string>&);

    bool GetOldest(const std::string& strTree, std::string& strDate, long& lTime,
                   const PassedOverDays& setPassedOver) const;
    int ListDay(const std::string& strDayDir, ListFiles pListFiles,
                std::list<std::string>& lsFile) const;
    std::string GetRecordTree() const;
    std::string GetImageTree() const;

    const std::string m_strPrevRecPath;
    CRecordDir* const m_pRecordDir;
};

#endif  // LOCALSTORAGE_INDEXMGR_KESTRELINDEX_H
