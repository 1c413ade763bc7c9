#include "lockedCalls.h"

#include <algorithm>
#include <array>
#include <bit>
#include <mutex>
#include <stdexcept>
#include <string_view>

namespace brairu::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Row = StoreModel::Row;

constexpr int kRowBytes = kCentres * PVA_TEMPLATE_BYTES;
constexpr std::uint8_t kUntouched = 0xee;
constexpr std::uint32_t kPalmCapacity = 4;

Bytes rowBytesOf(const Arguments& arguments) {
    Bytes row = templateOfSample(arguments.sample);
    const Bytes& second = templateOfSample(arguments.otherSample);
    row.insert(row.end(), second.begin(), second.end());
    return row;
}

Row mixedRowOf(const Arguments& arguments) {
    return {TemplateNumber(templateOfSample(arguments.sample)),
            TemplateNumber(templateOfSample(arguments.otherSample))};
}

Row uniformRowOf(const Arguments& arguments) {
    return Row(kCentres, TemplateNumber(templateOfSample(arguments.sample)));
}

// A capture as a template: its blocks, and zeros behind them.
TemplateNumber templateOfCapture(int sample, bool faint) {
    Bytes bytes = captureOfSample(sample, faint);
    bytes.resize(PVA_TEMPLATE_BYTES);
    return TemplateNumber(bytes);
}

// ---- Wiping, counting, looking

template <int (*kWipe)()>
Outcome wipe(const Arguments&) {
    return {kWipe(), {}, {}};
}

Outcome explainWipe(StoreModel& model, const Arguments&) {
    model.wipe();
    return {1, {}, {}};
}

Outcome count(const Arguments&) {
    return {pvaDataBaseGetAllPalmCount(), {}, {}};
}

Outcome explainCount(StoreModel& model, const Arguments&) {
    return {model.palmCount(), {}, {}};
}

Outcome exists(const Arguments& arguments) {
    return {pvaDataBaseExistUser(&arguments.key), {}, {}};
}

Outcome explainExists(StoreModel& model, const Arguments& arguments) {
    return {model.exists(arguments.key), {}, {}};
}

// ---- Writing

Outcome add(const Arguments& arguments) {
    return {pvaDataBaseAddUser(&arguments.key, templateOfSample(arguments.sample).data()), {}, {}};
}

Outcome explainAdd(StoreModel& model, const Arguments& arguments) {
    model.insert(arguments.key, uniformRowOf(arguments));
    return {1, {}, {}};
}

Outcome update(const Arguments& arguments) {
    return {
        pvaDataBaseUpdateUser(&arguments.key, templateOfSample(arguments.sample).data()), {}, {}};
}

// A row that was widened reports success in every case.
Outcome explainUpdate(StoreModel& model, const Arguments& arguments) {
    model.replace(arguments.key, uniformRowOf(arguments));
    return {1, {}, {}};
}

Outcome addRow(const Arguments& arguments) {
    return {pvaDataBaseAddUserWithFeatSize(&arguments.key, rowBytesOf(arguments).data(), kRowBytes),
            {},
            {}};
}

Outcome explainAddRow(StoreModel& model, const Arguments& arguments) {
    model.insert(arguments.key, mixedRowOf(arguments));
    return {1, {}, {}};
}

Outcome updateRow(const Arguments& arguments) {
    return {
        pvaDataBaseUpdateUserWithFeatSize(&arguments.key, rowBytesOf(arguments).data(), kRowBytes),
        {},
        {}};
}

Outcome explainUpdateRow(StoreModel& model, const Arguments& arguments) {
    return {model.replace(arguments.key, mixedRowOf(arguments)), {}, {}};
}

Outcome remove(const Arguments& arguments) {
    return {pvaDataBaseDeleteUser(&arguments.key), {}, {}};
}

Outcome explainRemove(StoreModel& model, const Arguments& arguments) {
    return {model.remove(arguments.key), {}, {}};
}

// ---- Reading

Outcome readRow(const Arguments& arguments) {
    Bytes out(kRowBytes, kUntouched);
    const int result = pvaDataBaseGetFeatWithFeatSize(&arguments.key, out.data(), kRowBytes);
    return {result, {}, std::move(out)};
}

Outcome explainReadRow(StoreModel& model, const Arguments& arguments) {
    Bytes out;
    if (const Row* row = model.read(arguments.key)) {
        for (const TemplateNumber number : *row) {
            out.insert(out.end(), number.bytes().begin(), number.bytes().end());
        }
    }
    out.resize(kRowBytes);
    return {1, {}, std::move(out)};
}

Outcome readMean(const Arguments& arguments) {
    Bytes out(PVA_TEMPLATE_BYTES, kUntouched);
    const int result = pvaDataBaseGetFeat(&arguments.key, out.data());
    return {result, {}, std::move(out)};
}

// The last bytes have no mean.
Outcome explainReadMean(StoreModel& model, const Arguments& arguments) {
    Bytes out(PVA_TEMPLATE_BYTES, kUntouched);
    std::fill_n(out.begin(), PVA_FEATURE_BYTES, std::uint8_t{0});
    if (const Row* row = model.read(arguments.key)) {
        for (std::size_t i = 0; i < PVA_FEATURE_BYTES; ++i) {
            const int sum = static_cast<std::int8_t>((*row)[0].bytes()[i]) +
                            static_cast<std::int8_t>((*row)[1].bytes()[i]);
            out[i] = static_cast<std::uint8_t>(sum / kCentres);
        }
    }
    return {1, {}, std::move(out)};
}

Outcome listPalms(const Arguments& arguments) {
    std::array<std::int64_t, kPalmCapacity> palms{};
    int number = 0;
    const auto userid = static_cast<std::uint64_t>(arguments.key.userid);
    const int result =
        pvaDataBaseGetPalmNumFromUserId(userid, palms.data(), kPalmCapacity, &number);
    return {result, {palms.begin(), palms.begin() + number}, {}};
}

Outcome explainListPalms(StoreModel& model, const Arguments& arguments) {
    const auto palms = model.palmIndexesOf(arguments.key.userid);
    if (palms.empty() || palms.size() > kPalmCapacity) {
        return {0, {}, {}};
    }
    return {1, {palms.begin(), palms.end()}, {}};
}

// ---- Recognition and enrolment

constexpr PvaAuthResult kUntouchedResult{-1, -2, -3, -4, -5.0f};

Outcome outcomeOf(int result, const PvaAuthResult& who) {
    return {result,
            {who.userid, who.palmindex, who.rowId, who.reserved,
             std::bit_cast<std::int32_t>(who.similarity)},
            {}};
}

Outcome identify(const Arguments& arguments) {
    PvaAuthResult who = kUntouchedResult;
    const int result =
        pvaGetAuthRes(captureOfSample(arguments.sample, arguments.flag).data(), &who);
    return outcomeOf(result, who);
}

Outcome explainIdentify(StoreModel& model, const Arguments& arguments) {
    PvaAuthResult who = kUntouchedResult;
    const int result = model.identify(templateOfCapture(arguments.sample, arguments.flag), who);
    return outcomeOf(result, who);
}

// The captures of an enrolment gather in one buffer of the process: a host sees to it that no other
// enrolment comes in between.
std::mutex oneEnrolment;

// Captures that are all the same, so that each centre is what they are.
Outcome enrol(const Arguments& arguments) {
    const std::lock_guard lock(oneEnrolment);
    const Bytes& capture = captureOfSample(arguments.sample, false);
    PvaRegisterResult progress{};
    do {
        if (pvaRegister(&arguments.key, capture.data(), arguments.flag, &progress) != 1) {
            return {};
        }
    } while (progress.status == PVA_REGISTER_MORE);
    return {progress.status, {progress.count, progress.maxCount}, {}};
}

Outcome explainEnrol(StoreModel& model, const Arguments& arguments) {
    const int status =
        model.enrol(arguments.key, templateOfCapture(arguments.sample, false), arguments.flag);
    return {status, {kCaptures, kCaptures}, {}};
}

constexpr LockedCall kLockedCalls[] = {
    {"pvaDataBaseDeleteAllPalm", 1, wipe<pvaDataBaseDeleteAllPalm>, explainWipe},
    {"pvaDataBaseDropPalmDatabase", 1, wipe<pvaDataBaseDropPalmDatabase>, explainWipe},
    {"pvaDataBaseDeletePalmDatabase", 1, wipe<pvaDataBaseDeletePalmDatabase>, explainWipe},
    {"pvaDataBaseGetAllPalmCount", 4, count, explainCount},
    {"pvaDataBaseExistUser", 4, exists, explainExists},
    {"pvaDataBaseAddUser", 6, add, explainAdd},
    {"pvaDataBaseUpdateUser", 4, update, explainUpdate},
    {"pvaDataBaseAddUserWithFeatSize", 6, addRow, explainAddRow},
    {"pvaDataBaseUpdateUserWithFeatSize", 4, updateRow, explainUpdateRow},
    {"pvaDataBaseGetFeatWithFeatSize", 4, readRow, explainReadRow},
    {"pvaDataBaseGetFeat", 4, readMean, explainReadMean},
    {"pvaDataBaseDeleteUser", 8, remove, explainRemove},
    {"pvaDataBaseGetPalmNumFromUserId", 4, listPalms, explainListPalms},
    {"pvaGetAuthRes", 12, identify, explainIdentify},
    {"pvaRegister", 6, enrol, explainEnrol},
};

}  // namespace

std::span<const LockedCall> lockedCalls() {
    return kLockedCalls;
}

const LockedCall& lockedCall(const char* name) {
    for (const LockedCall& call : kLockedCalls) {
        if (std::string_view(call.name) == name) {
            return call;
        }
    }
    throw std::logic_error(std::string("no locked call ") + name);
}

}  // namespace brairu::test
