/* The public header as a host written in C sees it. */
#include "headerInC.h"

#include <stddef.h>

#include "brairu.h"

#define HAS_LAYOUT(record, size) _Static_assert(sizeof(record) == (size), #record)
#define IS_AT(record, field, offset) \
    _Static_assert(offsetof(record, field) == (offset), #record "." #field)

HAS_LAYOUT(PvaPoint, 4);
IS_AT(PvaPoint, x, 0);
IS_AT(PvaPoint, y, 2);

HAS_LAYOUT(PvaHandPose, 44);
IS_AT(PvaHandPose, centerX, 0);
IS_AT(PvaHandPose, centerY, 2);
IS_AT(PvaHandPose, width, 4);
IS_AT(PvaHandPose, height, 6);
IS_AT(PvaHandPose, keyPoints, 8);
IS_AT(PvaHandPose, placementCode, 36);
IS_AT(PvaHandPose, orientation, 40);

HAS_LAYOUT(PvaUserKey, 24);
IS_AT(PvaUserKey, userid, 0);
IS_AT(PvaUserKey, palmindex, 8);
IS_AT(PvaUserKey, reserved, 12);

HAS_LAYOUT(PvaRegisterResult, 12);
IS_AT(PvaRegisterResult, status, 0);
IS_AT(PvaRegisterResult, count, 4);
IS_AT(PvaRegisterResult, maxCount, 8);

HAS_LAYOUT(PvaAuthResult, 24);
IS_AT(PvaAuthResult, userid, 0);
IS_AT(PvaAuthResult, palmindex, 8);
IS_AT(PvaAuthResult, rowId, 12);
IS_AT(PvaAuthResult, reserved, 16);
IS_AT(PvaAuthResult, similarity, 20);

void fillHandPoseInC(void* record) {
    PvaHandPose* pose = record;
    pose->centerX = 1;
    pose->centerY = 2;
    pose->width = 3;
    pose->height = 4;
    for (uint16_t i = 0; i < PVA_KEY_POINTS; ++i) {
        pose->keyPoints[i].x = (uint16_t)(10 + i);
        pose->keyPoints[i].y = (uint16_t)(20 + i);
    }
    pose->placementCode = UINT32_C(0xfffffff0);
    pose->orientation = 1;
}

void fillAuthResultInC(void* record) {
    const PvaAuthResult result = {INT64_C(-5), -6, 7, 8, 0.5f};
    *(PvaAuthResult*)record = result;
}

size_t addressesOfCallsInC(void (**calls)(void), size_t capacity) {
    void (*const all[])(void) = {
        (void (*)(void))init_pva,
        (void (*)(void))deinit_pva,
        (void (*)(void))pvaConfigSetAuthThreshold,
        (void (*)(void))pvaConfigSetHandThreshold,
        (void (*)(void))pvaConfigSetBrightnessThresholdMin,
        (void (*)(void))pvaConfigSetBrightnessThresholdMax,
        (void (*)(void))pvaConfigSetBlurThresholdMin,
        (void (*)(void))pvaConfigSetBlurThresholdMax,
        (void (*)(void))pvaConfigSetHorizontalOffsetTolerance,
        (void (*)(void))pvaConfigSetVerticalOffsetTolerance,
        (void (*)(void))pvaConfigSetHandSizeWidthMin,
        (void (*)(void))pvaConfigSetHandSizeWidthMax,
        (void (*)(void))pvaConfigSetHandSizeHeightMin,
        (void (*)(void))pvaConfigSetHandSizeHeightMax,
        (void (*)(void))pvaConfigSetEnhance,
        (void (*)(void))pvaConfigSetRegisCenterCount,
        (void (*)(void))pvaConfigSetRegisMaxCount,
        (void (*)(void))pvaConfigSetDynamicDetectionLevel,
        (void (*)(void))pvaGetHandPose,
        (void (*)(void))pvaGetHandPoseVeinAndPrints,
        (void (*)(void))pvaGetFeat,
        (void (*)(void))pvaRegister,
        (void (*)(void))pvaGetRegisterBufferSize,
        (void (*)(void))pvaGetRegisterBufferCapacity,
        (void (*)(void))pvaClearRegisterBuffer,
        (void (*)(void))pvaGetAuthRes,
        (void (*)(void))pvaGet1to1AuthRes,
        (void (*)(void))pvaDataBaseDeleteAllPalm,
        (void (*)(void))pvaDataBaseDropPalmDatabase,
        (void (*)(void))pvaDataBaseDeletePalmDatabase,
        (void (*)(void))pvaDataBaseGetAllPalmCount,
        (void (*)(void))pvaDataBaseExistUser,
        (void (*)(void))pvaDataBaseAddUser,
        (void (*)(void))pvaDataBaseUpdateUser,
        (void (*)(void))pvaDataBaseAddUserWithFeatSize,
        (void (*)(void))pvaDataBaseUpdateUserWithFeatSize,
        (void (*)(void))pvaDataBaseGetFeatWithFeatSize,
        (void (*)(void))pvaDataBaseGetFeat,
        (void (*)(void))pvaDataBaseDeleteUser,
        (void (*)(void))pvaDataBaseGetPalmNumFromUserId,
    };
    const size_t count = sizeof all / sizeof all[0];
    for (size_t i = 0; i < count && i < capacity; ++i) {
        calls[i] = all[i];
    }
    return count;
}

uint32_t stopInC(void) {
    return deinit_pva();
}

int clearRegisterBufferInC(void) {
    return pvaClearRegisterBuffer() + pvaGetRegisterBufferSize();
}
