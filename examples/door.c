/* A door: enrols a palm, or opens for the palms that it knows.
 *
 *   door CONFIG enrol USER PALM SOURCE
 *   door CONFIG watch SOURCE
 *
 * SOURCE is a camera, as /dev/video0, or a folder of grey pictures (*.pgm). Exit status: 0 enrolled,
 * or opened for somebody; 1 neither; 2 wrong usage, or a fault of the source or of the file CONFIG.
 *
 * A value that is wrong in CONFIG, and a fault of the NPU, end the program: look with "brairu doctor"
 * before, and let a service manager start it anew. */
#define _POSIX_C_SOURCE 200809L
#include <brairu.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "frames.h"

enum { DONE = 0, NO = 1, FAULT = 2 };

static volatile sig_atomic_t stopped;

static void stop(int signal) {
    (void)signal;
    stopped = 1;
}

static const char* adviceFor(uint32_t code) {
    static const char* const advice[] = {
        [PVA_PLACEMENT_LEFT] = "move away from the left edge",
        [PVA_PLACEMENT_RIGHT] = "move away from the right edge",
        [PVA_PLACEMENT_TOP] = "move away from the upper edge",
        [PVA_PLACEMENT_BOTTOM] = "move away from the lower edge",
        [PVA_QUALITY_BRIGHT] = "too bright",
        [PVA_QUALITY_DARK] = "too dark",
        [PVA_PLACEMENT_LARGE] = "move back, into even light",
        [PVA_PLACEMENT_SMALL] = "come nearer, and hold still",
    };
    const int known = code < sizeof advice / sizeof advice[0] && advice[code] != NULL;
    return known ? advice[code] : "hold the hand differently";
}

/* 1 and the features of the frame's palm, or 0 and a word to the person. */
static int takeFeatures(const Frame* frame, uint8_t* features) {
    PvaHandPose hand = {0};
    if (!pvaGetHandPose(frame->luma, frame->width, frame->height, &hand)) {
        printf("door: no hand\n");
        return 0;
    }
    const uint32_t code = pvaGetFeat(frame->luma, frame->width, frame->height, &hand, features);
    if (code != PVA_PLACEMENT_GOOD)
        printf("door: %s\n", adviceFor(code));
    return code == PVA_PLACEMENT_GOOD;
}

/* 1 and the features of the next good capture; 0 when there is none; -1 after a fault. */
static int nextCapture(Source* source, uint8_t* features) {
    Frame frame = {0};
    int got = 0;
    int good = 0;
    while (!good && !stopped && (got = nextFrame(source, &frame)) == 1) {
        good = takeFeatures(&frame, features);
        free(frame.luma);
        fflush(stdout);
    }
    return good ? 1 : got < 0 ? -1 : 0;
}

static int concludeEnrolment(int32_t status) {
    switch (status) {
        case PVA_REGISTER_COMMITTED: printf("door: enrolled\n"); return DONE;
        case PVA_REGISTER_DUPLICATE:
            printf("door: not enrolled, this palm already is\n");
            return NO;
        case PVA_REGISTER_MORE:
            pvaClearRegisterBuffer();
            printf("door: not enrolled, too few captures\n");
            return NO;
        default: printf("door: not enrolled, start again\n"); return NO;
    }
}

static int enrol(Source* source, const PvaUserKey* key) {
    uint8_t features[PVA_FEATURE_BYTES];
    PvaRegisterResult result = {.status = PVA_REGISTER_MORE};
    int got = 1;
    while (result.status == PVA_REGISTER_MORE && (got = nextCapture(source, features)) == 1) {
        pvaRegister(key, features, 1, &result);
        printf("door: %d of %d captures\n", result.count, result.maxCount);
    }
    const int ending = concludeEnrolment(result.status);
    return got < 0 ? FAULT : ending;
}

static int watch(Source* source) {
    uint8_t features[PVA_FEATURE_BYTES];
    int got = 1;
    int opened = 0;
    while ((got = nextCapture(source, features)) == 1) {
        PvaAuthResult who = {0};
        if (pvaGetAuthRes(features, &who) == 1) {
            printf("door: open for user %lld, palm %d\n", (long long)who.userid, who.palmindex);
            opened = 1; /* here a door moves its bolt */
        } else {
            printf("door: not recognised\n");
        }
    }
    return got < 0 ? FAULT : opened ? DONE : NO;
}

/* Whether the whole of text is a number from least to greatest. */
static int parseNumber(const char* text, int64_t least, int64_t greatest, int64_t* number) {
    char* end = NULL;
    errno = 0;
    const long long parsed = strtoll(text, &end, 10);
    *number = parsed;
    return errno == 0 && end != text && *end == '\0' && parsed >= least && parsed <= greatest;
}

static int parseKey(const char* user, const char* palm, PvaUserKey* key) {
    int64_t palmindex = 0;
    if (!parseNumber(user, INT64_MIN, INT64_MAX, &key->userid) ||
        !parseNumber(palm, INT32_MIN, INT32_MAX, &palmindex)) {
        fprintf(stderr, "door: USER and PALM are whole numbers\n");
        return 0;
    }
    key->palmindex = (int32_t)palmindex;
    return 1;
}

/* Without SA_RESTART: a signal also ends the wait for a frame. */
static void stopOnSignals(void) {
    const struct sigaction action = {.sa_handler = stop};
    sigaction(SIGINT, &action, NULL);
    sigaction(SIGTERM, &action, NULL);
}

int main(int argc, char** argv) {
    const int enrols = argc == 6 && strcmp(argv[2], "enrol") == 0;
    PvaUserKey key = {0};
    if (enrols ? !parseKey(argv[3], argv[4], &key)
               : !(argc == 4 && strcmp(argv[2], "watch") == 0)) {
        fprintf(stderr, "usage: door CONFIG enrol USER PALM SOURCE | door CONFIG watch SOURCE\n");
        return FAULT;
    }
    if (access(argv[1], R_OK) != 0) {
        fprintf(stderr, "door: %s: %s\n", argv[1], strerror(errno));
        return FAULT;
    }
    Source* source = openSource(argv[argc - 1]);
    if (source == NULL)
        return FAULT;
    stopOnSignals();
    init_pva(argv[1]);
    const int ending = enrols ? enrol(source, &key) : watch(source);
    deinit_pva();
    closeSource(source);
    return ending;
}
