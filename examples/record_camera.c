// What record_camera.cpp does, in C: records one camera's stream, as it comes on standard input,
// until it ends, in files of so many MiB:
//     ffmpeg -i rtsp://camera -c copy -f h264 - | record_camera_c /disk1 front_door /var/log/host
//     64
#include <localstorage/localstorage.h>
#include <stdio.h>
#include <stdlib.h>

static void OnEvent(const ls_event* event, void* user) {
    (void)user;
    if (event->kind == LS_EVENT_FILE_CREATED) puts(event->path);
}

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    const char* const disks[] = {argv[1]};
    const ls_settings settings = {
        .size = sizeof settings,
        .directories = disks,
        .directory_count = 1,
        .layout = LS_LAYOUT_CLIENT,  // named from the clock, cut by size
        .file_size_mib = (uint32_t)strtoul(argv[4], NULL, 10),
        .analyse = true,  // every file begins with a key frame
        .on_event = OnEvent,
    };
    const ls_channel_settings camera = {.size = sizeof camera, .camera = argv[2]};
    ls_engine* engine = NULL;
    ls_channel* channel = NULL;
    static char piece[65536];
    size_t size = 0;

    ls_error error = ls_log_to_files(argv[3], 0, true);
    if (!error) error = ls_engine_open(&settings, &engine);
    if (!error) error = ls_channel_open(engine, &camera, &channel, NULL);
    while (!error && (size = fread(piece, 1, sizeof piece, stdin)) > 0) {
        error = ls_write(channel, piece, size, NULL);
    }
    if (!error) error = ls_channel_close(channel, NULL);
    ls_engine_close(engine);
    if (error) fprintf(stderr, "failed: %s\n", ls_error_text(error));
    return error ? 1 : 0;
}
