/* brairu: recognises people by the veins and prints of the palm.
 *
 * The whole exported interface, readable from C11 and C++.
 *
 * Conventions
 *  1. Order. init_pva comes first. A call that needs the engine and comes before init_pva or after
 *     deinit_pva throws std::logic_error, whose text names the call. Calls that need no engine say
 *     so below.
 *  2. Results. Unless a call says otherwise, 1 is success and 0 failure. Registration and capture
 *     put their outcome into the caller's records.
 *  3. Exceptions. Errors of the configuration document (a missing key, a value of the wrong type)
 *     leave the call that reads the key as nlohmann::json::type_error; nothing inside catches them.
 *     "Config" in a "Throws" line stands for that. A host written in C, which cannot catch,
 *     validates its configuration before it starts the engine. Every call may throw std::bad_alloc.
 *  4. Faults of the NPU stack end the process after one line on standard output. A host that must
 *     outlive them runs the engine in a process of its own.
 *  5. Memory. The caller owns every buffer and record that it passes; nothing is kept after the
 *     call returns. Strings and records are only read where the type says const.
 *  6. Threads. The library starts none. Every call belongs to one of these groups; those of a group
 *     of "many" may come from any number of threads at once, those of a group of "one" from any
 *     thread, but one call of the group at a time:
 *
 *       group     threads  calls
 *       locked    many     pvaDataBase..., pvaGetAuthRes
 *       compare   many     pvaGet1to1AuthRes
 *       enrol     one      pvaRegister, pvaGetRegisterBufferSize, pvaGetRegisterBufferCapacity,
 *                          pvaClearRegisterBuffer
 *       capture   one      pvaGetHandPose, pvaGetHandPoseVeinAndPrints, pvaGetFeat
 *       alone     one      init_pva, deinit_pva, pvaConfigSet...
 *
 *     Calls of different groups may run beside each other, except those of the group "alone": no
 *     call of any group may run beside them. The locked calls wait for each other on one lock,
 *     which pvaRegister takes as well while it commits, and which a call that throws releases.
 *     Enrolments share one buffer: the captures of two must not mix. All this supposes that no key
 *     is missing from the configuration, since a call that looks for one puts it in as null.
 *     In a forked copy of a process that has an engine, make none of these calls, and end the copy
 *     by exec or _exit: exit would give back what the NPU holds for the first process.
 *  7. Features. The features of one capture are three blocks of 512 signed bytes, end to end: 1536
 *     bytes. The length of a block is also in the configuration ("feature_len"); 512 is the only
 *     one that is supported, and with a larger one the calls that take features would read as much
 *     more. A template is 1546 bytes: the three blocks and 10 bytes that belong to the library.
 */
#ifndef BRAIRU_H
#define BRAIRU_H

#include <stdint.h>

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif
#ifdef __cplusplus
extern "C" {
#endif

/* ---- Sizes --------------------------------------------------------------------------------- */

enum {
    PVA_FEATURE_BLOCK_BYTES = 512,
    PVA_FEATURE_BYTES = 3 * PVA_FEATURE_BLOCK_BYTES, /* what pvaGetFeat writes */
    PVA_TEMPLATE_BYTES = PVA_FEATURE_BYTES + 10,     /* one stored template */
    PVA_KEY_POINTS = 7
};

/* ---- Codes --------------------------------------------------------------------------------- */

/* Placement and quality codes: PvaHandPose::placementCode and the result of pvaGetFeat. "left" and
 * "right" are sides of the frame. */
enum {
    PVA_PLACEMENT_GOOD = 0,
    PVA_PLACEMENT_LEFT = 1,   /* too close to the left edge */
    PVA_PLACEMENT_RIGHT = 2,  /* too close to the right edge */
    PVA_PLACEMENT_TOP = 3,    /* too close to the top edge */
    PVA_PLACEMENT_BOTTOM = 4, /* too close to the bottom edge */
    PVA_QUALITY_BRIGHT = 5,
    PVA_QUALITY_DARK = 6,
    PVA_PLACEMENT_LARGE = 14, /* hand too large; from pvaGetFeat also: light too uneven */
    PVA_QUALITY_UNEVEN = 14,
    PVA_PLACEMENT_SMALL = 15, /* hand too small; from pvaGetFeat also: blurred */
    PVA_QUALITY_BLURRED = 15
};

/* PvaRegisterResult::status. */
enum {
    PVA_REGISTER_MORE = 10,      /* capture taken, or refused as too similar: send another */
    PVA_REGISTER_COMMITTED = 11, /* the palm is enrolled */
    PVA_REGISTER_FAILED = 12,    /* not enrolled; start again */
    PVA_REGISTER_DUPLICATE = 13  /* not enrolled: this palm already is */
};

/* ---- Records ------------------------------------------------------------------------------- */

typedef struct PvaPoint {
    uint16_t x;
    uint16_t y;
} PvaPoint;

/* One detected hand, in frame pixels. */
typedef struct PvaHandPose {
    uint16_t centerX; /* centre of the hand box; pvaGetFeat moves it to the centre of the palm */
    uint16_t centerY;
    uint16_t width; /* size of the hand box */
    uint16_t height;
    /* 0 middle of the palm, 1 heel at the thumb, 2 to 5 bases of index, middle, ring and little
     * finger, 6 heel at the little finger */
    PvaPoint keyPoints[PVA_KEY_POINTS];
    uint32_t placementCode;
    uint8_t orientation; /* 0 or 1: a left and a right palm seen by an unmirrored camera */
} PvaHandPose;

/* Names one palm: a user of the host's, and a palm of that user. */
typedef struct PvaUserKey {
    int64_t userid;
    int32_t palmindex;
    int32_t reserved[3]; /* accepted, not stored */
} PvaUserKey;

typedef struct PvaRegisterResult {
    int32_t status;   /* PVA_REGISTER_... */
    int32_t count;    /* captures buffered; 0 on entry starts a new enrolment */
    int32_t maxCount; /* captures that an enrolment takes */
} PvaRegisterResult;

typedef struct PvaAuthResult {
    int64_t userid;
    int32_t palmindex;
    int32_t rowId; /* row of the palm in the template database */
    int32_t reserved;
    float similarity; /* cosine, at most 1 */
} PvaAuthResult;

/* ---- Start and stop ------------------------------------------------------------------------ */

/* Starts the engine with the JSON configuration file at configPath; relative paths in it are taken
 * from the working directory of the first start, which may change later. The first start loads the
 * networks, maps the feature cache and opens the template database; later ones read the file again
 * and check the store again. Returns 1. A file that cannot be read or parsed is reported on
 * standard output, and the start goes on with the document of an earlier start, if there is one.
 * Throws: std::logic_error for a null path; Config. */
uint32_t init_pva(const char *configPath);

/* Withdraws the engine; networks, store and connection stay until the process exits, ready for the
 * next init_pva. Needs no engine. Returns 1. */
uint32_t deinit_pva(void);

/* ---- Settings ------------------------------------------------------------------------------ */

/* Each call changes one value of the configuration and rewrites the configuration file at once; a
 * file that cannot be written is no error, the value then lasts until the process exits.
 * Fractions are of the frame's width or height; similarities are cosines. Values are stored as they
 * are, unchecked but for the detection level; one that is no number is saved as null, which the
 * next start refuses.
 * Returns 1; pvaConfigSetDynamicDetectionLevel may return 0. Throws: Config. */

uint32_t pvaConfigSetAuthThreshold(float similarity);
uint32_t pvaConfigSetHandThreshold(float probability); /* 0 to 1 */
uint32_t pvaConfigSetBrightnessThresholdMin(uint32_t grey);
uint32_t pvaConfigSetBrightnessThresholdMax(uint32_t grey);
uint32_t pvaConfigSetBlurThresholdMin(uint32_t value); /* for the host; not read by the library */
uint32_t pvaConfigSetBlurThresholdMax(uint32_t value); /* likewise */
uint32_t pvaConfigSetHorizontalOffsetTolerance(float fraction);
uint32_t pvaConfigSetVerticalOffsetTolerance(float fraction);
uint32_t pvaConfigSetHandSizeWidthMin(float fraction);
uint32_t pvaConfigSetHandSizeWidthMax(float fraction);
uint32_t pvaConfigSetHandSizeHeightMin(float fraction);
uint32_t pvaConfigSetHandSizeHeightMax(float fraction);
uint32_t pvaConfigSetEnhance(uint32_t value); /* for the host; not read by the library */
uint32_t pvaConfigSetRegisCenterCount(uint32_t count); /* in effect from the next process on */
uint32_t pvaConfigSetRegisMaxCount(uint32_t count);
/* 0 (captures may repeat) to 4 (they must differ most); a larger level changes nothing and gives
 * 0. */
uint32_t pvaConfigSetDynamicDetectionLevel(uint32_t level);

/* ---- Capture ------------------------------------------------------------------------------- */

/* Frames are planes of width x height bytes of luma, rows packed. A null pointer or a size of zero
 * is logged, and nothing is written. */

/* Finds the hand. Returns 1 for a usable hand, else 0. pose is written when a hand was found,
 * usable or not; orientation only for a usable one, placementCode never. Throws: Config. */
uint32_t pvaGetHandPose(const uint8_t *image, uint32_t width, uint32_t height, PvaHandPose *pose);

/* Finds the hand in two images of one moment and writes the placement code of each. The result is
 * that of the first image; the second is accepted with a lower score, and its placement code is
 * written in every case, that of the first only when its hand is usable. Throws: Config. */
uint32_t pvaGetHandPoseVeinAndPrints(const uint8_t *image1, uint32_t width1, uint32_t height1,
                                     PvaHandPose *pose1, const uint8_t *image2, uint32_t width2,
                                     uint32_t height2, PvaHandPose *pose2);

/* Extracts the features of the hand that one of the calls above found in this same frame: 1536
 * bytes (PVA_FEATURE_BYTES) to features. Returns 0 when they are written, else the placement or
 * quality code that says how to do better; features are then untouched. The code also goes to
 * pose->placementCode, and the centre of pose moves. The image is not written. Null pointers or
 * sizes of zero: 15, nothing is written. Throws: Config; std::invalid_argument unless the
 * configured "feature" input_w and input_h are even and 2 to 4096. */
uint32_t pvaGetFeat(uint8_t *image, uint32_t width, uint32_t height, PvaHandPose *pose,
                    uint8_t *features);

/* ---- Enrolment ----------------------------------------------------------------------------- */

/* A null pointer is logged and gives 0. */

/* Takes one capture of the palm that key names; result->count 0 starts a new enrolment. With the
 * last capture the palm is enrolled; with checkDuplicate nonzero not if it already is. Returns 1;
 * the outcome is in result->status. A capture refused as too similar leaves count and maxCount as
 * they were. The commit is locked. Throws: Config; std::invalid_argument when the captures are
 * fewer than the centres to form, less one. */
int pvaRegister(const PvaUserKey *key, const uint8_t *feature, int checkDuplicate,
                PvaRegisterResult *result);

/* Captures buffered for the running enrolment. Needs no engine. */
int pvaGetRegisterBufferSize(void);

/* Captures that an enrolment takes. Throws: Config. */
int pvaGetRegisterBufferCapacity(void);

/* Drops the running enrolment. Returns 1. Needs no engine. */
int pvaClearRegisterBuffer(void);

/* ---- Recognition --------------------------------------------------------------------------- */

/* A null pointer is logged and gives 0. */

/* Identifies a capture among all enrolled palms. Returns 1 when a palm is confirmed, that is after
 * as many agreeing matches as the configured security level; result is then complete. With 0,
 * rowId and similarity may hold an unconfirmed match: go by the return value. Locked. Throws:
 * Config. */
int pvaGetAuthRes(const uint8_t *feature, PvaAuthResult *result);

/* Compares a capture with one reference capture or template. Returns 1 for the same palm. Writes
 * result->similarity in every case, and nothing else. Throws: Config. */
int pvaGet1to1AuthRes(const uint8_t *probe, const uint8_t *reference, PvaAuthResult *result);

/* ---- Database ------------------------------------------------------------------------------ */

/* All locked. A row holds as many templates as the configured centre count; "row bytes" is that
 * number times 1546. A null pointer is logged and gives 0. A change that the database refused may
 * leave its palm unrecognised until it is repeated or the engine starts again. Palms are searched
 * up to the 10,000th insertion since the store was made, wiped or compacted; later ones are stored
 * but not recognised. */

/* Three names of one act: removes every palm. */
int pvaDataBaseDeleteAllPalm(void);
int pvaDataBaseDropPalmDatabase(void);
int pvaDataBaseDeletePalmDatabase(void);

/* Enrolled palms. */
int pvaDataBaseGetAllPalmCount(void);

/* 1 if the palm is enrolled. */
int pvaDataBaseExistUser(const PvaUserKey *key);

/* Enrols a palm from, or replaces the templates of an enrolled palm by, one template of 1546 bytes
 * that is repeated for every centre. With more than one centre the result is 1 even when the store
 * refused. An add does not look for an earlier row with the same key. */
int pvaDataBaseAddUser(const PvaUserKey *key, const uint8_t *feature);
int pvaDataBaseUpdateUser(const PvaUserKey *key, const uint8_t *feature);

/* The same from featSize bytes, which must divide the row bytes; the rest of the row repeats the
 * first template. With fewer than the row bytes the result is 1 even when the store refused. */
int pvaDataBaseAddUserWithFeatSize(const PvaUserKey *key, const uint8_t *features, int featSize);
int pvaDataBaseUpdateUserWithFeatSize(const PvaUserKey *key, const uint8_t *features, int featSize);

/* The first featSize bytes of a row to out; featSize must divide the row bytes. Returns 1 also for
 * a key that is not enrolled (out is then zeros): ask pvaDataBaseExistUser first. */
int pvaDataBaseGetFeatWithFeatSize(const PvaUserKey *key, uint8_t *out, int featSize);

/* One template (1546 bytes) that stands for all of a row: the mean of each block. With more than
 * one centre the last 10 bytes of out stay as they are. A key that is not enrolled gives zeros and
 * 1. Throws: std::invalid_argument when the configured centre count is 0. */
int pvaDataBaseGetFeat(const PvaUserKey *key, uint8_t *out);

/* Removes a palm. 0 if it is not enrolled. */
int pvaDataBaseDeleteUser(const PvaUserKey *key);

/* The palm numbers of a user to palmIndexes (room for capacity), their number to *count. Returns
 * 0, and writes nothing, when there are none or more than capacity. */
int pvaDataBaseGetPalmNumFromUserId(uint64_t userid, int64_t *palmIndexes, uint32_t capacity,
                                    int *count);

#ifdef __cplusplus
}
#endif
#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
