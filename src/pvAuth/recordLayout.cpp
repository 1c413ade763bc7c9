// The records of the exported interface as hosts were compiled against them. Do not change.
#include <cstddef>
#include <type_traits>

#include "brairu.h"

namespace brairu {
namespace {

template <class Record>
constexpr bool kIsPlain = std::is_standard_layout_v<Record>&& std::is_trivial_v<Record>;

static_assert(kIsPlain<PvaPoint> && sizeof(PvaPoint) == 4);
static_assert(offsetof(PvaPoint, x) == 0);
static_assert(offsetof(PvaPoint, y) == 2);

static_assert(kIsPlain<PvaHandPose> && sizeof(PvaHandPose) == 44);
static_assert(offsetof(PvaHandPose, centerX) == 0);
static_assert(offsetof(PvaHandPose, centerY) == 2);
static_assert(offsetof(PvaHandPose, width) == 4);
static_assert(offsetof(PvaHandPose, height) == 6);
static_assert(offsetof(PvaHandPose, keyPoints) == 8);
static_assert(offsetof(PvaHandPose, placementCode) == 36);
static_assert(offsetof(PvaHandPose, orientation) == 40);

static_assert(kIsPlain<PvaUserKey> && sizeof(PvaUserKey) == 24);
static_assert(offsetof(PvaUserKey, userid) == 0);
static_assert(offsetof(PvaUserKey, palmindex) == 8);
static_assert(offsetof(PvaUserKey, reserved) == 12);

static_assert(kIsPlain<PvaRegisterResult> && sizeof(PvaRegisterResult) == 12);
static_assert(offsetof(PvaRegisterResult, status) == 0);
static_assert(offsetof(PvaRegisterResult, count) == 4);
static_assert(offsetof(PvaRegisterResult, maxCount) == 8);

static_assert(kIsPlain<PvaAuthResult> && sizeof(PvaAuthResult) == 24);
static_assert(offsetof(PvaAuthResult, userid) == 0);
static_assert(offsetof(PvaAuthResult, palmindex) == 8);
static_assert(offsetof(PvaAuthResult, rowId) == 12);
static_assert(offsetof(PvaAuthResult, reserved) == 16);
static_assert(offsetof(PvaAuthResult, similarity) == 20);

}  // namespace
}  // namespace brairu
