/* A host written in C, as an integrator would: one command of the engine a process, frames from
 * files.
 *
 *   host CONFIG WIDTH HEIGHT enrol USER PALM FRAME...
 *   host CONFIG WIDTH HEIGHT identify FRAME...
 *   host CONFIG WIDTH HEIGHT verify FRAME FRAME
 *   host CONFIG WIDTH HEIGHT detect FRAME
 *   host CONFIG WIDTH HEIGHT exists|delete USER PALM
 *   host CONFIG WIDTH HEIGHT count|wipe
 *
 * A frame is a file of WIDTH x HEIGHT bytes. What came of it goes, a line a step, to the file named
 * by RESULT in the environment.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "brairu.h"

static uint32_t width, height;
static FILE* results;

static uint8_t* readFrame(const char* path) {
    const size_t bytes = (size_t)width * height;
    uint8_t* frame = malloc(bytes);
    FILE* file = fopen(path, "rb");
    if (frame == NULL || file == NULL || fread(frame, 1, bytes, file) != bytes) {
        fprintf(stderr, "host: cannot read %s\n", path);
        exit(3);
    }
    fclose(file);
    return frame;
}

static PvaUserKey keyFrom(char** arguments) {
    PvaUserKey key = {0};
    key.userid = strtoll(arguments[0], NULL, 10);
    key.palmindex = (int32_t)strtol(arguments[1], NULL, 10);
    return key;
}

/* 1 and the features, or 0 and a line that says why not. */
static int capture(const char* path, uint8_t* features) {
    PvaHandPose pose = {0};
    uint8_t* frame = readFrame(path);
    const uint32_t found = pvaGetHandPose(frame, width, height, &pose);
    const uint32_t code = found ? pvaGetFeat(frame, width, height, &pose, features) : 0;
    free(frame);
    if (!found) {
        fprintf(results, "no hand\n");
    } else if (code != PVA_PLACEMENT_GOOD) {
        fprintf(results, "code %u\n", code);
    }
    return found && code == PVA_PLACEMENT_GOOD;
}

static void enrol(int count, char** arguments) {
    const PvaUserKey key = keyFrom(arguments);
    uint8_t features[PVA_FEATURE_BYTES];
    PvaRegisterResult result = {.status = PVA_REGISTER_MORE};
    for (int i = 2; i < count && result.status == PVA_REGISTER_MORE; i++) {
        if (capture(arguments[i], features)) {
            pvaRegister(&key, features, 1, &result);
            fprintf(results, "status %d count %d of %d\n", result.status, result.count,
                    result.maxCount);
        }
    }
}

static void identify(int count, char** arguments) {
    uint8_t features[PVA_FEATURE_BYTES];
    for (int i = 0; i < count; i++) {
        PvaAuthResult result = {0};
        if (!capture(arguments[i], features)) {
            continue;
        }
        if (pvaGetAuthRes(features, &result)) {
            fprintf(results, "user %lld palm %d\n", (long long)result.userid, result.palmindex);
        } else {
            fprintf(results, "nobody\n");
        }
    }
}

static void verify(char** arguments) {
    uint8_t probe[PVA_FEATURE_BYTES], reference[PVA_FEATURE_BYTES];
    PvaAuthResult result = {0};
    if (capture(arguments[0], probe) && capture(arguments[1], reference)) {
        fprintf(results, "%s\n",
                pvaGet1to1AuthRes(probe, reference, &result) ? "same palm" : "another palm");
    }
}

static void detect(const char* path) {
    PvaHandPose pose = {0};
    uint8_t* frame = readFrame(path);
    const uint32_t found = pvaGetHandPose(frame, width, height, &pose);
    fprintf(results, "found %u\n", found);
    free(frame);
}

static int run(const char* command, int count, char** arguments) {
    if (strcmp(command, "enrol") == 0 && count > 2) {
        enrol(count, arguments);
    } else if (strcmp(command, "identify") == 0) {
        identify(count, arguments);
    } else if (strcmp(command, "verify") == 0 && count == 2) {
        verify(arguments);
    } else if (strcmp(command, "detect") == 0 && count == 1) {
        detect(arguments[0]);
    } else if (strcmp(command, "exists") == 0 && count == 2) {
        const PvaUserKey key = keyFrom(arguments);
        fprintf(results, "exists %d\n", pvaDataBaseExistUser(&key));
    } else if (strcmp(command, "delete") == 0 && count == 2) {
        const PvaUserKey key = keyFrom(arguments);
        fprintf(results, "deleted %d\n", pvaDataBaseDeleteUser(&key));
    } else if (strcmp(command, "count") == 0) {
        fprintf(results, "palms %d\n", pvaDataBaseGetAllPalmCount());
    } else if (strcmp(command, "wipe") == 0) {
        fprintf(results, "wiped %d\n", pvaDataBaseDeleteAllPalm());
    } else {
        return 2;
    }
    return 0;
}

int main(int argc, char** argv) {
    const char* resultPath = getenv("RESULT");
    results = resultPath != NULL ? fopen(resultPath, "w") : stdout;
    if (argc < 5 || results == NULL) {
        return 2;
    }
    width = (uint32_t)strtoul(argv[2], NULL, 10);
    height = (uint32_t)strtoul(argv[3], NULL, 10);
    if (init_pva(argv[1]) != 1) {
        return 1;
    }
    const int status = run(argv[4], argc - 5, argv + 5);
    deinit_pva();
    fclose(results);
    return status;
}
