/* The C interface as a host in C uses it: both layouts, switches, queries, pictures, events, and a
 * table of errors. Works in a directory of its own, which it removes. */

#define _XOPEN_SOURCE 700
#include <errno.h>
#include <ftw.h>
#include <limits.h>
#include <localstorage/localstorage.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <unistd.h>

static int g_failures = 0;
#define CHECK(what) ((what) ? (void)0 : Fail(__LINE__, #what))
#define EXPECT(error, call) CheckError(__LINE__, #call, (error), (call))

static void Fail(int line, const char* what) {
    fprintf(stderr, "%s:%d: %s\n", __FILE__, line, what);
    ++g_failures;
}

static void CheckError(int line, const char* what, ls_error expected, ls_error error) {
    if (error == expected) return;
    Fail(line, what);
    fprintf(stderr, "  %s, expected %s\n", ls_error_text(error), ls_error_text(expected));
}

/* --- Scaffolding --- */

static char g_root[] = "/tmp/localstorage-c-XXXXXX";

/* A path below the test's directory, for the rest of the program. */
static const char* Path(const char* name) {
    static char paths[16][PATH_MAX];
    static int next = 0;
    char* const path = paths[next++ % 16];
    snprintf(path, PATH_MAX, "%s/%s", g_root, name);
    return path;
}

static int RemoveOne(const char* path, const struct stat* info, int kind, struct FTW* place) {
    (void)info, (void)kind, (void)place;
    return remove(path);
}

typedef struct told {
    int count[LS_EVENT_WRITE_FAILED + 1];
    int system_error;
    void* channel_user;
    char path[PATH_MAX]; /* of the last file */
} told;

static void OnEvent(const ls_event* event, void* user) {
    told* const st = user;
    ++st->count[event->kind];
    if (event->system_error) st->system_error = event->system_error;
    if (event->camera) st->channel_user = event->channel_user;
    if (event->path) snprintf(st->path, sizeof st->path, "%s", event->path);
}

static ls_settings Settings(const char* const* directory, ls_layout layout, told* user) {
    ls_settings st = {.size = sizeof st};
    st.directories = directory;
    st.directory_count = 1;
    st.layout = layout;
    st.file_size_mib = 1;
    st.on_event = OnEvent;
    st.user = user;
    return st;
}

/* An engine of such settings, in a directory below the test's. */
static ls_engine* Open(const char* name, ls_layout layout, told* user) {
    const char* const directory = Path(name);
    const ls_settings settings = Settings(&directory, layout, user);
    ls_engine* engine = NULL;
    EXPECT(LS_OK, ls_engine_open(&settings, &engine));
    return engine;
}

static const ls_time EIGHT = {2024, 3, 5, 8, 0, 0, 0}, HALF_PAST = {2024, 3, 5, 8, 30, 0, 0},
                     NINE = {2024, 3, 5, 9, 0, 0, 0}, TEN = {2024, 3, 5, 10, 0, 0, 0};
#define MOMENT_OF_EIGHT (INT64_C(1709625600) * 1000000)
#define HOUR (INT64_C(3600) * 1000000)

static ls_channel_settings Recording(const char* camera, ls_time begin, ls_time end) {
    ls_channel_settings st = {.size = sizeof st, .camera = camera, .begin = begin, .end = end};
    return st;
}

static void Record(ls_engine* engine, ls_time begin, ls_time end) {
    ls_channel_settings st = Recording("door", begin, end);
    ls_channel* channel = NULL;
    EXPECT(LS_OK, ls_channel_open(engine, &st, &channel, NULL));
    EXPECT(LS_OK, ls_write(channel, "picture", 7, NULL));
    EXPECT(LS_OK, ls_channel_close(channel, NULL));
}

/* --- Cases --- */

static void BackupIsRecordedAndFound(void) {
    const char* const dir = Path("backup");
    told events = {0};
    ls_engine* const engine = Open("backup", LS_LAYOUT_REMOTE_BACKUP, &events);
    Record(engine, EIGHT, HALF_PAST);
    Record(engine, NINE, TEN);
    CHECK(events.count[LS_EVENT_FILE_CREATED] == 2 && events.count[LS_EVENT_FILE_CLOSED] == 2);

    ls_query* query = NULL;
    EXPECT(LS_OK, ls_engine_find(engine, "door", 1, &EIGHT, &TEN, &query));
    CHECK(strstr(ls_next_path(query), "/backup/RecordFile/20240305/door/20240305080000_"));
    CHECK(ls_next_path(query) && !ls_next_path(query));
    ls_query_close(query);

    /* The same beside the engine; from here on by the catalogue. */
    const char* const cameras[] = {"door"};
    ls_filter filter = {.size = sizeof filter, .cameras = cameras, .camera_count = 1};
    filter.begin = MOMENT_OF_EIGHT + HOUR;
    filter.end = filter.begin + HOUR;
    EXPECT(LS_OK, ls_find_recordings(&dir, 1, &filter, &query, NULL));
    const ls_recording* const st = ls_next_recording(query);
    CHECK(st && st->size == sizeof *st && st->layout == LS_LAYOUT_REMOTE_BACKUP && st->type == 1);
    CHECK(st && st->begin == filter.begin && st->end == filter.end && st->bytes == 7);
    CHECK(st && strcmp(st->camera, "door") == 0 && strcmp(st->directory, dir) == 0);
    CHECK(st && strcmp(st->path, events.path) == 0 && st->end_source == LS_END_NAME);
    CHECK(!ls_next_recording(query) && !ls_next_recording(query) && !ls_next_disk(query));
    ls_query_close(query);

    EXPECT(LS_OK, ls_find_coverage(&dir, 1, NULL, &query, NULL));
    const int64_t ends[] = {HOUR / 2, HOUR, 2 * HOUR};
    for (int n = 0; n < 3; ++n) {
        const ls_span* const span = ls_next_span(query);
        CHECK(span && span->end == MOMENT_OF_EIGHT + ends[n] && span->gap == (n == 1));
    }
    CHECK(!ls_next_span(query));
    ls_query_close(query);

    EXPECT(LS_OK, ls_find_disks(&dir, 1, &query, NULL));
    const ls_disk* const disk = ls_next_disk(query);
    CHECK(disk && disk->recordings == 2 && disk->recording_bytes == 14 && disk->pictures == 0);
    CHECK(disk && strcmp(disk->first_day, "20240305") == 0 && disk->free_bytes > 0);
    ls_query_close(query);

    EXPECT(LS_OK, ls_find_cameras(&dir, 1, &query, NULL));
    const ls_camera* const camera = ls_next_camera(query);
    CHECK(camera && camera->recordings == 2 && !camera->client && camera->today == 0);
    CHECK(camera && camera->begin == MOMENT_OF_EIGHT && camera->end == MOMENT_OF_EIGHT + 2 * HOUR);
    ls_query_close(query);
    ls_engine_close(engine);
}

static void AChannelIsItsHandle(void) {
    told events = {0};
    ls_engine* const engine = Open("handles", LS_LAYOUT_REMOTE_BACKUP, &events);
    ls_channel_settings st = Recording("door", EIGHT, HALF_PAST);
    st.user = &st;
    ls_channel *channel = NULL, *found = NULL;
    EXPECT(LS_OK, ls_channel_open(engine, &st, &channel, NULL));
    CHECK(events.channel_user == &st);
    EXPECT(LS_OK, ls_channel_find(engine, &st, &found));
    CHECK(found == channel);
    EXPECT(LS_ERROR_CHANNEL_OPEN, ls_channel_open(engine, &st, &found, NULL));
    CHECK(!found);
    st.end = NINE;
    EXPECT(LS_ERROR_TIMES_CHANGED, ls_channel_find(engine, &st, &found));
    st.camera = "yard";
    EXPECT(LS_ERROR_NO_CHANNEL, ls_channel_find(engine, &st, &found));

    struct rlimit limit;
    CHECK(getrlimit(RLIMIT_FSIZE, &limit) == 0);
    CHECK(setrlimit(RLIMIT_FSIZE, &(struct rlimit){1000, limit.rlim_max}) == 0);
    static char piece[2000];
    int system_error = 0;
    EXPECT(LS_ERROR_WRITE, ls_write(channel, piece, sizeof piece, &system_error));
    CHECK(setrlimit(RLIMIT_FSIZE, &limit) == 0);
    CHECK(system_error == EFBIG && events.system_error == EFBIG);
    EXPECT(LS_OK, ls_write(channel, piece, sizeof piece, &system_error));
    CHECK(system_error == 0);
    EXPECT(LS_OK, ls_channel_close(channel, NULL));
    EXPECT(LS_ERROR_NO_CHANNEL, ls_channel_find(engine, &st, &found));
    st = Recording("left", EIGHT, NINE); /* open to the end: freed with the engine */
    EXPECT(LS_OK, ls_channel_open(engine, &st, &channel, NULL));
    ls_engine_close(engine);
}

static void ClientFilesAreSwitchedAndPicturesKept(void) {
    const char* const dir = Path("client");
    told events = {0};
    ls_settings settings = Settings(&dir, LS_LAYOUT_CLIENT, &events);
    settings.raw = true;
    ls_engine* engine = NULL;
    EXPECT(LS_OK, ls_engine_open(&settings, &engine));
    const ls_channel_settings st = {
        .size = sizeof st, .camera = "yard", .header = "head", .header_size = 4};
    ls_channel* channel = NULL;
    EXPECT(LS_OK, ls_channel_open(engine, &st, &channel, NULL));
    static char piece[1 << 20];
    for (int n = 0; n < 2; ++n) EXPECT(LS_OK, ls_write(channel, piece, sizeof piece, NULL));
    CHECK(events.count[LS_EVENT_FILE_CREATED] == 2 && events.count[LS_EVENT_FILE_CLOSED] == 1);
    CHECK(ls_engine_write_speed(engine) > 0);

    char path[PATH_MAX], shorter[8];
    EXPECT(LS_OK, ls_snapshot(engine, "yard", "jpeg", 4, path, sizeof path, NULL));
    EXPECT(LS_OK, ls_snapshot(engine, "hall", "jpeg", 4, shorter, sizeof shorter, NULL));
    CHECK(strncmp(shorter, path, 7) == 0 && strlen(shorter) == 7);
    ls_query* query = NULL;
    EXPECT(LS_OK, ls_find_pictures(&dir, 1, NULL, &query, NULL));
    const ls_picture *picture = NULL, *one = NULL;
    int count = 0;
    for (; (one = ls_next_picture(query)); ++count) {
        if (strcmp(one->path, path) == 0) picture = one;
        CHECK(one->bytes == 4 && one->taken > MOMENT_OF_EIGHT);
    }
    CHECK(picture && count == 2);
    ls_query_close(query);
    EXPECT(LS_OK, ls_delete_pictures(engine, &(ls_time){9999, 12, 31, 0, 0, 0, 0}));
    CHECK(access(path, F_OK) != 0);

    EXPECT(LS_OK, ls_find_recordings(&dir, 1, NULL, &query, NULL));
    const ls_recording* const found = ls_next_recording(query);
    CHECK(found && found->layout == LS_LAYOUT_CLIENT && found->bytes == sizeof piece + 4);
    CHECK(ls_next_recording(query) && !ls_next_recording(query));
    ls_query_close(query);
    EXPECT(LS_OK, ls_channel_close(channel, NULL));
    ls_engine_close(engine);
}

static bool Contains(const char* path, const char* text) {
    static char content[1 << 20];
    FILE* const file = fopen(path, "r");
    const size_t size = file ? fread(content, 1, sizeof content - 1, file) : 0;
    content[size] = '\0';
    if (file) fclose(file);
    return strstr(content, text);
}

static void TwoEnginesShareALog(void) {
    const char *const first = Path("first"), *const second = Path("second"), *log = Path("log");
    told of_first = {0}, of_second = {0};
    const ls_settings settings[] = {Settings(&first, LS_LAYOUT_REMOTE_BACKUP, &of_first),
                                    Settings(&second, LS_LAYOUT_REMOTE_BACKUP, &of_second)};
    ls_engine *one = NULL, *other = NULL, *none = NULL;
    EXPECT(LS_OK, ls_log_to_files(log, 0, true));
    EXPECT(LS_OK, ls_engine_open(&settings[0], &one));
    EXPECT(LS_OK, ls_engine_open(&settings[1], &other));
    EXPECT(LS_ERROR_IN_USE, ls_engine_open(&settings[1], &none));
    Record(other, EIGHT, NINE);
    CHECK(of_first.count[LS_EVENT_FILE_CREATED] == 0);
    CHECK(of_second.count[LS_EVENT_FILE_CREATED] == 1);
    ls_engine_close(one);
    EXPECT(LS_OK, ls_log_write(LS_LOG_ERRORS, "still %s here"));
    EXPECT(LS_OK, ls_log_limit(LS_LOG_ERRORS));
    EXPECT(LS_ERROR_LOG, ls_log_write(LS_LOG_DEBUGGING, "dropped"));
    EXPECT(LS_OK, ls_log_limit(LS_LOG_DEBUGGING));
    ls_engine_close(other);
    EXPECT(LS_OK, ls_log_off(LS_LOG_FILES));
    CHECK(Contains(Path("log/LocalStorage_1_W.log"), "still %s here"));
}

typedef struct caller {
    ls_engine* engine;
    ls_channel_settings settings;
    ls_error error; /* what every opening of these fails with */
} caller;

static void* OpenOften(void* argument) {
    const caller* const st = argument;
    intptr_t wrong = 0;
    for (int n = 0; n < 60; ++n) {
        ls_channel* channel = NULL;
        wrong += ls_channel_open(st->engine, &st->settings, &channel, NULL) != st->error;
    }
    return (void*)wrong;
}

static void EveryThreadHasItsOwnErrors(void) {
    told events = {0};
    ls_engine* const engine = Open("threads", LS_LAYOUT_REMOTE_BACKUP, &events);
    ls_channel* channel = NULL;
    caller callers[] = {{engine, Recording("door", EIGHT, NINE), LS_ERROR_CHANNEL_OPEN},
                        {engine, Recording("yard", EIGHT, NINE), LS_ERROR_FILE}};
    EXPECT(LS_OK, ls_channel_open(engine, &callers[0].settings, &channel, NULL));
    callers[1].settings.go_on = true; /* there is nothing to go on with */
    pthread_t threads[2];
    for (int n = 0; n < 2; ++n) {
        CHECK(pthread_create(&threads[n], NULL, OpenOften, &callers[n]) == 0);
    }
    for (int n = 0; n < 2; ++n) {
        void* wrong = NULL;
        CHECK(pthread_join(threads[n], &wrong) == 0);
        CHECK(!wrong);
    }
    ls_engine_close(engine);
}

static void ErrorsSayWhatIsWrong(void) {
    const char *const dir = Path("errors"), *const below = Path("file/below");
    told events = {0};
    ls_settings settings = Settings(&dir, LS_LAYOUT_REMOTE_BACKUP, &events);
    fclose(fopen(Path("file"), "w"));
    ls_engine *engine = NULL, *none = (ls_engine*)&settings;
    EXPECT(LS_OK, ls_engine_open(&settings, &engine));

    const struct {
        const char* camera;
        ls_time begin, end;
        uint32_t type;
        size_t header;
        ls_error error;
    } CHANNELS[] = {
        {NULL, EIGHT, NINE, 1, 0, LS_ERROR_ARGUMENT},
        {"", EIGHT, NINE, 1, 0, LS_ERROR_CAMERA},
        {"door_01_2", EIGHT, NINE, 1, 0, LS_ERROR_CAMERA}, /* the index would change it */
        {"door", EIGHT, NINE, 9, 0, LS_ERROR_ARGUMENT},
        {"door", EIGHT, NINE, 1, 129, LS_ERROR_ARGUMENT},
        {"door", NINE, EIGHT, 1, 0, LS_ERROR_TIME},
        {"door", {2023, 2, 29, 0, 0, 0, 0}, {2023, 3, 1, 0, 0, 0, 0}, 1, 0, LS_ERROR_TIME},
        {"door", EIGHT, {2024, 3, 5, 24, 0, 0, 0}, 1, 0, LS_ERROR_TIME},
        {"door", {0, 0, 0, 0, 0, 0, 0}, NINE, 1, 0, LS_ERROR_TIME},
    };
    for (size_t n = 0; n < sizeof CHANNELS / sizeof *CHANNELS; ++n) {
        ls_channel_settings st = Recording(CHANNELS[n].camera, CHANNELS[n].begin, CHANNELS[n].end);
        st.type = CHANNELS[n].type;
        st.header = "";
        st.header_size = CHANNELS[n].header;
        ls_channel* channel = (ls_channel*)&st;
        EXPECT(CHANNELS[n].error, ls_channel_open(engine, &st, &channel, NULL));
        CHECK(!channel);
    }

    ls_channel_settings st = Recording("door", EIGHT, NINE);
    ls_channel* channel = NULL;
    st.go_on = true;
    int system_error = 0;
    EXPECT(LS_ERROR_FILE, ls_channel_open(engine, &st, &channel, &system_error));
    CHECK(system_error == ENOENT);
    st.go_on = false;
    st.size = 0;
    EXPECT(LS_ERROR_ARGUMENT, ls_channel_open(engine, &st, &channel, NULL));
    st.size = sizeof st;
    EXPECT(LS_ERROR_ARGUMENT, ls_channel_open(NULL, &st, &channel, NULL));
    EXPECT(LS_ERROR_ARGUMENT, ls_channel_open(engine, NULL, &channel, NULL));
    EXPECT(LS_ERROR_ARGUMENT, ls_channel_open(engine, &st, NULL, NULL));
    EXPECT(LS_ERROR_ARGUMENT, ls_channel_find(engine, NULL, &channel));
    EXPECT(LS_ERROR_ARGUMENT, ls_write(NULL, "x", 1, NULL));
    EXPECT(LS_ERROR_ARGUMENT, ls_write_header(NULL, "x", 1, NULL));
    EXPECT(LS_OK, ls_channel_close(NULL, NULL));
    EXPECT(LS_ERROR_ARGUMENT, ls_snapshot(engine, "door", NULL, 1, NULL, 0, NULL));
    EXPECT(LS_ERROR_CAMERA, ls_snapshot(engine, "a/b", "x", 1, NULL, 0, NULL));
    EXPECT(LS_ERROR_TIME, ls_delete_pictures(engine, &(ls_time){2024, 13, 1, 0, 0, 0, 0}));
    EXPECT(LS_ERROR_ARGUMENT, ls_delete_pictures(NULL, &EIGHT));
    EXPECT(LS_ERROR_ARGUMENT, ls_set_option(77, 0));
    EXPECT(LS_ERROR_ARGUMENT, ls_log_off(7));
    EXPECT(LS_ERROR_ARGUMENT, ls_log_to_stream(LS_LOG_FILES));
    EXPECT(LS_ERROR_ARGUMENT, ls_log_write(LS_LOG_ERRORS, NULL));
    CHECK(ls_engine_write_speed(NULL) == 0);
    ls_engine_close(NULL);
    ls_query_close(NULL);
    CHECK(!ls_next_recording(NULL) && !ls_next_path(NULL));
    CHECK(*ls_error_text(-1) && *ls_error_text(LS_ERROR_INTERNAL + 1) && *ls_version());

    ls_query* query = NULL;
    const char* const nowhere = Path("nowhere");
    const char* const wrong[] = {"../door"};
    ls_filter filter = {.size = sizeof filter, .begin = 2, .end = 1};
    EXPECT(LS_ERROR_TIME, ls_find_recordings(&dir, 1, &filter, &query, NULL));
    filter = (ls_filter){.size = sizeof filter, .cameras = wrong, .camera_count = 1};
    EXPECT(LS_ERROR_CAMERA, ls_find_coverage(&dir, 1, &filter, &query, NULL));
    EXPECT(LS_ERROR_DIRECTORY, ls_find_disks(&nowhere, 1, &query, &system_error));
    CHECK(system_error == ENOENT && !query);
    EXPECT(LS_ERROR_ARGUMENT, ls_find_cameras(&dir, 0, &query, NULL));
    EXPECT(LS_ERROR_ARGUMENT, ls_find_pictures(NULL, 1, NULL, &query, NULL));
    EXPECT(LS_ERROR_TIME, ls_engine_find(engine, "door", 0, &NINE, &EIGHT, &query));
    ls_time time;
    EXPECT(LS_OK, ls_time_of(MOMENT_OF_EIGHT, &time));
    CHECK(memcmp(&time, &EIGHT, sizeof time) == 0);
    EXPECT(LS_ERROR_TIME, ls_time_of(INT64_MAX, &time));
    ls_engine_close(engine);

    EXPECT(LS_ERROR_ARGUMENT, ls_engine_open(NULL, &none));
    CHECK(!none);
    settings.layout = 2;
    EXPECT(LS_ERROR_ARGUMENT, ls_engine_open(&settings, &none));
    settings = Settings(&below, LS_LAYOUT_REMOTE_BACKUP, &events);
    EXPECT(LS_OK, ls_engine_open(&settings, &engine));
    EXPECT(LS_ERROR_DIRECTORY, ls_channel_open(engine, &st, &channel, NULL));
    ls_engine_close(engine);
    EXPECT(LS_OK, ls_set_option(LS_OPTION_FULL_SPACE, 1 << 30));
    settings = Settings(&dir, LS_LAYOUT_REMOTE_BACKUP, &events);
    settings.size = offsetof(ls_settings, on_event); /* an older host, which knows no events */
    memset(&events, 0, sizeof events);
    EXPECT(LS_OK, ls_engine_open(&settings, &engine));
    EXPECT(LS_ERROR_DISK_FULL, ls_channel_open(engine, &st, &channel, NULL));
    CHECK(events.count[LS_EVENT_DISK_FULL] == 0);
    ls_engine_close(engine);
}

int main(void) {
    setenv("TZ", "UTC", 1);
    signal(SIGXFSZ, SIG_IGN);
    if (!mkdtemp(g_root)) return 1;
    EXPECT(LS_OK, ls_log_off(LS_LOG_FILES)); /* not into the default directory */
    EXPECT(LS_OK, ls_set_option(LS_OPTION_FULL_SPACE, 64));
    BackupIsRecordedAndFound();
    AChannelIsItsHandle();
    ClientFilesAreSwitchedAndPicturesKept();
    TwoEnginesShareALog();
    EveryThreadHasItsOwnErrors();
    ErrorsSayWhatIsWrong();
    nftw(g_root, RemoveOne, 16, FTW_DEPTH | FTW_PHYS);
    return g_failures == 0 ? 0 : 1;
}
