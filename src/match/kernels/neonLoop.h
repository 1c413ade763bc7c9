// The loop over one record that the ARM kernels share: vectors of sixteen bytes, whose products a
// kernel adds up in its own way.
#pragma once

#include <arm_neon.h>

#include "match/kernels/kernel.h"

namespace brairu {

static inline std::int32_t total(int32x4_t lanes) {
    int32x2_t pair = vadd_s32(vget_low_s32(lanes), vget_high_s32(lanes));
    pair = vpadd_s32(pair, pair);
    return vget_lane_s32(pair, 0);
}

template <int32x4_t (*plusProducts)(int32x4_t sums, int8x16_t a, int8x16_t b)>
static RecordSums sumRecordBy16(const ProbeView& probe, const std::int8_t* record) {
    constexpr std::size_t kStep = 16;
    int32x4_t ps = vdupq_n_s32(0);
    int32x4_t ss = vdupq_n_s32(0);
    std::size_t i = 0;
    for (; i + kStep <= probe.length; i += kStep) {
        const int8x16_t stored = vld1q_s8(record + i);
        ps = plusProducts(ps, stored, vld1q_s8(probe.bytes + i));
        ss = plusProducts(ss, stored, stored);
    }
    RecordSums sums{total(ps), total(ss)};
    addRest(probe, record, i, sums);
    return sums;
}

}  // namespace brairu
