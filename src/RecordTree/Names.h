// Every name in a record directory: made, parsed and verified. Text only, no I/O, any thread.
//
//     <record directory>/<tree>/<day>/<channel>/<file>
//
//     tree       RecordFile             recordings; later perhaps under the name BackupFile
//                ImageFile              pictures
//     day        YYYYMMDD               eight digits, the calendar is not checked
//     channel    an identifier (IsFolderName), in the remote-backup layout in one of three forms
//                (ClassifyChannel):
//                  numbered             TEXT_N_N: TEXT has no "_"; the first number is 0 to 65535,
//                                       the second 0 to 255, neither with leading zeros
//                  bare                 any text that is not digits after its first and last "_"
//                  not storable         digits there, but numbers that do not come out of the index
//                                       as they went in: cam_01_2, cam_1_256, cam_70000_1
//     file       START_END_T.mp4        recording of the remote-backup layout: two times
//                                       of fourteen digits and one digit for
//                                       the type
//                YYYYMMDD_hhmmss.mp4    recording of the client layout: the second in which it was
//                                       made, or the next free one
//                YYYYMMDD_hhmmss.jpg    picture: the second in which it was stored
//
// A name is valid exactly when parsing it and making one of the result gives back the same text.

#ifndef LOCALSTORAGE_RECORDTREE_NAMES_H
#define LOCALSTORAGE_RECORDTREE_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>

#include "RecordTree/IndexRecords.h"

/// The trees of a record directory: recordings, under one of two names, and pictures.
inline constexpr char RECORD_FOLDER[] = "RecordFile";
inline constexpr char BACKUP_FOLDER[] = "BackupFile";
inline constexpr char IMAGE_FOLDER[] = "ImageFile";

/// The file beside the trees that bears the directory's lock and identity.
inline constexpr char DIRECTORY_FILE[] = ".localstorage";

/// What the names of recordings and pictures end in.
inline constexpr char RECORDING_EXTENSION[] = ".mp4";
inline constexpr char PICTURE_EXTENSION[] = ".jpg";

/// A camera's picture until it is whole, in the folder where it is to lie.
inline constexpr char NEW_PICTURE[] = ".new-picture";

/// The files of the index, and what stood behind their names while an earlier version wrote them.
inline constexpr char INDEX_FILE_LEVEL1[] = "index01.bin";
inline constexpr char INDEX_FILE_LEVEL2[] = "index02.bin";
inline constexpr char INDEX_FILE_LEVEL3[] = "index03.bin";
inline constexpr char INDEX_NEW_SUFFIX[] = ".new";
inline constexpr char INDEX_DIRTY_MARKER[] = "index.dirty";

/// Longest camera identifier in bytes.
constexpr std::size_t CAMERA_ID_MAX = 63;
/// Lengths of the names of days and of recordings of the remote-backup layout.
constexpr std::size_t DAY_NAME_SIZE = 8;
constexpr std::size_t REC_FILE_NAME_SIZE = 35;

/// What can name a channel's folder: 1 to 63 bytes, not "." or "..", without "/", "\" and control
/// characters.
bool IsFolderName(std::string_view strName);
/// The index's own names: the marker's, and its files', also with INDEX_NEW_SUFFIX behind them.
bool IsIndexName(std::string_view strName);
/// What may name a camera: a folder's name that is none of the index's. Where a folder has one of
/// these all the same, its recordings are kept.
bool IsCameraID(std::string_view strName);

enum class ChannelForm {
    Numbered,    ///< kept in the three fields of indexLevel2Body
    Bare,        ///< kept whole in szCameraID
    NotStorable  ///< cannot be kept: the remote-backup layout refuses it
};
/// The form of a channel folder's name; what IsFolderName refuses is not storable.
ChannelForm ClassifyChannel(std::string_view strName);

// --- Verified: days, and what belongs to the remote-backup layout ------------------------------

bool VerifyDateDir(std::string_view strName);
/// True for the numbered form alone. A repair keeps folders of bare identifiers too, but only those
/// that hold a record file.
bool VerifyChannelDir(std::string_view strName);
bool VerifyRecFile(std::string_view strName);

// --- Verified loosely: what a scan of the client layout leaves alone, and deletes by age.
// Deliberate: such a tree has no index that a stranger could mislead, and what looks nearly like
// a recording is not thrown away before its day comes; so every name of a channel passes,
// too.

/// Any eight characters.
bool IsScannedDateDir(std::string_view strName);
/// Eight characters, "_", anything, the extension.
bool IsScannedFile(std::string_view strName, std::string_view strExtension);

// --- Parsed: false, and the record untouched, for a name that is not valid ---------------------

bool ConvertStrDateToIndexLevel1Body(std::string_view strName, indexLevel1Body& stBody);
/// Takes the numbered and the bare form.
bool ConvertStrChannelToIndexLevel2Body(std::string_view strName, indexLevel2Body& stBody);
bool ConvertStrRecFileToIndexLevel3Body(std::string_view strName, indexLevel3Body& stBody);
/// The second in the name of a recording of the client layout, or of a picture.
bool ConvertStrSecondToFileTime(std::string_view strName, std::string_view strExtension,
                                fileTimeInfo& stTime);

// --- Made --------------------------------------------------------------------------------------

std::string GetDirName(const dateInfo& stDate);
std::string GetDirName(const indexLevel2Body& stChannel);
std::string GetRecFileName(const indexLevel3Body& stFile);
std::string GetSecondName(const fileTimeInfo& stTime, std::string_view strExtension);

/// Room for any name that FormatRecFileName makes.
constexpr std::size_t REC_FILE_NAME_BUFFER = 64;
/// GetRecFileName without allocation: writes the name, without a NUL, to `pName`
/// (REC_FILE_NAME_BUFFER bytes) and returns its length.
std::size_t FormatRecFileName(const indexLevel3Body& stFile, char* pName);

#endif  // LOCALSTORAGE_RECORDTREE_NAMES_H
