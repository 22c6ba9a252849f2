// localstorage with all of its commands: main.cpp goes on as this where it has not got what is
// asked for.

#include "commands/Commands.h"
#include "media/Ffmpeg.h"

int main(int argc, char** argv) {
    SilenceFfmpeg();
    programOptions stOptions;
    const program stProgram = LocalStorageProgram(stOptions, AllCommands());
    return Answer(stOptions, ReadCommandLine(stProgram, argc, argv));
}
