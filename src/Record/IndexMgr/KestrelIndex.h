// The days of one record directory in the client layout, where no index exists: every question is
// answered by scanning.
//
// Scans remove entries that do not follow the (loose) naming rules, so nothing else may write into
// the tree under other names. No state, no lock; only the disk-check thread calls it.

#ifndef LOCALSTORAGE_INDEXMGR_KESTRELINDEX_H
#define LOCALSTORAGE_INDEXMGR_KESTRELINDEX_H

#include <string>
#include <vector>

#include "IndexMgr/OldestDay.h"
#include "IndexMgr/RecordDir.h"
#include "localstorage/LocalStorage.h"

class CKestrelIndex : public COldestDays {
public:
    /// Of the recordings or the pictures in `strRecDir` (no "/" at its end). `pRecordDir` (may be
    /// null: always present) tells whether the disk is there; it must outlive this object.
    CKestrelIndex(const std::string& strRecDir, StoreFileType eKind,
                  CRecordDir* pRecordDir = nullptr)
        : m_strPrevRecPath(strRecDir), m_eKind(eKind), m_pRecordDir(pRecordDir) {}

    /// The first day folder, by name, that is not passed over, with its modification time. False:
    /// there is none, it could not be read, or the disk is not there.
    bool GetOldestDate(const PassedOverDays& setPassedOver, dayOffer& offer) override;
    /// What cannot be read to its end gives nothing and loses nothing.
    void ListDay(const dayFolder& stDay, std::vector<recordPath>& vFiles) override;

private:
    const std::string m_strPrevRecPath;
    const StoreFileType m_eKind;
    CRecordDir* const m_pRecordDir;
};

#endif  // LOCALSTORAGE_INDEXMGR_KESTRELINDEX_H
