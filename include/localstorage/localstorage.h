// LocalStorage for C, and for every language that can call C.
//
//     ls_settings settings = {.size = sizeof settings};
//     settings.directories = (const char*[]){"/disk1"};
//     settings.directory_count = 1;
//     settings.layout = LS_LAYOUT_CLIENT;
//     ls_engine* engine = NULL;
//     ls_channel* channel = NULL;
//     ls_channel_settings door = {.size = sizeof door, .camera = "door"};
//     if (!ls_engine_open(&settings, &engine) && !ls_channel_open(engine, &door, &channel, NULL))
//         ls_write(channel, piece, size, NULL);                             // ... many times
//     ls_engine_close(engine);
//
// What holds for all of it:
//   - A function that can fail returns why, and 0 (LS_OK) when it did not: what it returns belongs
//     to this call, whatever other threads do. Where the system had a reason, its error number is
//     stored through `system_error`, else 0; that pointer may be null.
//   - Where a function gives something through a pointer, it is set in every case: to null or 0 on
//     failure. Null for that pointer, or for anything else that a function needs, is
//     LS_ERROR_ARGUMENT unless it says otherwise.
//   - A record begins with its size in bytes, which whoever fills it in sets to sizeof. So records
//     can grow at their end: what an older host does not know counts as 0, and 0 is always the
//     default. A host must not read behind the size of a record that it is given.
//   - Text is UTF-8 or whatever bytes the file system has, and ends with a NUL. The library copies
//     what it is given; what it gives belongs to the library for as long as the function says.
//   - Moments are microseconds since 1970 in UTC (int64_t). Local times, as file names carry them,
//     are ls_time.
//   - No function throws, and none ends the process. Functions may be called from any thread unless
//     they say otherwise.
//
// The record folder ("RecordFile") below every record directory belongs to the engine: a repair of
// its index removes whatever does not follow the naming rules there, and a full disk makes the
// engine delete the oldest day. Never keep anything of your own in it.
//
// This header is C11, and C++ as well.

#ifndef LOCALSTORAGE_LOCALSTORAGE_C_H
#define LOCALSTORAGE_LOCALSTORAGE_C_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#define LS_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

// --- Errors ------------------------------------------------------------------------------------

/// Why a function failed.
typedef enum ls_error {
    LS_OK = 0,                    ///< none
    LS_ERROR_ARGUMENT = 1,        ///< null, a size of 0, or a number out of its bounds
    LS_ERROR_TIME = 2,            ///< a time that no calendar has, or an end before its begin
    LS_ERROR_CAMERA = 3,          ///< a camera identifier that is refused: see ls_channel_settings
    LS_ERROR_NO_MEMORY = 4,       ///< no memory
    LS_ERROR_THREAD = 5,          ///< no thread could be started
    LS_ERROR_DIRECTORY = 6,       ///< a record directory cannot be used: missing, unreadable, on a
                                  ///< disk that is read-only, fails or gives no answer
    LS_ERROR_IN_USE = 7,          ///< another engine has a record directory
    LS_ERROR_DISK_FULL = 8,       ///< no disk has room
    LS_ERROR_FILE = 9,            ///< the file could not be opened
    LS_ERROR_WRITE = 10,          ///< not all of it was written
    LS_ERROR_STREAM = 11,         ///< the analyser does not take the data
    LS_ERROR_CHANNEL_OPEN = 12,   ///< the channel is open already
    LS_ERROR_NO_CHANNEL = 13,     ///< no such channel is open
    LS_ERROR_TIMES_CHANGED = 14,  ///< the camera's channel is open, but for another recording
    LS_ERROR_LOG = 15,            ///< the log cannot be written there, or takes no line
    LS_ERROR_INTERNAL = 16        ///< a mistake of the library
} ls_error;

/// The words for an error, in English, without a full stop. Never null; any number is allowed.
/// Static.
LS_API const char* ls_error_text(int error);

/// The version of the library, "1.2.3". Never null. Static.
LS_API const char* ls_version(void);

// --- Times -------------------------------------------------------------------------------------

/// A local time, as a clock on the wall shows it.
typedef struct ls_time {
    uint16_t year;     ///< 1 to 9999
    uint8_t month;     ///< 1 to 12
    uint8_t day;       ///< 1 to the last of the month
    uint8_t hour;      ///< 0 to 23
    uint8_t minute;    ///< 0 to 59
    uint8_t second;    ///< 0 to 59; 60 in a leap second
    uint8_t reserved;  ///< 0
} ls_time;

/// What the machine's clocks show at a moment of the years 1970 to 9999, in `*time`; null is
/// LS_ERROR_ARGUMENT.
LS_API ls_error ls_time_of(int64_t moment, ls_time* time);

// --- The engine --------------------------------------------------------------------------------

/// A storage engine.
typedef struct ls_engine ls_engine;

/// How recordings lie on disk. One directory has one layout.
typedef enum ls_layout {
    /// Recordings carry the times that the host gives in their names and stand in an index.
    LS_LAYOUT_REMOTE_BACKUP = 0,
    /// Recordings are named from the clock and cut by size.
    LS_LAYOUT_CLIENT = 1
} ls_layout;

/// What the engine tells.
typedef enum ls_event_kind {
    LS_EVENT_DISK_FULL = 1,     ///< no disk has room
    LS_EVENT_DISK_SWITCH = 2,   ///< recording goes on in the directory `path`, with `free_mib`
    LS_EVENT_FILE_CREATED = 3,  ///< `path` of `camera`
    LS_EVENT_FILE_DELETED = 4,  ///< `path`, to make room or because no frame came
    LS_EVENT_FILE_CLOSED = 5,   ///< `path` of `camera`
    LS_EVENT_WRITE_FAILED = 6   ///< something of `camera` is lost, for `system_error`
} ls_event_kind;

/// One event. It and its texts are valid during the call only.
typedef struct ls_event {
    size_t size;           ///< of this record as the library knows it, in bytes
    ls_event_kind kind;    ///< what the rest tells of
    int32_t system_error;  ///< of LS_EVENT_WRITE_FAILED, else 0
    void* channel_user;    ///< the user pointer of the channel; null where none is meant
    const char* camera;    ///< null where none is meant
    const char* path;      ///< full path; null where none is meant
    ls_time time;          ///< of a file that is created or closed, else zeros
    uint64_t free_mib;     ///< of LS_EVENT_DISK_SWITCH, else 0
} ls_event;

/// Called for each event with the user pointer of its engine, on the thread of a call to the engine
/// or on one of the engine's own, one at a time for each engine. Be quick; do not call any
/// function but ls_error_text, ls_time_of and those of the log; do not throw.
typedef void (*ls_event_callback)(const ls_event* event, void* user);

/// Settings of an engine.
typedef struct ls_settings {
    size_t size;                     ///< sizeof(ls_settings)
    const char* const* directories;  ///< record directories, one per disk, best first; paths of
                                     ///< less than 260 bytes. Missing ones are made
    size_t directory_count;          ///< at least 1
    int32_t layout;                  ///< ls_layout
    uint32_t max_channels;           ///< channels that the host means to record, at most 64; 0: any
    uint32_t file_size_mib;          ///< of a file in the client layout, at most 2048; 0: 256
    bool raw;                        ///< the stream is no video: not to be combined with `analyse`
    bool analyse;                    ///< find key frames: recording begins at one, files are cut in
                                     ///< front of one
    bool next_disk;                  ///< a full disk makes the engine look for another one
    bool keep_all;                   ///< full disks do not make the engine delete the oldest day
    bool delete_pictures;            ///< they make it delete pictures, not recordings
    ls_event_callback on_event;      ///< may be null: no events
    void* user;                      ///< comes with every event of this engine
} ls_settings;

/// Makes an engine and starts it: takes over the directories, reads or mends their indexes. Full
/// disks are no error here. `*engine` is the host's until ls_engine_close. Null settings,
/// directories or paths are LS_ERROR_ARGUMENT.
LS_API ls_error ls_engine_open(const ls_settings* settings, ls_engine** engine);

/// Closes the channels that are still open, without events unless something of a stream is lost,
/// and frees them; stops the engine and frees it. The log and other engines stay as they are. No
/// other call may use the engine or its channels meanwhile, or later. Null: nothing happens.
LS_API void ls_engine_close(ls_engine* engine);

/// Sum over the open channels of each one's mean write rate since its current file began, in KiB/s;
/// 0 for null.
LS_API uint32_t ls_engine_write_speed(ls_engine* engine);

/// Options of ls_set_option, for every engine of the process.
typedef enum ls_option {
    LS_OPTION_SYNC_INTERVAL = 1,  ///< milliseconds between two syncs of what is recorded, 0 (never)
                                  ///< to 3,600,000; default 1000
    LS_OPTION_RESERVE_STEP = 2,   ///< MiB that an open recording reserves ahead, 0 to 1024; default
                                  ///< 32
    LS_OPTION_FULL_SPACE = 3,     ///< a directory with so many MiB free or less is full, 64 to
                                  ///< 1,073,741,824; default 2048
    LS_OPTION_PRIVATE_MODES = 4,  ///< 1: files are made for user and group alone; default 0
    LS_OPTION_REQUIRE_MOUNT = 5   ///< 1: a directory on the root's file system only marks where a
                                  ///< disk is going to be mounted; default 0
} ls_option;

/// Sets an option (ls_option) for the engines that are opened afterwards.
LS_API ls_error ls_set_option(int option, int32_t value);

// --- Recording ---------------------------------------------------------------------------------

/// An open recording of a camera.
typedef struct ls_channel ls_channel;

/// What is going to be recorded.
typedef struct ls_channel_settings {
    size_t size;         ///< sizeof(ls_channel_settings)
    const char* camera;  ///< identifier: 1 to 63 bytes without "/", "\" and control characters, not
                         ///< "." or "..", not the name of a file of the index
    ls_time begin;       ///< first second, remote-backup layout; zeros are allowed in the other one
    ls_time end;         ///< last second, likewise; not before the begin
    uint32_t type;       ///< kind of recording, 1 to 8, as the host understands it; 0 counts as 1
    bool go_on;  ///< continue an existing file; else it is emptied or, in the client layout,
                 ///< a new one is made
    const void* header;  ///< stream header, in front of every file; may be null
    size_t header_size;  ///< at most 128 bytes
    void* user;          ///< comes with the events of this channel
} ls_channel_settings;

/// Begins a recording. `*channel` is the host's until ls_channel_close, or ls_engine_close of its
/// engine. A null engine, settings or camera is LS_ERROR_ARGUMENT.
LS_API ls_error ls_channel_open(ls_engine* engine, const ls_channel_settings* settings,
                                ls_channel** channel, int* system_error);

/// Finds the open channel of a recording, for a host that has not kept it: camera, times and type
/// must be those of ls_channel_open, in the client layout the camera alone.
/// LS_ERROR_TIMES_CHANGED: the camera is being recorded, but nothing with these times and this
/// type. Null as in ls_channel_open.
LS_API ls_error ls_channel_find(ls_engine* engine, const ls_channel_settings* settings,
                                ls_channel** channel);

/// Appends a piece of the stream, of any size. One thread at a time for one channel. After a
/// failure the channel stays open, and later calls try again. Null data or a null channel is
/// LS_ERROR_ARGUMENT; no bytes are LS_OK.
LS_API ls_error ls_write(ls_channel* channel, const void* data, size_t size, int* system_error);

/// Another header, for the files from the next one on; at most 128 bytes. Threads and null as in
/// ls_write.
LS_API ls_error ls_write_header(ls_channel* channel, const void* data, size_t size,
                                int* system_error);

/// Ends a recording and frees the channel. LS_ERROR_WRITE: it is closed and free, but the end of it
/// was not written. LS_ERROR_NO_MEMORY: nothing has happened, to be called again. Null: nothing
/// happens, LS_OK.
LS_API ls_error ls_channel_close(ls_channel* channel, int* system_error);

/// Stores a picture of a camera (JPEG), named by the current second; a second one of that second
/// replaces the first. `path` receives the file's path, cut to `path_size` bytes with its NUL; may
/// be null with size 0. A null engine, camera or data is LS_ERROR_ARGUMENT.
LS_API ls_error ls_snapshot(ls_engine* engine, const char* camera, const void* data, size_t size,
                            char* path, size_t path_size, int* system_error);

/// Deletes the pictures of that day (its time of day does not matter) and of every earlier one on
/// the current disk, as far as it can. A null engine or day is LS_ERROR_ARGUMENT.
LS_API ls_error ls_delete_pictures(ls_engine* engine, const ls_time* day);

// --- What is recorded --------------------------------------------------------------------------

// These functions need no engine and change nothing: they read record directories of both layouts,
// also while a host of any process records there. What they find is found when the query is opened.

/// The result of a query, told element by element. One thread at a time.
typedef struct ls_query ls_query;

/// Which recordings are wanted.
typedef struct ls_filter {
    size_t size;                 ///< sizeof(ls_filter)
    const char* const* cameras;  ///< null: every camera
    size_t camera_count;         ///< how many
    int64_t begin;  ///< moment; those that overlap [begin, end) are found. Both 0: all of time
    int64_t end;    ///< moment
    uint32_t type;  ///< 0: every type; the client layout knows none
    bool exact;  ///< read from each of them when it began and ended; else only where no other one
                 ///< of its camera adjoins, and without a range from none
} ls_filter;

/// What tells when a recording ended.
typedef enum ls_end_source {
    LS_END_NAME = 0,        ///< the recording's name
    LS_END_STAMP = 1,       ///< the UTC times that its key frames carry
    LS_END_STREAM = 2,      ///< its container's times, or the number of its frames
    LS_END_LAST_CHANGE = 3  ///< of its file, or the camera's next recording
} ls_end_source;

/// A recording. Valid until the next one is asked for.
typedef struct ls_recording {
    size_t size;               ///< of this record as the library knows it, in bytes
    const char* path;          ///< full path
    const char* directory;     ///< the record directory
    const char* camera;        ///< its identifier
    ls_layout layout;          ///< by its name
    uint32_t type;             ///< 0 in the client layout
    int64_t begin;             ///< moment; it covers [begin, end), at least one second
    int64_t end;               ///< moment
    ls_end_source end_source;  ///< how good that is
    uint64_t bytes;            ///< when it was looked at
    int64_t changed;           ///< last before, a moment
} ls_recording;

/// Finds the recordings that pass the filter (null: all), sorted by begin, then camera. The query
/// is the host's until ls_query_close, also when it is empty. LS_ERROR_DIRECTORY: one of the
/// directories, or a folder below it, cannot be read.
LS_API ls_error ls_find_recordings(const char* const* directories, size_t directory_count,
                                   const ls_filter* filter, ls_query** query, int* system_error);

/// The next recording; null behind the last one, and where the query is null or of something else.
LS_API const ls_recording* ls_next_recording(ls_query* query);

/// A span of time in which a camera was recorded, or a gap between two. Valid until the next one.
typedef struct ls_span {
    size_t size;         ///< of this record as the library knows it, in bytes
    const char* camera;  ///< its identifier
    int64_t begin;       ///< moment
    int64_t end;         ///< moment, no longer in the span
    bool gap;            ///< nothing was recorded
} ls_span;

/// Finds what the recordings that pass the filter (null: all) cover of its range, and the gaps
/// between them: camera by camera, in order of time. Recordings at most 2 seconds apart are one
/// span. Else like ls_find_recordings.
LS_API ls_error ls_find_coverage(const char* const* directories, size_t directory_count,
                                 const ls_filter* filter, ls_query** query, int* system_error);

/// The next span, as ls_next_recording.
LS_API const ls_span* ls_next_span(ls_query* query);

/// A picture. Valid until the next one is asked for.
typedef struct ls_picture {
    size_t size;            ///< of this record as the library knows it, in bytes
    const char* path;       ///< full path
    const char* directory;  ///< the record directory
    const char* camera;     ///< its identifier
    int64_t taken;          ///< the second in which it was stored, a moment
    uint64_t bytes;         ///< when it was looked at
} ls_picture;

/// Finds the pictures of the filter's cameras in its range (null: all), sorted by time, then
/// camera. Else like ls_find_recordings.
LS_API ls_error ls_find_pictures(const char* const* directories, size_t directory_count,
                                 const ls_filter* filter, ls_query** query, int* system_error);

/// The next picture, as ls_next_recording.
LS_API const ls_picture* ls_next_picture(ls_query* query);

/// What stands below one record directory. Valid until the next one is asked for.
typedef struct ls_disk {
    size_t size;                ///< of this record as the library knows it, in bytes
    const char* directory;      ///< without a "/" at the end
    const char* record_folder;  ///< that hosts use; null: there is none
    const char* first_day;     ///< with recordings, as its folder is named ("20240305"); null: none
    const char* last_day;      ///< likewise
    uint64_t free_bytes;       ///< that a host may use
    bool full;                 ///< 2048 MiB free or less
    uint64_t recordings;       ///< how many
    uint64_t recording_bytes;  ///< of all of them
    uint64_t pictures;         ///< how many
    uint64_t picture_bytes;    ///< of all of them
} ls_disk;

/// Tells of each record directory, in the order given. Else like ls_find_recordings.
LS_API ls_error ls_find_disks(const char* const* directories, size_t directory_count,
                              ls_query** query, int* system_error);

/// The next disk, as ls_next_recording.
LS_API const ls_disk* ls_next_disk(ls_query* query);

/// What there is of a camera. Valid until the next one is asked for.
typedef struct ls_camera {
    size_t size;          ///< of this record as the library knows it, in bytes
    const char* camera;   ///< its identifier
    uint64_t recordings;  ///< how many
    uint64_t bytes;       ///< of all of them
    int64_t begin;        ///< of the first recording, a moment
    int64_t end;          ///< of the last one
    bool client;          ///< recorded as it is filmed: the client layout
    bool recording;       ///< that is going on: its last picture is at most a minute old
    int64_t today;        ///< recorded since midnight, in microseconds
    int64_t gap_today;    ///< missing between today's recordings, in microseconds
} ls_camera;

/// Tells of each camera that has recordings, sorted by its identifier. Else like
/// ls_find_recordings.
LS_API ls_error ls_find_cameras(const char* const* directories, size_t directory_count,
                                ls_query** query, int* system_error);

/// The next camera, as ls_next_recording.
LS_API const ls_camera* ls_next_camera(ls_query* query);

/// Finds the paths of recordings in the engine's index in memory, without asking a disk;
/// remote-backup layout only. They overlap the local times [begin, end]; type 0: every type.
/// Sorted by path. LS_ERROR_ARGUMENT: the layout is the other one, or something is null.
LS_API ls_error ls_engine_find(ls_engine* engine, const char* camera, uint32_t type,
                               const ls_time* begin, const ls_time* end, ls_query** query);

/// The next path, as ls_next_recording.
LS_API const char* ls_next_path(ls_query* query);

/// Frees a query and what it has told. Null: nothing happens.
LS_API void ls_query_close(ls_query* query);

// --- The log -----------------------------------------------------------------------------------

// One per process. Loading the library enables files in "/share/LocalStorage/", made with the first
// line; a host that wants its log elsewhere says so before it opens an engine. None of these waits
// for output but ls_log_off.

/// Weight of a line.
typedef enum ls_log_level {
    LS_LOG_NOTHING = 0,      ///< a limit only
    LS_LOG_ERRORS = 1,       ///< what failed
    LS_LOG_INFORMATION = 2,  ///< what was done
    LS_LOG_DEBUGGING = 3     ///< more
} ls_log_level;

/// Where lines go.
typedef enum ls_log_target {
    LS_LOG_STANDARD_OUTPUT = 0,  ///< the process' own
    LS_LOG_STANDARD_ERROR = 1,   ///< likewise
    LS_LOG_FILES = 2             ///< see ls_log_to_files
} ls_log_target;

/// Sends the log into files in a directory (at most 256 bytes, made with its parents; null: the
/// default), of so many bytes each (0: 52,428,800): two that take turns, or numbered on without
/// end.
LS_API ls_error ls_log_to_files(const char* directory, uint32_t file_size, bool two_in_turn);

/// Sends the log to one of the standard streams (ls_log_target) too.
LS_API ls_error ls_log_to_stream(int stream);

/// Ends a target (ls_log_target) after it has got what is queued; with the last one the log stops.
LS_API ls_error ls_log_off(int target);

/// Drops lines above a level (ls_log_level); LS_LOG_NOTHING drops all.
LS_API ls_error ls_log_limit(int level);

/// Writes a line of the host's own. Null is LS_ERROR_ARGUMENT. LS_ERROR_LOG: it was dropped.
LS_API ls_error ls_log_write(int level, const char* text);

#ifdef __cplusplus
}
#endif

#endif  // LOCALSTORAGE_LOCALSTORAGE_C_H
